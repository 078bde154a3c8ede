// The log of the whole machine, which syslog and journald keep.
#pragma once

#include <string>

namespace mvsms::posix {

enum class Severity { kWarning = 4, kInfo = 6 };

/// Hands one line to the log daemon that listens on the socket at `path`; false when none takes it.
/// Never waits: a daemon that has stopped must not hold a send up.
bool WriteSystemLog(Severity severity, const std::string& line, const char* path = "/dev/log");

}  // namespace mvsms::posix
