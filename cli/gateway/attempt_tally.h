// Counts the attempts that end, from the journal.
#pragma once

#include <cstdint>
#include <mutex>
#include <set>
#include <string>

#include "gateway/metrics.h"

namespace mvsms::cli {

class AttemptTally {
 public:
  /// Of the journal in `home`, from this moment on.
  explicit AttemptTally(const std::string& home);

  /// All that have ended by now. From any thread. Throws RaisedError when the journal cannot be
  /// read.
  gateway::AttemptFigures Look();

 private:
  const std::string home_;
  const std::int64_t since_;
  std::mutex mutex_;                // for what follows
  std::int64_t done_ = 0;           // up to this number all have ended and were counted
  std::set<std::int64_t> counted_;  // beyond it
  gateway::AttemptFigures figures_;
};

}  // namespace mvsms::cli
