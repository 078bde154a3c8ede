// The Linux back end: settings in a SQLite file, AT-command modems and TCP lines, termios serial
// ports, one event loop per thread.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"

namespace mvsms::posix {

/// The folder of all state: the environment's MVSMS_HOME, else a system folder for root, else a
/// folder in the user's configuration folder.
std::string DefaultHome();

/// One platform for the calling thread, with its state in the folder `home` (UTF-8 path; made with
/// mode 0700 when missing). Cheap to make: nothing is opened before it is used.
std::unique_ptr<Platform> MakePosixPlatform(const std::string& home);

}  // namespace mvsms::posix
