// What to say of a name that nothing has: which ones there are, which of them may have been meant,
// and where they were looked for.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"

namespace mvsms::cli {

/// The name that differs from `name` by the fewest letters, two at most; "" when none is so near.
std::string Nearest(const std::string& name, const std::vector<std::string>& names);

/// The end of a sentence that says there is no `name`: " (did you mean …?)", or "". Names are in
/// the ANSI code page, the sentence is in UTF-8.
std::string DidYouMean(const std::string& name, const std::vector<std::string>& names);

/// That there is no such profile as the chosen one, in which folder, and what there is instead.
std::string NoProfile(Context& context);

/// Warns when the chosen profile is about to begin and looks like a slip for one that there is.
void WarnOfNewProfile(Context& context);

/// What a send does not find in the chosen profile, or cannot read there; "" when nothing is wrong
/// with it.
std::string ProfileGaps(Context& context);

}  // namespace mvsms::cli
