// The text of `mvsms send` is its last argument, whatever it holds. An option parser sees an option
// in everything that begins with "-"; what it must not take for one is marked before it reads.
#pragma once

#include <string>
#include <vector>

#include "cli/options.h"

namespace mvsms::cli {

/// `arguments` with "--" before the text of a send, when they are a send and their last one can
/// only be its text. Throws UsageError where a message might be taken for an option, or an option
/// for the message: a send that is refused is tried again, one that printed its help is not.
std::vector<std::string> WithTextMarked(Command& app, std::vector<std::string> arguments);

}  // namespace mvsms::cli
