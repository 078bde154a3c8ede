// The message loop over virtual time, and its timers.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "backends/memory/machine.h"
#include "platform/event_loop.h"

namespace mvsms::memory {

class MemoryEventLoop : public EventLoop, public Timers {
 public:
  explicit MemoryEventLoop(Machine& machine) : machine_(machine) {}

  void Sleep(Millis duration) override;
  /// Runs the messages that were posted before the call, in their order, then the timers that are
  /// due, in the order in which they fell due. What a delivery posts waits for the next call.
  void DoEvents() override;

  /// The interval is at least 1 ms. Ticks fall due on a fixed grid from the start of the timer;
  /// the missed ones are dropped.
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override;
  bool KillTimer(TimerId id) override;

  /// Queues a message for the next DoEvents.
  void Post(std::function<void()> message) { messages_.push_back(std::move(message)); }
  std::size_t running_timers() const { return timers_.size(); }

 private:
  struct Timer {
    Millis due;
    Millis interval;
    /// Shared so that a tick outlives a KillTimer from inside it.
    std::shared_ptr<TimerProc> proc;
  };

  void RunMessages();
  void RunDueTimers();

  Machine& machine_;
  std::deque<std::function<void()>> messages_;
  std::map<TimerId, Timer> timers_;
  TimerId last_id_ = 0;
};

}  // namespace mvsms::memory
