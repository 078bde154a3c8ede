// The per-user settings store, where Visual Basic programs keep theirs: below HKEY_CURRENT_USER, so
// that no rights are needed and a host can read what it left there.
#include "backends/win32/backend.h"
#include "backends/win32/handles.h"

namespace mvsms::win32 {
namespace {

std::string KeyPath(const std::string& application, const std::string& section) {
  return "Software\\VB and VBA Program Settings\\" + application + "\\" + section;
}

class Win32UserSettings : public UserSettings {
 public:
  std::string GetSetting(const std::string& application, const std::string& section,
                         const std::string& key, const std::string& fallback) override {
    const std::string path = KeyPath(application, section);
    DWORD size = 0;
    if (Read(path, key, nullptr, size) != ERROR_SUCCESS) return fallback;
    std::string text(size, '\0');
    if (Read(path, key, text.data(), size) != ERROR_SUCCESS) return fallback;
    return text.c_str();
  }

  bool SaveSetting(const std::string& application, const std::string& section,
                   const std::string& key, const std::string& value) override {
    HKEY opened = nullptr;
    if (::RegCreateKeyA(HKEY_CURRENT_USER, KeyPath(application, section).c_str(), &opened) !=
        ERROR_SUCCESS) {
      return false;
    }
    const UniqueKey owner(opened);
    return ::RegSetValueExA(opened, key.c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(value.c_str()),
                            static_cast<DWORD>(value.size() + 1)) == ERROR_SUCCESS;
  }

 private:
  static LSTATUS Read(const std::string& path, const std::string& key, char* data, DWORD& size) {
    return ::RegGetValueA(HKEY_CURRENT_USER, path.c_str(), key.c_str(), RRF_RT_REG_SZ, nullptr,
                          data, &size);
  }
};

}  // namespace

std::unique_ptr<UserSettings> MakeUserSettings() { return std::make_unique<Win32UserSettings>(); }

}  // namespace mvsms::win32
