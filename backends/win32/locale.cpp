// The user's language and the component's own file.
#include "backends/win32/backend.h"
#include "backends/win32/win.h"

namespace mvsms::win32 {
namespace {

/// Full path of a module's file.
std::string PathOf(HMODULE module) {
  std::string path(MAX_PATH, '\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()))) >=
         path.size()) {
    path.resize(path.size() * 2);
  }
  path.resize(length);
  return path;
}

/// The file that holds this code: the DLL, not the host program.
std::string ComponentPath() {
  HMODULE module = nullptr;
  ::GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCSTR>(&ComponentPath), &module);
  return PathOf(module);
}

/// A file's name without folder and extension.
std::string BareName(const std::string& path) {
  const std::string file = path.substr(path.find_last_of('\\') + 1);
  return file.substr(0, file.find_last_of('.'));
}

class Win32Locale : public Locale {
 public:
  std::uint16_t UserLanguage() override { return ::GetUserDefaultUILanguage(); }
  std::string ComponentFolder() override {
    const std::string path = ComponentPath();
    return path.substr(0, path.find_last_of('\\'));
  }
  char PathSeparator() override { return '\\'; }
  std::string ComponentName() override { return BareName(ComponentPath()); }
  std::string ComponentVersion() override { return MVSMS_VERSION; }
  std::string HostTitle() override { return BareName(PathOf(nullptr)); }
  bool GetOsVersion(OsVersion& version) override {
    OSVERSIONINFOA info = {};
    info.dwOSVersionInfoSize = sizeof info;
    if (!::GetVersionExA(&info)) return false;
    version = {.platform = info.dwPlatformId,
               .major = info.dwMajorVersion,
               .minor = info.dwMinorVersion,
               .build = info.dwBuildNumber,
               .service_pack = std::string(info.szCSDVersion, sizeof info.szCSDVersion)};
    return true;
  }
};

}  // namespace

std::unique_ptr<Locale> MakeLocale() { return std::make_unique<Win32Locale>(); }

}  // namespace mvsms::win32
