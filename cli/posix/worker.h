// The worker of this machine's queue: a thread for each line, and one that watches over them.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"

namespace mvsms::cli {

/// Works on the pages of the context's profile over the modems of these names (ANSI; all when there
/// are none; a pool stands for its members), until a signal ends it, or, with `once`, until nothing
/// is due. `on_result` is a command as ResultHook has it, or empty. Prints a line for each try.
/// Throws Failure when it cannot begin, such as when another worker is on the profile.
void RunWorker(Context& context, const std::vector<std::string>& modems, bool once,
               const std::string& on_result);

}  // namespace mvsms::cli
