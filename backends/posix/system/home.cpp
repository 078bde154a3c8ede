// Where the state of this machine or user lies, when nobody says otherwise.
#include "backends/posix/system/home.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace mvsms::posix {
namespace {

/// The value of an environment variable; empty when it is not set.
std::string Environment(const char* variable) {
  const char* value = std::getenv(variable);
  return value ? value : "";
}

std::string UserFolder() {
  if (std::string home = Environment("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(geteuid());
  return user && user->pw_dir ? user->pw_dir : "";
}

/// Relative paths in XDG_CONFIG_HOME are invalid and ignored, as its definition asks.
std::string ConfigFolder() {
  const std::string folder = Environment("XDG_CONFIG_HOME");
  return folder.starts_with('/') ? folder : UserFolder() + "/.config";
}

bool MayWriteInto(const std::string& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

}  // namespace

std::string DefaultHome(const std::string& system_home) {
  if (std::string home = Environment("MVSMS_HOME"); !home.empty()) return home;
  const bool of_the_system = geteuid() == 0 || MayWriteInto(system_home);
  return of_the_system ? system_home : ConfigFolder() + "/mvsms";
}

bool IsShared(const std::string& folder) {
  struct stat status{};
  return stat(folder.c_str(), &status) == 0 && (status.st_mode & S_IWGRP) != 0;
}

}  // namespace mvsms::posix
