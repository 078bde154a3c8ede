// JSON documents as the gateway reads and serves them. The library behind them is slow to compile:
// headers name the type by gateway/json_fwd.h.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "gateway/json_fwd.h"

namespace mvsms::gateway {

/// In one line, in ASCII: JSON alone leaves the second set of control characters as they are. What
/// is not UTF-8 shows as U+FFFD.
inline std::string JsonText(const Json& document) {
  return document.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace mvsms::gateway
