// The type of JSON documents.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace mvsms::gateway {

/// Objects keep the order in which their members were added.
using Json = nlohmann::ordered_json;

}  // namespace mvsms::gateway
