// Explanations of frames on the output: a line per field, or JSON. Passwords are hidden.
#pragma once

#include <vector>

#include "cli/context.h"
#include "dispatch/explain.h"

namespace mvsms::cli {

void PrintExplanations(Context& context, const std::vector<dispatch::Explanation>& parts);

/// A list of objects: what, faults, and fields with at, bytes, name and meaning.
Json ExplanationsAsJson(const std::vector<dispatch::Explanation>& parts);

}  // namespace mvsms::cli
