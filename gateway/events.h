// Events as a stream of them is written (text/event-stream).
#pragma once

#include <cstdint>
#include <string>

#include "gateway/json_fwd.h"

namespace mvsms::gateway {

/// A page that came or changed at that moment, in milliseconds since 1970: the id of the event, by
/// which a stream goes on where another one ended.
std::string PageEvent(const Json& page, std::int64_t changed);
/// How all lines are now.
std::string LinesEvent(const Json& lines);
/// Too much has happened: whoever follows must ask for everything again.
std::string ReloadEvent();

}  // namespace mvsms::gateway
