// Where the state of this machine or user lies.
#pragma once

#include <string>

namespace mvsms::posix {

/// The folder of all state of root, and of whoever names it.
inline constexpr char kSystemHome[] = "/var/lib/mvsms";

/// The folder of all state: the environment's MVSMS_HOME, else a system folder for root, else a
/// folder in the user's configuration folder.
std::string DefaultHome();

}  // namespace mvsms::posix
