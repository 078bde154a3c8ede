// The message loop of one thread and its windowless timers. Time passes only in Sleep; timers and
// other events are delivered only in DoEvents, on the calling thread, as a Windows thread gets its
// messages only when it asks for them.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace mvsms {

class EventLoop {
 public:
  virtual ~EventLoop() = default;
  /// Lets the thread sleep. Nothing is delivered meanwhile; zero or less returns at once.
  virtual void Sleep(std::chrono::milliseconds duration) = 0;
  /// Delivers everything that is pending now, then returns. May be called from inside a delivery.
  virtual void DoEvents() = 0;
};

/// Identifies a running timer within its thread; 0 is none.
using TimerId = std::uintptr_t;

class Timers {
 public:
  /// Called on each tick with the timer's identifier. Must not throw.
  using TimerProc = std::function<void(TimerId)>;

  virtual ~Timers() = default;
  /// Starts a periodic thread timer (SetTimer without a window) and returns its identifier, 0 when
  /// the system has none left. Ticks that fall due between two DoEvents count as one.
  virtual TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) = 0;
  /// Stops a timer, also from inside its own tick; no tick follows. False when it is not running.
  virtual bool KillTimer(TimerId id) = 0;
};

}  // namespace mvsms
