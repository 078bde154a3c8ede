// See lock_folder.h.
#include "backends/posix/line/lock_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace mvsms::posix {

std::string LockFolder() {
  const char* const folder = std::getenv("MVSMS_LOCK_DIR");
  return folder != nullptr && *folder != '\0' ? folder : "/var/lock";
}

std::string LockName(const std::string& device) {
  std::error_code error;
  std::string name = std::filesystem::canonical(device, error).string();
  if (error) name = device;
  if (name.starts_with("/dev/")) name.erase(0, 5);
  std::replace(name.begin(), name.end(), '/', '_');
  return name;
}

UniqueFd OpenToLook(const std::string& file, struct stat& status) {
  UniqueFd fd(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (fd && (fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))) fd.Reset();
  return fd;
}

UniqueFd MakeNewFile(const std::string& file, const std::string& text) {
  constexpr mode_t kForAllToRead = 0644;
  unlink(file.c_str());
  UniqueFd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  const auto size = static_cast<ssize_t>(text.size());
  // Whatever the user's mask says: who cannot read it takes it for nobody's.
  if (fd &&
      (fchmod(fd.get(), kForAllToRead) != 0 || write(fd.get(), text.data(), text.size()) != size))
    fd.Reset();
  return fd;
}

}  // namespace mvsms::posix
