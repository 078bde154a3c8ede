// frmStatus: the small window that shows the progress of a send, one text box with all the status
// lines. It closes itself by a timer.
//
// Whoever owns the form keeps it after it has closed itself. Touching it then loads it again, but
// only showing would make it visible: the user sees the window once and is not bothered again.
#pragma once

#include <cstdint>
#include <string>

#include "engine/status_window.h"
#include "forms/form.h"

namespace mvsms {

class frmStatus final : public Form, public StatusWindow {
 public:
  /// Milliseconds from StartHide until the window closes.
  static constexpr std::int32_t kHideDelayMs = 5000;

  explicit frmStatus(Platform& platform);
  ~frmStatus() override { Unload(); }

  void Show() override;
  void SetText(const std::string& Text) override;
  /// Restarts the delay when the timer runs already. Without a free system timer the window stays.
  void StartHide() override;

  TextBox txtStatus;
  Timer tmrHide;

 private:
  void Form_Load() override;
  void Form_Resize() override;
};

/// The status window of a Sender on this platform.
StatusWindowFactory StatusWindowOn(Platform& platform);

}  // namespace mvsms
