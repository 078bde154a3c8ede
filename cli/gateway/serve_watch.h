// Looks at the queue and the lines for what has changed, and says so to those who listen.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "backends/posix/store/queue.h"
#include "cli/context.h"

namespace mvsms::cli {

/// A change bears the moment at which its transaction began to wait: it may appear so much behind a
/// later one.
inline constexpr std::chrono::seconds kLateChange{3};

/// The pages that came or changed since then, in the order in which they did.
std::vector<dispatch::QueuedPage> ChangedSince(
    dispatch::Queue& queue, dispatch::Moment since,
    std::size_t most = std::numeric_limits<std::size_t>::max());

class ServeWatch {
 public:
  /// The context outlives it, and is of its thread.
  ServeWatch(Context& context, std::function<void(std::string event)> publish);

  /// Publishes what has changed since the last time. Without anybody who listens, nothing has.
  /// Throws RaisedError when the queue cannot be read.
  void Look(bool anybody_listens);
  /// How many pages wait.
  std::int64_t Waiting();

 private:
  void LookAtPages();

  Context& context_;
  const std::function<void(std::string)> publish_;
  posix::PageQueue queue_;
  dispatch::Moment since_;
  /// The pages that were told of, by position, with their change and their state.
  std::map<std::int64_t, std::pair<dispatch::Moment, dispatch::PageState>> told_;
  std::string lines_;
};

}  // namespace mvsms::cli
