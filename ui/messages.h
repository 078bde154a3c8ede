// The local error message of the configuration dialogs.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace mvsms {

/// Tells the user of a failure that a procedure foresaw: heading, description, number and
/// procedure.
void ShowError(Platform& platform, std::int32_t number, const std::string& description,
               const std::string& procedure);

}  // namespace mvsms
