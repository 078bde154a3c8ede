// basCommon: waiting. Everything in the system that waits does it here.
#pragma once

#include <cstdint>

#include "platform/event_loop.h"

namespace mvsms::basCommon {

/// The one waiting routine: ten rounds, each sleeping for the integer part of Milliseconds / 10 and
/// then processing all pending events. A value below 10 (also a negative one) only processes
/// events, ten times. Incoming data, timers and an abort request are taken in meanwhile.
void Pause(EventLoop& loop, std::int32_t Milliseconds);

}  // namespace mvsms::basCommon
