// Trying a modem without sending anything.
#pragma once

#include <string>

#include "backends/posix/store/line_store.h"
#include "cli/context.h"

namespace mvsms::cli {

/// Opens a hayes line as a call does, asks the modem for its answers to "AT" and the
/// initialisation, and returns the finding as a sentence. Throws Failure naming the device when it
/// cannot be opened, is in use, does not do the framing, or does not answer within three seconds.
/// A modem that answers rests no more. Of a pool each member is asked, and one that fails is enough
/// to fail.
std::string TestModem(Context& context, const posix::LineConfig& line);

/// Dials `number` (ANSI), hangs up as soon as the call is connected, and returns the finding.
/// Throws Failure with the reason when the call does not come up.
std::string TestCall(Context& context, const posix::LineConfig& line, const std::string& number);

}  // namespace mvsms::cli
