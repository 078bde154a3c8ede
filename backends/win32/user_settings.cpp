// The per-user settings store, where Visual Basic programs keep theirs: below HKEY_CURRENT_USER, so
// that no rights are needed and a host can read what it left there.
#include "backends/win32/backend.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

std::wstring KeyPath(const std::string& application, const std::string& section) {
  return L"Software\\VB and VBA Program Settings\\" + WideFromAnsi(application + "\\" + section);
}

class Win32UserSettings : public UserSettings {
 public:
  std::string GetSetting(const std::string& application, const std::string& section,
                         const std::string& key, const std::string& fallback) override {
    const std::wstring path = KeyPath(application, section);
    const std::wstring name = WideFromAnsi(key);
    DWORD size = 0;
    if (Read(path, name, nullptr, size) != ERROR_SUCCESS) return fallback;
    std::wstring text(size / sizeof(wchar_t), L'\0');
    if (Read(path, name, text.data(), size) != ERROR_SUCCESS) return fallback;
    return AnsiFromWide(text.c_str());
  }

  bool SaveSetting(const std::string& application, const std::string& section,
                   const std::string& key, const std::string& value) override {
    const std::wstring text = WideFromAnsi(value);
    return ::RegSetKeyValueW(HKEY_CURRENT_USER, KeyPath(application, section).c_str(),
                             WideFromAnsi(key).c_str(), REG_SZ, text.c_str(),
                             static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) ==
           ERROR_SUCCESS;
  }

 private:
  static LSTATUS Read(const std::wstring& path, const std::wstring& name, wchar_t* data,
                      DWORD& size) {
    return ::RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr,
                          data, &size);
  }
};

}  // namespace

std::unique_ptr<UserSettings> MakeUserSettings() { return std::make_unique<Win32UserSettings>(); }

}  // namespace mvsms::win32
