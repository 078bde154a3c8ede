// Trying a modem without sending anything.
#pragma once

#include <string>

#include "cli/context.h"
#include "platform/posix/line_store.h"

namespace mvsms::cli {

/// Asks a hayes modem for an "OK" and returns the finding as a sentence. Throws Failure naming the
/// device when it cannot be opened, is in use, or does not answer within three seconds.
std::string TestModem(Context& context, const posix::LineConfig& line);

/// Dials `number` (ANSI), hangs up as soon as the call is connected, and returns the finding.
/// Throws Failure with the reason when the call does not come up.
std::string TestCall(Context& context, const posix::LineConfig& line, const std::string& number);

}  // namespace mvsms::cli
