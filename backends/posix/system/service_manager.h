// Notes to the service manager that has started this process (sd_notify(3)).
#pragma once

#include <string_view>

namespace mvsms::posix {

/// Sends an assignment, such as "READY=1", to the socket that NOTIFY_SOCKET names. Nothing happens
/// without one, or when it takes no message: a service does not depend on who watches it.
void TellServiceManager(std::string_view assignment);

}  // namespace mvsms::posix
