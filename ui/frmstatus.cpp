// The status window: one text box and one timer.
#include "ui/frmstatus.h"

namespace mvsms {
namespace {

constexpr int kWidth = 6000;
constexpr int kHeight = 3000;
constexpr TextBox::Style kLog = {.multi_line = true, .locked = true};

}  // namespace

frmStatus::frmStatus(Platform& platform)
    : Form(platform, {.name = "frmStatus",
                      .caption = "SMS Status",
                      .width = kWidth,
                      .height = kHeight,
                      .resizable = true,
                      .passive = true}),
      txtStatus(*this, {.name = "txtStatus", .place = {0, 0, kWidth, kHeight}}, kLog),
      tmrHide(*this, {.name = "tmrHide"}) {
  tmrHide.OnTimer = [this] { Unload(); };
  Load();
}

void frmStatus::Show() { Form::Show(); }

void frmStatus::SetText(const std::string& Text) {
  Load();
  txtStatus.SetText(Text);
  txtStatus.ScrollToEnd();
}

void frmStatus::StartHide() {
  Load();
  tmrHide.SetInterval(kHideDelayMs);
  tmrHide.SetEnabled(true);
}

void frmStatus::Form_Load() { txtStatus.SetText(""); }

void frmStatus::Form_Resize() { txtStatus.Move({0, 0, Width(), Height()}); }

StatusWindowFactory StatusWindowOn(Platform& platform) {
  return [&platform] { return std::make_unique<frmStatus>(platform); };
}

}  // namespace mvsms
