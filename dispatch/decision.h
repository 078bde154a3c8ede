// What becomes of a page after a try: done, tried again, or left to a person. One table for every
// way in which a send can end.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dispatch/outcome.h"
#include "engine/profile.h"

namespace mvsms::dispatch {

/// How often and when a page is tried again.
struct RetryRules {
  /// The pauses before the first tries: most lines that are busy now are free soon.
  std::vector<std::chrono::seconds> quick{};
  /// So many tries follow them, `delay` apart.
  std::int32_t retries = 0;
  std::chrono::minutes delay{0};
  /// Whether a page that may have gone out is tried again. Somebody must wake up; he may be woken
  /// twice.
  bool repeat_unknown = true;
};

/// Seconds, with blanks between them; nothing when the text is anything else, or a pause is longer
/// than a day.
std::optional<std::vector<std::chrono::seconds>> ReadPauses(std::string_view text);

/// The profile's own. What cannot be read is as when nobody has set it.
RetryRules ReadRetryRules(const Profile& profile);

enum class Verdict {
  kDone,
  kAgain,
  kPark,
};

struct Decision {
  Verdict verdict = Verdict::kPark;
  std::chrono::seconds pause{0};  // before the next try
  std::string why;                // it is parked: a sentence without capital and full stop
};

/// `attempts` were made, the one that is judged included.
Decision Decide(Outcome outcome, int exit_code, std::int32_t attempts, const RetryRules& rules);

}  // namespace mvsms::dispatch
