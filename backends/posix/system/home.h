// Where the state of this machine or user lies.
#pragma once

#include <string>

namespace mvsms::posix {

/// The folder of all state of root, and of those whom the administrator lets write into it.
inline constexpr char kSystemHome[] = "/var/lib/mvsms";

/// The folder of all state: the environment's MVSMS_HOME, else `system_home` for root and for
/// whoever may write into it, else a folder in the user's configuration folder.
std::string DefaultHome(const std::string& system_home = kSystemHome);

/// Whether the group may write into the folder, and so shares the files in it.
bool IsShared(const std::string& folder);

}  // namespace mvsms::posix
