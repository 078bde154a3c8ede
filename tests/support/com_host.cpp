// The host program of the tests, see host.h.
#include "tests/support/com_host.h"

#include <aclapi.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace mvsms::com {
namespace {

/// The main thread is an apartment for the whole program, as a host's is.
class MainApartment : public testing::Environment {
 public:
  void SetUp() override { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  void TearDown() override { ::CoUninitialize(); }
};
const auto* const main_apartment = testing::AddGlobalTestEnvironment(new MainApartment);

}  // namespace

HRESULT Sink::QueryInterface(REFIID iid, void** object) {
  if (iid != IID_IUnknown && iid != IID_IDispatch && iid != DIID___Sender) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  *object = static_cast<IDispatch*>(this);
  return S_OK;
}

HRESULT Sink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                     UINT*) {
  Event event{id, {}};
  for (UINT i = arguments->cArgs; i-- > 0;) {
    Value text;
    ::VariantChangeType(&text, &arguments->rgvarg[i], 0, VT_BSTR);
    event.arguments.push_back(text.Text());
  }
  events.push_back(event);
  return handler ? handler(id, *arguments) : S_OK;
}

Host::Host(const char* profile) {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const HRESULT created = ::CoCreateInstance(CLSID_Sender, nullptr, CLSCTX_INPROC_SERVER,
                                             IID__Sender, sender_.PutVoid());
  EXPECT_EQ(created, S_OK);
  if (FAILED(created)) throw std::runtime_error("the component is not registered");
  sender_->put_HostAppName(Bstr(profile).Get());
}

Host::~Host() {
  sender_.Reset();
  ::CoUninitialize();
}

Sent Host::Send(const std::string& recipient, const std::string& message,
                const std::string& service, const std::string& originator) {
  Bstr texts[] = {Bstr(recipient), Bstr(originator), Bstr(message), Bstr(service)};
  VARIANT_BOOL accepted = VARIANT_FALSE;
  Sent sent;
  const ComPtr<_Sender> kept(sender_);  // a handler may release the host's reference
  sent.result = kept->SendMessage(texts[0].InOut(), texts[1].InOut(), texts[2].InOut(),
                                  texts[3].InOut(), &accepted);
  sent.accepted = accepted != VARIANT_FALSE;
  sent.recipient = texts[0].Ansi();
  sent.sender = texts[1].Ansi();
  sent.message = texts[2].Ansi();
  sent.service = texts[3].Ansi();
  return sent;
}

std::string Host::Status() {
  Bstr status;
  EXPECT_EQ(sender_->get_Status(status.Put()), S_OK);
  return status.Ansi();
}

bool Host::RetrySuggested() {
  VARIANT_BOOL suggested = VARIANT_FALSE;
  EXPECT_EQ(sender_->get_RetrySuggested(&suggested), S_OK);
  return suggested != VARIANT_FALSE;
}

ComPtr<IConnectionPoint> Host::EventPoint() {
  ComPtr<IConnectionPointContainer> container;
  EXPECT_EQ(sender_->QueryInterface(IID_IConnectionPointContainer, container.PutVoid()), S_OK);
  ComPtr<IConnectionPoint> point;
  EXPECT_EQ(container->FindConnectionPoint(DIID___Sender, point.Put()), S_OK);
  return point;
}

DWORD Host::Advise(Sink& sink) {
  DWORD cookie = 0;
  EXPECT_EQ(EventPoint()->Advise(&sink, &cookie), S_OK);
  return cookie;
}

void Host::Unadvise(DWORD cookie) { EXPECT_EQ(EventPoint()->Unadvise(cookie), S_OK); }

namespace {

const std::string kProfileKey = std::string("MIRVALEN\\PAGOREX\\") + kProfile;

void WriteText(const std::string& key, const char* name, const std::string& text) {
  ASSERT_EQ(::RegSetKeyValueA(NativeSoftware(), key.c_str(), name, REG_SZ, text.c_str(),
                              static_cast<DWORD>(text.size() + 1)),
            ERROR_SUCCESS);
}

}  // namespace

void WriteProfile() {
  DeleteProfile();
  WriteText(kProfileKey, "DefaultModem", "Test modem");
  WriteText(kProfileKey, "DefaultService", "Pager");
  WriteService("Pager", "TAP", "221");
  WriteService("City", "UCP", "222");
  WriteText(kProfileKey + "\\Routing\\0172", "UseService", "City");
}

void WriteService(const std::string& name, const std::string& protocol, const std::string& number,
                  const std::string& modem) {
  const std::string key = kProfileKey + "\\Services\\" + name;
  const std::pair<const char*, std::string> values[] = {
      {"Protocol", protocol},  {"PhoneNumber", number}, {"MaxLength", "160"}, {"MaxMessages", "1"},
      {"UCPCommand", "51"},    {"MessageType", "3"},    {"TimeOut", "500"},   {"BaudRate", "Auto"},
      {"ModemSetting", "8N1"}, {"ModemName", modem},    {"Password", "PG1"},
  };
  for (const auto& [value, text] : values) WriteText(key, value, text);
}

void ShowStatusWindow() { WriteText(kProfileKey, "ShowStatus", "1"); }

void DeleteProfile() { ::RegDeleteTreeA(NativeSoftware(), kProfileKey.c_str()); }

void SetAccess(const std::wstring& path, REGSAM access) {
  HKEY opened = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(NativeSoftware(), path.c_str(), 0, WRITE_DAC, &opened), ERROR_SUCCESS);
  const win32::UniqueKey key(opened);
  wchar_t everyone[] = L"Everyone";
  EXPLICIT_ACCESSW entry = {};
  entry.grfAccessPermissions = access | WRITE_DAC;
  entry.grfAccessMode = SET_ACCESS;
  entry.Trustee.TrusteeForm = TRUSTEE_IS_NAME;
  entry.Trustee.ptstrName = everyone;
  ACL* list = nullptr;
  ASSERT_EQ(::SetEntriesInAclW(1, &entry, nullptr, &list), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(::SetSecurityInfo(opened, SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                              list, nullptr),
            DWORD{ERROR_SUCCESS});
  ::LocalFree(list);
}

HRESULT Invoke(IDispatch* object, const wchar_t* member, WORD flags, std::vector<VARIANT> arguments,
               VARIANT* result, UINT* bad_argument) {
  std::wstring name = member;
  LPOLESTR names[] = {name.data()};
  DISPID id = DISPID_UNKNOWN;
  const HRESULT found = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(found)) return found;
  std::reverse(arguments.begin(), arguments.end());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  if (flags == DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  UINT bad = 99;
  const HRESULT called =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result, nullptr, &bad);
  if (bad_argument) *bad_argument = bad;
  return called;
}

Ended RunToItsEnd(const std::string& command) {
  std::wstring line =
      std::filesystem::path(std::u8string(command.begin(), command.end())).wstring();
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  ::CreatePipe(&read_end, &write_end, &inherit, 0);
  ::SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = start.hStdError = write_end;
  PROCESS_INFORMATION process = {};
  Ended ended;
  if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                        &process)) {
    return ended;
  }
  ::CloseHandle(write_end);
  char buffer[4096];
  DWORD count = 0;
  while (::ReadFile(read_end, buffer, sizeof buffer, &count, nullptr) && count > 0) {
    ended.output.append(buffer, count);
  }
  ::WaitForSingleObject(process.hProcess, 60'000);
  ::GetExitCodeProcess(process.hProcess, &ended.exit_code);
  for (const HANDLE handle : {read_end, process.hProcess, process.hThread}) ::CloseHandle(handle);
  return ended;
}

bool CloseDialog() {
  for (int tries = 0; tries < 600; ++tries) {
    const HWND dialog = ::FindWindowW(nullptr, L"SMS Configuration");
    if (dialog != nullptr && ::IsWindowVisible(dialog)) {
      return ::PostMessageW(dialog, WM_CLOSE, 0, 0) != FALSE;
    }
    ::Sleep(50);
  }
  return false;
}

std::string Records(const std::string& port) {
  const char* folder = std::getenv("MVSMS_RECORDS");
  std::ifstream file(std::string(folder ? folder : "") + "\\" + port, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace mvsms::com
