// See desk.h.
#include "tests/dialogs/desk.h"

namespace mvsms {
namespace {

std::string KeyOf(const std::string& below) {
  const std::string profile = std::string("MIRVALEN\\PAGOREX\\") + kDeskProfile;
  return below.empty() ? profile : profile + "\\" + below;
}

}  // namespace

Desk::Desk() {
  ::RegDeleteTreeA(NativeSoftware(), KeyOf("").c_str());
  EXPECT_EQ(::CoCreateInstance(CLSID_Config, nullptr, CLSCTX_INPROC_SERVER, IID__Config,
                               config_.PutVoid()),
            S_OK);
}

Desk::~Desk() {
  config_.Reset();
  ::RegDeleteTreeA(NativeSoftware(), KeyOf("").c_str());
}

void Desk::Write(const std::string& key, const std::string& value, const std::string& text) {
  HKEY opened = nullptr;
  ASSERT_EQ(::RegCreateKeyA(NativeSoftware(), KeyOf(key).c_str(), &opened), ERROR_SUCCESS);
  ::RegSetValueExA(opened, value.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(text.size() + 1));
  ::RegCloseKey(opened);
}

std::string Desk::Read(const std::string& key, const std::string& value) {
  char text[512] = "";
  DWORD size = sizeof text;
  if (::RegGetValueA(NativeSoftware(), KeyOf(key).c_str(), value.c_str(), RRF_RT_REG_SZ, nullptr,
                     text, &size) == ERROR_SUCCESS) {
    return text;
  }
  DWORD number = 0;
  size = sizeof number;
  if (::RegGetValueA(NativeSoftware(), KeyOf(key).c_str(), value.c_str(), RRF_RT_REG_DWORD, nullptr,
                     &number, &size) == ERROR_SUCCESS) {
    return std::to_string(number);
  }
  return "(none)";
}

void Desk::WriteService(const std::string& name, const std::string& protocol,
                        const std::string& number) {
  const std::string key = "Services\\" + name;
  const std::pair<const char*, std::string> values[] = {
      {"CountryCode", "49"}, {"Protocol", protocol}, {"PhoneNumber", number}, {"Password", ""},
      {"MaxLength", "160"},  {"MaxMessages", "2"},   {"UCPCommand", "51"},    {"MessageType", "3"},
      {"TimeOut", "2000"},   {"BaudRate", "9600"},   {"ModemSetting", "8N1"}, {"ModemName", ""}};
  for (const auto& [value, text] : values) Write(key, value, text);
}

void Desk::WriteProfile() {
  WriteService("City Pager", "TAP", "221");
  WriteService("Plant SMS", "UCP", "222");
  Write("Routing\\0171", "UseService", "City Pager");
  Write("Routing\\0172", "UseService", "Plant SMS");
  Write("Routing\\0049", "UseService", "");
  Write("", "DefaultModem", "Test modem");
  Write("", "DefaultService", "City Pager");
  Write("", "Country", "0049");
}

void Desk::ShowConfig(HWND owner) {
  EXPECT_EQ(
      config_->ShowConfigDialog(win32::Bstr(kDeskProfile).Get(),
                                static_cast<LONG>(reinterpret_cast<LONG_PTR>(owner)), VARIANT_TRUE),
      S_OK);
}

}  // namespace mvsms
