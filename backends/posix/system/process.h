// Processes told apart for good: numbers are used again.
#pragma once

#include <string>

namespace mvsms::posix {

/// This process, in a form that no other one has, whatever its number.
std::string ProcessMark();

/// Whether the process of that mark still runs. One that nothing but its number tells of, because
/// the system hides it, counts as running.
bool StillRuns(const std::string& mark);

}  // namespace mvsms::posix
