// Registration: what it writes is what unregistration takes away again.
#include <fstream>
#include <iterator>
#include <map>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using Snapshot = std::map<std::string, std::string>;  // key path, or path + value name -> bytes

void Add(Snapshot& snapshot, HKEY key, const std::string& path) {
  snapshot[path + "\\"] = "";
  char name[512];
  for (DWORD i = 0;; ++i) {
    DWORD length = sizeof name;
    BYTE data[2048];
    DWORD size = sizeof data;
    if (::RegEnumValueA(key, i, name, &length, nullptr, nullptr, data, &size) != ERROR_SUCCESS) {
      break;
    }
    snapshot[path + "\\@" + name] = std::string(reinterpret_cast<char*>(data), size);
  }
  for (DWORD i = 0; ::RegEnumKeyA(key, i, name, sizeof name) == ERROR_SUCCESS; ++i) {
    HKEY below = nullptr;
    const std::string below_path = path + "\\" + name;
    if (below_path == "HKLM\\Wow6432Node") continue;  // the same once more
    if (::RegOpenKeyExA(key, name, 0, KEY_READ, &below) != ERROR_SUCCESS) continue;
    Add(snapshot, below, below_path);
    ::RegCloseKey(below);
  }
}

/// All that is registered, for the machine and for the user.
Snapshot Registered() {
  Snapshot snapshot;
  for (const auto& [root, name] :
       {std::pair(HKEY_LOCAL_MACHINE, "HKLM"), std::pair(HKEY_CURRENT_USER, "HKCU")}) {
    HKEY key = nullptr;
    if (::RegOpenKeyExA(root, "Software\\Classes", 0, KEY_READ, &key) != ERROR_SUCCESS) continue;
    Add(snapshot, key, name);
    ::RegCloseKey(key);
  }
  return snapshot;
}

/// Entries of `one` that `other` lacks or has with other contents.
std::vector<std::string> Difference(const Snapshot& one, const Snapshot& other) {
  std::vector<std::string> difference;
  for (const auto& [path, data] : one) {
    const auto found = other.find(path);
    if (found == other.end() || found->second != data) difference.push_back(path);
  }
  return difference;
}

using Function = HRESULT(WINAPI*)();
using Install = HRESULT(WINAPI*)(BOOL, LPCWSTR);

class Registration : public testing::Test {
 protected:
  Registration() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ::LoadLibraryA("mvSMS.dll");
    Unregister();
  }
  ~Registration() override {
    InstallFor(FALSE);
    EXPECT_EQ(Register(), S_OK);
    ::CoUninitialize();
  }
  static HRESULT Register() { return Exported<Function>("mvSMS.dll", "DllRegisterServer")(); }
  static HRESULT Unregister() { return Exported<Function>("mvSMS.dll", "DllUnregisterServer")(); }
  static HRESULT InstallFor(BOOL install) {
    return Exported<Install>("mvSMS.dll", "DllInstall")(install, L"user");
  }
  static HRESULT Create(const wchar_t* prog_id) {
    CLSID clsid;
    const HRESULT found = ::CLSIDFromProgID(prog_id, &clsid);
    if (FAILED(found)) return found;
    ComPtr<IUnknown> object;
    return ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid());
  }
};

TEST_F(Registration, UnregisteringLeavesNothingBehind) {
  const Snapshot before = Registered();
  ASSERT_EQ(Register(), S_OK);
  const Snapshot during = Registered();
  EXPECT_GT(Difference(during, before).size(), 10U);
  ASSERT_EQ(Unregister(), S_OK);
  const Snapshot after = Registered();
  EXPECT_THAT(Difference(after, before), testing::IsEmpty());
  EXPECT_THAT(Difference(before, after), testing::IsEmpty());
}

TEST_F(Registration, OfTheUserNeedsNoPartOfTheMachine) {
  // A user of Windows has these keys; one of the emulator, not always.
  for (const char* key : {"CLSID", "Interface", "TypeLib"}) {
    HKEY classes = nullptr;
    ::RegCreateKeyA(HKEY_CURRENT_USER, (std::string("Software\\Classes\\") + key).c_str(),
                    &classes);
    ::RegCloseKey(classes);
  }
  const Snapshot before = Registered();
  ASSERT_EQ(InstallFor(TRUE), S_OK);
  const auto added = Difference(Registered(), before);
  EXPECT_GT(added.size(), 10U);
  for (const std::string& path : added) {
    EXPECT_EQ(path.substr(0, 4), "HKCU") << path;
  }
  ASSERT_EQ(InstallFor(FALSE), S_OK);
  EXPECT_THAT(Difference(Registered(), before), testing::IsEmpty());
}

TEST_F(Registration, ClassesAreFoundByTheirNames) {
  EXPECT_NE(Create(L"mvSMS.Sender"), S_OK);
  ASSERT_EQ(Register(), S_OK);
  EXPECT_EQ(Create(L"mvSMS.Sender"), S_OK);
  EXPECT_EQ(Create(L"mvSMS.Config"), S_OK);
}

TEST_F(Registration, ClassesBelongToApartments) {
  ASSERT_EQ(Register(), S_OK);
  int found = 0;
  for (const auto& [path, data] : Registered()) {
    if (path.find("\\InprocServer32\\@ThreadingModel") == std::string::npos) continue;
    if (path.find("3F383E62-CADE") == std::string::npos &&
        path.find("992C0651-5BC9") == std::string::npos) {
      continue;
    }
    EXPECT_STREQ(data.c_str(), "Apartment") << path;
    ++found;
  }
  EXPECT_EQ(found, 2);
}

constexpr REGSAM kOtherView = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
constexpr wchar_t kOtherServer[] =
    L"Software\\Classes\\CLSID\\{3F383E62-CADE-45B8-A9FC-4352F7BBB909}\\InprocServer32";
const std::wstring kOtherTypes =
    L"Software\\Classes\\TypeLib\\{71B8E07B-8614-4071-A7C0-78FAFC360BBE}\\1.0\\0\\win" +
    std::wstring(sizeof(void*) == 8 ? L"32" : L"64");

win32::UniqueKey MakeKey(const std::wstring& path, REGSAM view = 0) {
  HKEY key = nullptr;
  ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                    &key, nullptr);
  return win32::UniqueKey(key);
}

bool Exists(const std::wstring& path, REGSAM view = 0) {
  HKEY key = nullptr;
  ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, &key);
  return win32::UniqueKey(key) != nullptr;
}

/// What the server of the other bitness has, as far as the two could be in each other's way.
void RegisterOther() {
  MakeKey(kOtherServer, kOtherView);
  MakeKey(kOtherTypes);
}
void UnregisterOther() {
  HKEY classes = nullptr;
  ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID", 0, KEY_ALL_ACCESS | kOtherView,
                  &classes);
  ::RegDeleteTreeW(classes, L"{3F383E62-CADE-45B8-A9FC-4352F7BBB909}");
  ::RegCloseKey(classes);
}

TEST_F(Registration, LeavesTheOtherBitnessWorking) {
  const Snapshot before = Registered();
  RegisterOther();
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  CLSID clsid;
  EXPECT_EQ(::CLSIDFromProgID(L"mvSMS.Sender", &clsid), S_OK);
  EXPECT_TRUE(Exists(kOtherServer, kOtherView));
  EXPECT_TRUE(Exists(kOtherTypes));
  EXPECT_FALSE(Exists(kOtherServer, kOtherView ^ (KEY_WOW64_32KEY | KEY_WOW64_64KEY)));
  UnregisterOther();
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(Difference(Registered(), before), testing::IsEmpty());
}

TEST_F(Registration, IsAllOrNothing) {
  const Snapshot before = Registered();
  const std::wstring path = L"Software\\Classes\\mvSMS.Config";
  MakeKey(path);
  SetAccess(L"Classes\\mvSMS.Config", KEY_READ | DELETE);
  EXPECT_EQ(Register(), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
  EXPECT_THAT(Difference(Registered(), before), testing::IsEmpty());
}

/// What came since `before` of types and their interfaces. Names have no case, and nobody needs
/// what the system adds for 16 bits.
std::vector<std::string> TypesSince(const Snapshot& before) {
  std::vector<std::string> types;
  for (std::string path : Difference(Registered(), before)) {
    ::CharLowerA(path.data());
    const bool of_types =
        path.find("\\typelib\\{") != path.npos || path.find("\\interface\\") != path.npos;
    if (of_types && path.find("\\proxystubclsid\\") == path.npos) types.push_back(path);
  }
  return types;
}

TEST_F(Registration, OfTheTypesIsWhatTheSystemWouldWrite) {
  const Snapshot before = Registered();
  ASSERT_EQ(Register(), S_OK);
  const auto own = TypesSince(before);
  ASSERT_EQ(Unregister(), S_OK);
  wchar_t dll[MAX_PATH] = L"";
  ::GetModuleFileNameW(::GetModuleHandleW(L"mvSMS.dll"), dll, MAX_PATH);
  ComPtr<ITypeLib> library;
  ASSERT_EQ(::LoadTypeLibEx(dll, REGKIND_REGISTER, library.Put()), S_OK);
  EXPECT_THAT(own, testing::ElementsAreArray(TypesSince(before)));
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_THAT(Difference(Registered(), before), testing::IsEmpty());
}

TEST_F(Registration, BringsAlongTheProfilesOfEarlier32BitHosts) {
  const std::wstring old = L"Software\\WOW6432Node\\MIRVALEN\\PAGOREX\\ComTestOld";
  const std::wstring in_use = L"Software\\MIRVALEN\\PAGOREX\\ComTestOld";
  MakeKey(old, KEY_WOW64_64KEY);
  ASSERT_EQ(Register(), S_OK);
  EXPECT_TRUE(Exists(in_use, KEY_WOW64_64KEY));
  EXPECT_TRUE(Exists(old, KEY_WOW64_64KEY));
  std::ifstream log("SMSLog.txt");
  EXPECT_THAT(std::string(std::istreambuf_iterator<char>(log), {}),
              testing::HasSubstr("PAGOREX\\ComTestOld"));
  for (const std::wstring& path : {old, in_use}) {
    ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
  }
}

TEST_F(Registration, MayBeRepeatedBothWays) {
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Register(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
  EXPECT_EQ(Unregister(), S_OK);
}

}  // namespace
}  // namespace mvsms::com
