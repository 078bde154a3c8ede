// Message loop and timers, see event_loop.h.
#include "platform/memory/event_loop.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace mvsms::memory {

void MemoryEventLoop::Sleep(Millis duration) {
  machine_.Refuses("EventLoop.Sleep");
  machine_.AdvanceBy(duration);
}

void MemoryEventLoop::DoEvents() {
  machine_.Refuses("EventLoop.DoEvents");
  machine_.DeliverMessages();
  DeliverTicks();
}

void MemoryEventLoop::DeliverTicks() {
  std::vector<std::pair<Millis, TimerId>> due;
  for (const auto& [id, timer] : timers_) {
    if (timer.due <= machine_.now()) due.emplace_back(timer.due, id);
  }
  std::sort(due.begin(), due.end());
  for (const auto& [time, id] : due) {
    const auto found = timers_.find(id);
    if (found == timers_.end() || found->second.due > machine_.now()) continue;
    RunningTimer& timer = found->second;
    // The grid of periods stays; the ones that went by without a delivery count as this tick.
    timer.due += ((machine_.now() - timer.due) / timer.interval + 1) * timer.interval;
    const TimerProc proc = timer.proc;  // the tick may stop its own timer
    proc(id);
  }
}

TimerId MemoryEventLoop::SetTimer(std::uint32_t interval_ms, TimerProc proc) {
  if (machine_.Refuses("Timers.SetTimer")) return 0;
  if (timers_.size() >= machine_.platform().max_system_timers) return 0;
  const Millis interval{std::max<std::uint32_t>(interval_ms, 1)};
  timers_[++last_id_] = {machine_.now() + interval, interval, std::move(proc)};
  return last_id_;
}

bool MemoryEventLoop::KillTimer(TimerId id) {
  if (machine_.Refuses("Timers.KillTimer")) return false;
  return timers_.erase(id) > 0;
}

}  // namespace mvsms::memory
