// The timer object. Its destructor need not stop it: the table refers to every running timer, so
// one that is being destroyed has been stopped.
#include "media/ctimer.h"

#include <utility>

#include "base/raised_error.h"
#include "media/mtimer.h"

namespace mvsms {
namespace {

constexpr std::int32_t kFirstOwnErrorCode = 1001;

/// The number in the first text dates from before the table had its present capacity; hosts know
/// the text as it is.
std::string TimerErrorText(std::int32_t code) {
  switch (code) {
    case kErrTooManyTimers:
      return "No more than 10 timers allowed per class";
    case kErrNoSystemTimer:
      return "Can't create system timer";
    default:
      return {};
  }
}

}  // namespace

void RaiseTimerError(std::int32_t code, const std::string& component_name) {
  const std::int32_t number = code < kFirstOwnErrorCode ? code : ObjectError(code);
  throw RaisedError(number, component_name + ".WindowProc", TimerErrorText(code));
}

std::shared_ptr<CTimer> CTimer::Create(MTimer& timers, std::string component_name) {
  return std::shared_ptr<CTimer>(new CTimer(timers, std::move(component_name)));
}

CTimer::CTimer(MTimer& timers, std::string component_name)
    : timers_(timers), component_name_(std::move(component_name)) {}

void CTimer::SetInterval(std::int32_t NewInterval) {
  const auto self = shared_from_this();  // the table's reference may be the last one
  if (NewInterval == interval_) return;
  Stop();
  if (NewInterval < 1) return;
  interval_ = NewInterval;
  if (!timers_.StartTimer(self)) RaiseTimerError(kErrNoSystemTimer, component_name_);
}

void CTimer::PulseTimer() {
  const auto handler = ThatTime;
  if (handler) handler();
}

void CTimer::Stop() {
  if (interval_ == 0) return;
  interval_ = 0;
  timers_.StopTimer(*this);
}

}  // namespace mvsms
