// Where the line classes write what belongs in the send log.
#pragma once

#include <functional>
#include <string>

namespace mvsms {

/// Receives one line for the send log, or drops it when logging is off. Never throws.
using LogSink = std::function<void(const std::string& text)>;

}  // namespace mvsms
