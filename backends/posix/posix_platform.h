// The Linux back end: settings in a SQLite file, AT-command modems and TCP lines, termios serial
// ports, one event loop per thread.
#pragma once

#include <memory>
#include <string>

#include "platform/platform.h"

namespace mvsms::posix {

/// One platform for the calling thread, with its state in the folder `home` (UTF-8 path; made with
/// mode 0700 when missing). Cheap to make: nothing is opened before it is used.
std::unique_ptr<Platform> MakePosixPlatform(const std::string& home);

}  // namespace mvsms::posix
