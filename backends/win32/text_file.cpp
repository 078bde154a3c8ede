// Text files, shared with whoever else reads or writes them.
#include <array>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/path.h"

namespace mvsms::win32 {
namespace {

class Win32TextFile : public TextFile {
 public:
  bool Append(const std::string& path, const std::string& text) override {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = ::CreateFileW(WideFromPath(path).c_str(), FILE_APPEND_DATA, kShareAll,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const UniqueHandle owner(file);
    DWORD written = 0;
    return ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
           written == text.size();
  }

  bool Read(const std::string& path, std::string& text) override {
    const HANDLE file = ::CreateFileW(WideFromPath(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      const DWORD error = ::GetLastError();
      if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return false;
      RaiseFileAccess(path);
    }
    const UniqueHandle owner(file);
    std::string content;
    std::array<char, 65536> buffer;
    DWORD count = 0;
    do {
      if (!::ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr)) {
        RaiseFileAccess(path);
      }
      content.append(buffer.data(), count);
    } while (count != 0);
    text = std::move(content);
    return true;
  }
};

}  // namespace

std::unique_ptr<TextFile> MakeTextFile() { return std::make_unique<Win32TextFile>(); }

}  // namespace mvsms::win32
