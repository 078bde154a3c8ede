// UCP frames in words: requests and results of the operations that clients of a message centre use.
#pragma once

#include <string_view>

#include "dispatch/explain.h"

namespace mvsms::dispatch {

/// Whether `bytes`, behind an STX if there is one, begin as a UCP frame does.
bool LooksLikeUcp(std::string_view bytes);

/// One frame: from its STX, which may be missing, through its ETX or as far as it goes.
Explanation ExplainUcp(std::string_view frame);

}  // namespace mvsms::dispatch
