// The user's language and the component's own file.
#include "platform/win32/backend.h"
#include "platform/win32/win.h"

namespace mvsms::win32 {
namespace {

/// Full path of the file that holds this code: the DLL, not the host program.
std::string ComponentPath() {
  HMODULE module = nullptr;
  ::GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCSTR>(&ComponentPath), &module);
  std::string path(MAX_PATH, '\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()))) >=
         path.size()) {
    path.resize(path.size() * 2);
  }
  path.resize(length);
  return path;
}

class Win32Locale : public Locale {
 public:
  std::uint16_t UserLanguage() override { return ::GetUserDefaultUILanguage(); }
  std::string ComponentFolder() override {
    const std::string path = ComponentPath();
    return path.substr(0, path.find_last_of('\\'));
  }
  char PathSeparator() override { return '\\'; }
  std::string ComponentName() override {
    const std::string path = ComponentPath();
    const std::string file = path.substr(path.find_last_of('\\') + 1);
    return file.substr(0, file.find_last_of('.'));
  }
  std::string ComponentVersion() override { return MVSMS_VERSION; }
};

}  // namespace

std::unique_ptr<Locale> MakeLocale() { return std::make_unique<Win32Locale>(); }

}  // namespace mvsms::win32
