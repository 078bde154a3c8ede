// See event_loop.h. Every timer is looked up again just before its tick, because the one before it
// may have killed it, or may have run it already from a DoEvents of its own.
#include "backends/memory/event_loop.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace mvsms::memory {

void MemoryEventLoop::Sleep(Millis duration) {
  machine_.Refuses("EventLoop.Sleep");
  machine_.Sleep(duration);
}

void MemoryEventLoop::DoEvents() {
  machine_.Refuses("EventLoop.DoEvents");
  RunMessages();
  RunDueTimers();
}

void MemoryEventLoop::RunMessages() {
  for (std::size_t pending = messages_.size(); pending > 0 && !messages_.empty(); --pending) {
    const auto message = std::move(messages_.front());
    messages_.pop_front();
    message();
  }
}

void MemoryEventLoop::RunDueTimers() {
  const Millis now = machine_.now();
  std::vector<std::pair<Millis, TimerId>> due;
  for (const auto& [id, timer] : timers_) {
    if (timer.due <= now) due.emplace_back(timer.due, id);
  }
  std::sort(due.begin(), due.end());
  for (const auto& [was_due, id] : due) {
    const auto found = timers_.find(id);
    if (found == timers_.end() || found->second.due != was_due) continue;
    Timer& timer = found->second;
    timer.due += timer.interval * ((now - timer.due) / timer.interval + 1);
    const auto proc = timer.proc;
    (*proc)(id);
  }
}

TimerId MemoryEventLoop::SetTimer(std::uint32_t interval_ms, TimerProc proc) {
  if (machine_.Refuses("Timers.SetTimer")) return 0;
  if (timers_.size() >= machine_.platform.max_system_timers) return 0;
  const Millis interval(std::max<std::uint32_t>(interval_ms, 1));
  timers_[++last_id_] = {machine_.now() + interval, interval,
                         std::make_shared<TimerProc>(std::move(proc))};
  return last_id_;
}

bool MemoryEventLoop::KillTimer(TimerId id) {
  if (machine_.Refuses("Timers.KillTimer")) return false;
  return timers_.erase(id) > 0;
}

}  // namespace mvsms::memory
