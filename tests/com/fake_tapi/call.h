// Calls of the substitute: their states come by themselves, as the number plan says, through the
// message loop of the thread; their events come there, too, or on the service's own thread.
#pragma once

#include <memory>

#include "tests/com/fake_tapi/event_hub.h"
#include "tests/com/fake_tapi/number_plan.h"

namespace mvsms::fake_tapi {

/// A call with this outcome, not started yet; with one reference for the caller.
::ITBasicCallControl* MakeCall(const Outcome& outcome, std::shared_ptr<EventHub> events);

/// The far sides of all connected calls of the calling thread hang up.
void HangUpAll();

/// Ports that were handed over and are still open.
long OpenPorts();

}  // namespace mvsms::fake_tapi
