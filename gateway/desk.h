// What the doors of the gateway need of the machine behind them: its queue, its journal and its
// lines. A door has a desk for each of its threads; tests have one in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "dispatch/queue.h"
#include "gateway/json_fwd.h"
#include "gateway/metrics.h"
#include "gateway/page_request.h"

namespace mvsms::gateway {

/// The queue, or what else is needed, cannot be used just now. Nothing of the request was done.
class Unavailable : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What to list. Texts are UTF-8.
struct ListQuery {
  dispatch::PageStates states = dispatch::kAllStates;
  std::string since;  // changed since: a time before now, "2h", or a date; empty: always
  std::string search;
  std::size_t most = 100;
};

enum class Operated {
  kDone,
  kNoSuchPage,
  kOtherState,  // which the page keeps
};

/// The objects are those of the command's JSON output (docs/gateway-guide.md). Every operation
/// throws Unavailable when the state cannot be read or written.
class Desk {
 public:
  virtual ~Desk() = default;

  /// Puts the pages, all or none. "pages": an object for each, in their order, with id, state,
  /// whether it is new, recipient, service and priority. "skipped", only when there are some: the
  /// parts of groups that nothing can be sent to while others of the group are paged, with
  /// recipient and reason. They are on stable storage when it returns. Throws WrongFields when one
  /// cannot be sent.
  virtual Json Put(const std::vector<PageRequest>& requests) = 0;

  /// The page with its tries; null when there is none.
  virtual Json Page(const std::string& id) = 0;
  /// The newest first. Throws WrongFields for a `since` that is no time.
  virtual Json Pages(const ListQuery& query) = 0;
  virtual Operated Operate(const std::string& id, const dispatch::OperatorAction& action) = 0;
  virtual Json Stats() = 0;
  virtual Json Lines() = 0;
  /// The hub, and the machines that share their pages over it, as the running worker sees them;
  /// null without one.
  virtual Json Hub() = 0;

  /// The attempts in the journal that `query.search` is found in, the newest first.
  virtual Json Attempts(const ListQuery& query) = 0;
  /// One attempt with what was said in it; null when there is none.
  virtual Json Attempt(const std::string& id) = 0;
  /// The last day in quarter hours, the oldest first: how many attempts were accepted in each, and
  /// how many failed.
  virtual Json History() = 0;
  /// The events of what changed since then, in milliseconds since 1970; ReloadEvent when that is
  /// too much.
  virtual std::string EventsSince(std::int64_t since) = 0;
  virtual Figures Measure() = 0;
  /// Nothing, when pages can be taken.
  virtual void CheckReady() = 0;
};

/// A sentence for each of "skipped" in what Desk::Put gave.
std::vector<std::string> SkippedIn(const Json& taken);

}  // namespace mvsms::gateway
