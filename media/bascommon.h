// basCommon: waiting. Everything in the system that waits does it here.
#pragma once

#include <cstdint>

#include "platform/event_loop.h"

namespace mvsms::basCommon {

/// The one waiting routine: ten rounds, each sleeping for the integer part of Milliseconds / 10 and
/// then processing all pending events. A value below 10 (negative ones included) only processes
/// events, ten times. Incoming data, timers and abort requests are handled meanwhile.
void Pause(EventLoop& loop, std::int32_t Milliseconds);

}  // namespace mvsms::basCommon
