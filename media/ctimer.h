// CTimer: a timer object with an interval and one event. The component has no window that could
// own timers, so a running one lives in the table of its thread's MTimer, which keeps a counted
// reference to it.
//
// That reference is why releasing a running timer does not stop it: it keeps its slot and ticks
// until its interval is set below 1 or the thread's MTimer is destroyed. Whoever binds ThatTime
// must therefore unbind it before going away.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/event_loop.h"

namespace mvsms {

class MTimer;

inline constexpr std::int32_t kErrTooManyTimers = 13651;
inline constexpr std::int32_t kErrNoSystemTimer = 13652;

/// Raises a timer error, with the source "<component>.WindowProc". A code below 1001 is a plain
/// error number without a text; the others lie on the object-error base.
[[noreturn]] void RaiseTimerError(std::int32_t code, const std::string& component_name);

class CTimer : public std::enable_shared_from_this<CTimer> {
 public:
  /// A stopped timer. `timers` must outlive its last start.
  static std::shared_ptr<CTimer> Create(MTimer& timers, std::string component_name);
  CTimer(const CTimer&) = delete;
  CTimer& operator=(const CTimer&) = delete;

  /// The event, raised on each tick. Must not throw; may unbind or release the timer.
  std::function<void()> ThatTime;

  /// Milliseconds between two ticks; 0 means stopped.
  std::int32_t Interval() const { return interval_; }
  /// Starts the timer, restarts it with another interval, or stops it (below 1). Throws 13651 when
  /// the thread's table is full, 13652 when the system has no timer left; it is stopped then.
  void SetInterval(std::int32_t NewInterval);
  /// Raises ThatTime.
  void PulseTimer();

 private:
  friend class MTimer;

  CTimer(MTimer& timers, std::string component_name);
  void Stop();

  MTimer& timers_;
  std::string component_name_;
  std::int32_t interval_ = 0;
  TimerId timer_id_ = 0;
};

}  // namespace mvsms
