// The queue as a list in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dispatch/queue.h"

namespace mvsms::memory {

class MemoryQueue : public dispatch::HomeQueue {
 public:
  /// `now` gives the time of every operation.
  explicit MemoryQueue(std::function<dispatch::Moment()> now) : now_(std::move(now)) {}

  std::size_t Put(std::span<const dispatch::Page> pages) override;
  std::optional<dispatch::QueuedPage> Claim(const std::string& holder, const std::string& profile,
                                            std::span<const std::string> services) override;
  bool Begin(const std::string& id, std::int64_t epoch) override;
  bool Extend(const std::string& id, std::int64_t epoch) override;
  bool GiveBack(const std::string& id, std::int64_t epoch) override;
  bool Finish(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
              dispatch::PageState state) override;
  bool TryAgain(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
                dispatch::Moment not_before) override;
  std::int64_t Divert(const std::string& profile, std::span<const std::string> services) override;
  void Sweep(const std::function<bool(const std::string& holder)>& gone) override;
  bool Operate(const std::string& id, const dispatch::OperatorAction& action) override;
  std::optional<dispatch::QueuedPage> Find(const std::string& id) override;
  std::vector<dispatch::QueuedPage> List(const dispatch::PageFilter& filter) override;
  dispatch::QueueStats Stats() override;
  std::vector<std::string> WaitedFor(const std::string& profile) override;
  dispatch::Moment NextDue(const std::string& profile) override;
  std::int64_t Prune(dispatch::Moment before) override;
  bool BringHome(const std::string& id, const dispatch::QueuedPage& there) override;

 protected:
  dispatch::QueuedPage* Look(const std::string& id);
  void Move(dispatch::QueuedPage& queued, dispatch::PageState state);

 private:
  /// The page, when it is in one of the states and in this epoch.
  dispatch::QueuedPage* Held(const std::string& id, std::int64_t epoch,
                             dispatch::PageStates states);
  /// The page that this one may join, or nullptr.
  dispatch::QueuedPage* Like(const dispatch::Page& page);
  bool IsDue(const dispatch::QueuedPage& queued) const;
  bool WaitsBehindAnother(const dispatch::QueuedPage& queued) const;

  std::function<dispatch::Moment()> now_;
  std::vector<dispatch::QueuedPage> pages_;  // by position
  std::int64_t last_position_ = 0;
};

}  // namespace mvsms::memory
