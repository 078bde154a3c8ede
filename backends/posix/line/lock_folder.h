// The folder in which programs tell each other about serial devices: /var/lock, or what the
// environment's MVSMS_LOCK_DIR names. Everybody may write into it, so nothing in it is trusted: no
// link is followed, nothing but a file is opened for longer than a look, and nobody is waited for.
#pragma once

#include <sys/stat.h>

#include <string>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::posix {

std::string LockFolder();

/// What a device is called in the folder. Other names of a device (/dev/modem,
/// /dev/serial/by-id/...) lead to one.
std::string LockName(const std::string& device);

/// A file of the folder, open for reading; none where there is none, or something else in its
/// place.
UniqueFd OpenToLook(const std::string& file, struct stat& status);

/// Makes a file that everybody may read, in place of one that a predecessor of this process's
/// number left behind, and opens it; none when it cannot be written.
UniqueFd MakeNewFile(const std::string& file, const std::string& text);

}  // namespace mvsms::posix
