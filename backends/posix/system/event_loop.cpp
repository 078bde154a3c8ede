// See event_loop.h. Every timer and delivery is looked up again just before it runs, because the
// one before it may have killed it, or may have run it already from a DoEvents of its own.
#include "backends/posix/system/event_loop.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>
#include <vector>

namespace mvsms::posix {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

void PosixEventLoop::Sleep(milliseconds duration) {
  if (duration <= milliseconds::zero()) return;
  const auto deadline = (steady_clock::now() + duration).time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(deadline);
  const timespec until = {static_cast<time_t>(seconds.count()),
                          static_cast<long>(nanoseconds(deadline - seconds).count())};
  // steady_clock is CLOCK_MONOTONIC here, so its epoch is the kernel's.
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

void PosixEventLoop::DoEvents() {
  RunPosted();
  RunDueTimers();
}

void PosixEventLoop::RunPosted() {
  std::size_t pending = 0;
  {
    const std::lock_guard lock(mutex_);
    pending = posted_.size();
  }
  for (; pending > 0; --pending) {
    std::function<void()> delivery;
    {
      const std::lock_guard lock(mutex_);
      if (posted_.empty()) return;
      delivery = std::move(posted_.front());
      posted_.pop_front();
    }
    delivery();
  }
}

void PosixEventLoop::RunDueTimers() {
  const TimePoint now = steady_clock::now();
  std::vector<std::pair<TimePoint, TimerId>> due;
  for (const auto& [id, timer] : timers_) {
    if (timer.due <= now) due.emplace_back(timer.due, id);
  }
  std::sort(due.begin(), due.end());
  for (const auto& [was_due, id] : due) {
    const auto found = timers_.find(id);
    if (found == timers_.end() || found->second.due != was_due) continue;
    Timer& timer = found->second;
    timer.due += timer.interval * ((now - timer.due) / timer.interval + 1);
    const std::shared_ptr<TimerProc> proc = timer.proc;
    (*proc)(id);
  }
}

TimerId PosixEventLoop::SetTimer(std::uint32_t interval_ms, TimerProc proc) {
  const milliseconds interval(std::max<std::uint32_t>(interval_ms, 1));
  timers_[++last_id_] = {steady_clock::now() + interval, interval,
                         std::make_shared<TimerProc>(std::move(proc))};
  return last_id_;
}

bool PosixEventLoop::KillTimer(TimerId id) { return timers_.erase(id) > 0; }

void PosixEventLoop::Post(std::function<void()> delivery) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(delivery));
}

}  // namespace mvsms::posix
