// The table of running timers.
#include "media/mtimer.h"

#include <algorithm>

#include "media/ctimer.h"

namespace mvsms {

MTimer::~MTimer() {
  for (Slot& slot : slots_) {
    if (const Slot timer = slot) timer->SetInterval(0);
  }
}

bool MTimer::StartTimer(const std::shared_ptr<CTimer>& timer) {
  timer->timer_id_ = timers_.SetTimer(static_cast<std::uint32_t>(timer->interval_),
                                      [this](TimerId id) { TimerProc(id); });
  if (timer->timer_id_ == 0) {
    timer->interval_ = 0;
    return false;
  }
  Slot* const slot = FirstEmpty();
  if (slot == nullptr) {  // without a slot nobody could ever stop the system timer again
    timers_.KillTimer(timer->timer_id_);
    timer->timer_id_ = 0;
    timer->interval_ = 0;
    RaiseTimerError(kErrTooManyTimers, timer->component_name_);
  }
  *slot = timer;
  high_water_ = std::max(high_water_, static_cast<std::int16_t>(slot - slots_.data() + 1));
  return true;
}

bool MTimer::StopTimer(CTimer& timer) {
  Slot* const slot = FindRunning(timer.timer_id_);
  if (slot == nullptr) return false;
  timers_.KillTimer(timer.timer_id_);
  timer.timer_id_ = 0;
  slot->reset();
  return true;
}

void MTimer::TimerProc(TimerId id) {
  const Slot* const slot = FindRunning(id);
  if (slot == nullptr) return;
  const Slot timer = *slot;  // the handler may stop and release it
  timer->PulseTimer();
}

MTimer::Slot* MTimer::FindRunning(TimerId id) {
  Slot* const end = slots_.data() + high_water_;
  Slot* const found = std::find_if(slots_.data(), end, [id](const Slot& slot) {
    return slot != nullptr && slot->timer_id_ == id;
  });
  return found == end ? nullptr : found;
}

MTimer::Slot* MTimer::FirstEmpty() {
  const auto found = std::find(slots_.begin(), slots_.end(), nullptr);
  return found == slots_.end() ? nullptr : &*found;
}

}  // namespace mvsms
