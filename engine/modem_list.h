// The modems that a user can choose from.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"

namespace mvsms {

/// Names of the lines that can carry data-modem calls, in the telephony service's order; none when
/// the service does not work.
std::vector<std::string> ModemNames(Platform& platform);

}  // namespace mvsms
