// The hub in memory, with what a network and a restored backup do to it: a call that is lost before
// it arrives or whose answer is lost, a hub that is away, and one that is as it was before.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "backends/memory/queue.h"
#include "dispatch/hub.h"

namespace mvsms::memory {

class MemoryHub : public dispatch::Hub {
 public:
  /// `now` is the hub's clock.
  explicit MemoryHub(std::function<dispatch::Moment()> now) : state_(now), now_(std::move(now)) {}

  /// Called with the name of each operation twice: before it is done, and when its answer is on the
  /// way. What it throws is what the caller of the operation gets.
  std::function<void(const std::string& operation, bool done)> peril;

  /// What the hub knows, to be put back later as from a backup.
  std::function<void()> Backup() {
    return [this, kept = state_] { state_ = kept; };
  }
  std::int64_t calls() const { return calls_; }

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

  dispatch::Moment Now() override;
  bool Submit(const dispatch::QueuedPage& page) override;
  bool Withdraw(const std::string& id, std::int64_t offer) override;
  std::vector<dispatch::QueuedPage> Results(const std::string& origin, std::size_t most) override;
  bool Seen(const std::string& id, std::int64_t epoch, dispatch::PageState state) override;
  std::vector<dispatch::HubTry> Tries(const std::string& id) override;
  void Late(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result) override;
  std::vector<dispatch::WaitedService> Waited(const std::string& profile) override;
  dispatch::HubNews Beat(const dispatch::Machine& machine) override;
  std::vector<dispatch::Machine> Machines() override;
  dispatch::HubRests Rests(const std::string& origin) override;
  void Hold(const std::string& why) override;
  bool Replay(const std::string& id, std::int64_t epoch, const std::string& holder,
              const dispatch::PageResult& result, dispatch::PageState state) override;
  void HasTold(const std::string& machine) override;
  void Release() override;
  std::string HeldBecause() override;

 private:
  class Pages : public MemoryQueue {
   public:
    using MemoryQueue::Look;
    using MemoryQueue::MemoryQueue;
    using MemoryQueue::Move;
  };
  struct State {
    explicit State(std::function<dispatch::Moment()> now) : pages(std::move(now)) {}
    Pages pages;
    std::map<std::string, std::pair<std::int64_t, dispatch::PageState>> seen;
    std::set<std::string> withdrawn;
    std::map<std::string, std::int64_t> offers;
    std::map<std::pair<std::string, std::int64_t>, dispatch::HubTry> tries;
    std::map<std::string, dispatch::Machine> machines;
    std::map<std::string, std::int64_t> beats;
    std::string held;
  };

  /// Whether its origin waits for no result of the page any more.
  static bool IsSeen(State& state, const dispatch::QueuedPage& queued);
  /// As perhaps twice, which its origin has to know.
  static void Mark(State& state, dispatch::QueuedPage& queued, bool twice);
  template <class Operation>
  auto Ask(const char* name, Operation operation);
  void Ended(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result);

  State state_;
  std::function<dispatch::Moment()> now_;
  std::int64_t calls_ = 0;
};

}  // namespace mvsms::memory
