// The message loop of one thread and its timers. Deliveries come from the timers and, by Post, from
// other threads (a line that answers); either way they run only inside DoEvents.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/event_loop.h"

namespace mvsms::posix {

/// Belongs to the thread of its Platform; only Post may be called from elsewhere, and then the
/// caller sees to it that the loop still exists.
class PosixEventLoop : public EventLoop, public Timers {
 public:
  /// Sleeps to the deadline even when signals come in between.
  void Sleep(std::chrono::milliseconds duration) override;
  /// Runs the deliveries posted before the call, in their order, then the timers that are due, in
  /// the order in which they fell due. What a delivery posts waits for the next call.
  void DoEvents() override;

  /// The interval is at least 1 ms. Ticks fall due on a fixed grid from the start of the timer;
  /// the missed ones are dropped.
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override;
  bool KillTimer(TimerId id) override;

  /// Thread-safe: queues `delivery` for the next DoEvents of the owning thread.
  void Post(std::function<void()> delivery);

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  struct Timer {
    TimePoint due;
    std::chrono::milliseconds interval;
    /// Shared so that a tick outlives a KillTimer from inside it.
    std::shared_ptr<TimerProc> proc;
  };

  void RunPosted();
  void RunDueTimers();

  TimerId last_id_ = 0;
  std::map<TimerId, Timer> timers_;
  std::mutex mutex_;  // guards posted_
  std::deque<std::function<void()>> posted_;
};

}  // namespace mvsms::posix
