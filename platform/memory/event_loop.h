// The message loop and the timers of the in-memory machine.
#pragma once

#include <map>

#include "platform/memory/machine.h"

namespace mvsms::memory {

class MemoryEventLoop : public EventLoop, public Timers {
 public:
  explicit MemoryEventLoop(Machine& machine) : machine_(machine) {}

  void Sleep(Millis duration) override;
  void DoEvents() override;
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override;
  bool KillTimer(TimerId id) override;
  std::size_t running() const { return timers_.size(); }

 private:
  struct RunningTimer {
    Millis due;
    Millis interval;
    TimerProc proc;
  };
  void DeliverTicks();

  Machine& machine_;
  std::map<TimerId, RunningTimer> timers_;
  TimerId last_id_ = 0;
};

}  // namespace mvsms::memory
