// Where the state of this machine or user lies, when nobody says otherwise.
#include "backends/posix/system/home.h"

#include <pwd.h>
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

}  // namespace

std::string DefaultHome() {
  if (std::string home = Environment("MVSMS_HOME"); !home.empty()) return home;
  return geteuid() == 0 ? kSystemHome : ConfigFolder() + "/mvsms";
}

}  // namespace mvsms::posix
