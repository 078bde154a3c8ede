// Why a server's certificate is not trusted.
#pragma once

#include <string>

namespace mvsms::posix {

/// Calls the server again, hears its certificate and hangs up: "; ..." with the certificate and
/// what is wrong with it, or nothing when that cannot be found out within some seconds. Sends
/// nothing that is secret.
std::string WhyNotTrusted(const std::string& address, const std::string& port,
                          const std::string& authorities);

}  // namespace mvsms::posix
