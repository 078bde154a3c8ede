// See attempt_tally.h.
#include "cli/gateway/attempt_tally.h"

#include <chrono>
#include <ctime>

#include "backends/posix/store/journal.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::cli {
namespace {

constexpr std::int64_t kLongestAttempt = 86400;  // seconds

}  // namespace

AttemptTally::AttemptTally(const std::string& home)
    : home_(home), since_(std::time(nullptr) - kLongestAttempt) {
  try {
    Look();
    figures_ = {};
  } catch (const RaisedError&) {
    // Whoever looks is told.
  }
}

gateway::AttemptFigures AttemptTally::Look() {
  const std::lock_guard lock(mutex_);
  bool all_ended = true;
  for (const posix::JournalEntry& entry : posix::Journal(home_).Read(since_, done_)) {
    all_ended = all_ended && !entry.IsOpen();
    if (!entry.IsOpen() && counted_.insert(entry.number).second) {
      ++figures_.by_outcome[Utf8FromAnsi(entry.row.outcome)];
      figures_.seconds += std::chrono::duration<double>(entry.row.duration).count();
    }
    if (!all_ended) continue;
    done_ = entry.number;
    counted_.erase(entry.number);
  }
  return figures_;
}

}  // namespace mvsms::cli
