// The user's language and the component's own file.
#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/path.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

/// Full path of a module's file.
std::wstring PathOf(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()))) >=
         path.size()) {
    path.resize(path.size() * 2);
  }
  path.resize(length);
  return path;
}

/// The file that holds this code: the DLL, not the host program.
std::wstring ComponentPath() { return PathOf(OwnModule()); }

/// A file's name without folder and extension.
std::string BareName(const std::wstring& path) {
  const std::wstring file = path.substr(path.find_last_of(L'\\') + 1);
  return AnsiFromWide(file.substr(0, file.find_last_of(L'.')));
}

using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);

/// The functions for programs tell each what its manifest knows, however much newer the system is;
/// the one for drivers tells the truth.
GetVersion RtlGetVersionFunction() {
  return reinterpret_cast<GetVersion>(
      reinterpret_cast<void*>(SystemFunction("ntdll.dll", "RtlGetVersion")));
}

class Win32Locale : public Locale {
 public:
  std::uint16_t UserLanguage() override { return ::GetUserDefaultUILanguage(); }
  std::string ComponentFolder() override {
    const std::wstring path = ComponentPath();
    return PathFromWide(path.substr(0, path.find_last_of(L'\\')));
  }
  char PathSeparator() override { return '\\'; }
  std::string ComponentName() override { return BareName(ComponentPath()); }
  std::string ComponentVersion() override { return MVSMS_VERSION; }
  std::string HostTitle() override { return BareName(PathOf(nullptr)); }
  bool GetOsVersion(OsVersion& version) override {
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof info;
    const auto get_version = RtlGetVersionFunction();
    if (!get_version || get_version(&info) != 0) return false;
    version = {.platform = info.dwPlatformId,
               .major = info.dwMajorVersion,
               .minor = info.dwMinorVersion,
               .build = info.dwBuildNumber,
               .service_pack = AnsiFromWide(info.szCSDVersion)};
    return true;
  }
};

}  // namespace

std::unique_ptr<Locale> MakeLocale() { return std::make_unique<Win32Locale>(); }

}  // namespace mvsms::win32
