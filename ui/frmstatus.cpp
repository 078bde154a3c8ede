// The life of the status window.
#include "ui/frmstatus.h"

namespace mvsms {

void frmStatus::Show() {
  loaded_ = true;
  visible_ = true;
}

void frmStatus::SetText(const std::string& Text) {
  loaded_ = true;
  text_ = Text;
}

void frmStatus::StartHide() {
  loaded_ = true;
  StopTimer();
  timer_ = timers_.SetTimer(kHideDelayMs, [this](TimerId) { Unload(); });
}

void frmStatus::Unload() {
  StopTimer();
  loaded_ = false;
  visible_ = false;
  text_.clear();
}

void frmStatus::StopTimer() {
  if (timer_ == 0) return;
  timers_.KillTimer(timer_);
  timer_ = 0;
}

}  // namespace mvsms
