// Appending with O_APPEND: the kernel puts each write at the end, so the lines of two processes do
// not mix.
#include "platform/text_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "backends/posix/system/backend.h"
#include "backends/posix/system/home.h"
#include "backends/posix/system/unique_fd.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

constexpr int kPatienceMs = 1000;  // with a pipe or terminal that takes no more

bool WriteAll(int file, std::string_view rest) {
  while (!rest.empty()) {
    const ssize_t written = write(file, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    pollfd wait = {file, POLLOUT, 0};
    if (written < 0 && errno == EAGAIN && poll(&wait, 1, kPatienceMs) > 0) continue;
    if (written < 0) return false;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool IsRegular(int file) {
  struct stat status = {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

/// Whoever begins a log must not keep the others out by his mask; only its owner can.
void ShareWhenEmpty(int file) {
  struct stat status = {};
  const bool is_empty = fstat(file, &status) == 0 && status.st_size == 0;
  if (is_empty && S_ISREG(status.st_mode)) fchmod(file, 0660);
}

class PosixTextFile : public TextFile {
 public:
  explicit PosixTextFile(std::string home) : home_(std::move(home)) {}

  bool Append(const std::string& path, const std::string& text) override {
    // Not for everybody: a send log holds messages, and the passwords of the dialogues.
    // Never waiting: what is logged counts more than its log.
    constexpr int kMode = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const std::string name = SystemPath(path);
    const int file = open(name.c_str(), kMode, 0640);
    if (file < 0) return false;
    if (name.starts_with(home_ + "/") && IsShared(home_)) ShareWhenEmpty(file);
    const bool written = WriteAll(file, text);
    return close(file) == 0 && written;
  }

  bool Read(const std::string& path, std::string& text) override {
    const UniqueFd file(
        open(SystemPath(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file && errno == ENOENT) return false;
    if (!file || !IsRegular(file.get())) RaiseFileAccess(path);
    std::string content;
    std::array<char, 65536> buffer;
    for (;;) {
      const ssize_t count = read(file.get(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) RaiseFileAccess(path);
      if (count == 0) break;
      content.append(buffer.data(), static_cast<std::size_t>(count));
    }
    text = std::move(content);
    return true;
  }

 private:
  /// Paths come in the ANSI code page. Inside the home folder, which the core knows as
  /// Locale::ComponentFolder, that loses nothing even where the folder's name has other characters.
  std::string SystemPath(const std::string& path) const {
    const std::string ansi_home = AnsiFromUtf8(home_) + "/";
    if (!path.starts_with(ansi_home)) return Utf8FromAnsi(path);
    return home_ + "/" + Utf8FromAnsi(path.substr(ansi_home.size()));
  }

  std::string home_;
};

}  // namespace

std::unique_ptr<TextFile> MakeTextFile(const std::string& home) {
  return std::make_unique<PosixTextFile>(home);
}

}  // namespace mvsms::posix
