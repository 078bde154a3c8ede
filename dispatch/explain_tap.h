// TAP in words: the blocks of a page, and the lines that caller and centre exchange around them.
#pragma once

#include <string_view>

#include "dispatch/explain.h"

namespace mvsms::dispatch {

/// One block: from its STX through the CR behind the checksum, or as far as it goes.
Explanation ExplainTapBlock(std::string_view block);

/// Where the block that `bytes` begin with ends.
std::size_t LengthOfTapBlock(std::string_view bytes);

/// Whatever stands outside of frames: prompts, logins, answers, text.
Explanation ExplainTapTalk(std::string_view talk);

}  // namespace mvsms::dispatch
