// The lines of the substitute.
#pragma once

#include <memory>
#include <vector>

#include "tests/com/fake_tapi/event_hub.h"

namespace mvsms::fake_tapi {

/// All line addresses: the one without data calls first, so that it has to be left out.
std::vector<win32::ComPtr<::ITAddress>> MakeAddresses(const std::shared_ptr<EventHub>& events);

}  // namespace mvsms::fake_tapi
