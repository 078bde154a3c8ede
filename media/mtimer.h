// MTimer: the table of the running timer objects of one thread, and the one callback through which
// the system's timer service reaches them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/event_loop.h"

namespace mvsms {

class CTimer;

class MTimer {
 public:
  /// Number of timers that one thread can run at once.
  static constexpr std::size_t kSlots = 100;

  explicit MTimer(Timers& timers) : timers_(timers) {}
  /// Stops every timer that still runs.
  ~MTimer();
  MTimer(const MTimer&) = delete;
  MTimer& operator=(const MTimer&) = delete;

  /// Starts a system timer for `timer` and keeps a counted reference to it. False, with the
  /// object's interval and identifier 0, when the system has no timer left. Throws the timer
  /// error 13651, with the same state, when all slots are taken.
  bool StartTimer(const std::shared_ptr<CTimer>& timer);
  /// Stops the system timer of `timer` and frees its slot. False when it is not in the table.
  bool StopTimer(CTimer& timer);

 private:
  using Slot = std::shared_ptr<CTimer>;

  void TimerProc(TimerId id);
  Slot* FindRunning(TimerId id);
  Slot* FirstEmpty();

  Timers& timers_;
  std::array<Slot, kSlots> slots_;
  std::int16_t high_water_ = 0;  // highest slot number (1-based) ever filled
};

}  // namespace mvsms
