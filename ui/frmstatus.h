// frmStatus: the small window that shows the progress of a send, one text box with all the status
// lines. Here is its life without its looks: a form that is loaded or not, visible or not, and
// closes itself by a timer.
//
// Whoever owns the form keeps it after it has closed itself. Touching it then loads it again, but
// only showing would make it visible: the user sees the window once and is left alone after that.
#pragma once

#include <cstdint>
#include <string>

#include "engine/status_window.h"
#include "platform/event_loop.h"

namespace mvsms {

class frmStatus : public StatusWindow {
 public:
  /// Time from StartHide to the window's end.
  static constexpr std::uint32_t kHideDelayMs = 5000;

  explicit frmStatus(Timers& timers) : timers_(timers) {}
  ~frmStatus() override { Unload(); }
  frmStatus(const frmStatus&) = delete;
  frmStatus& operator=(const frmStatus&) = delete;

  void Show() override;
  void SetText(const std::string& Text) override;
  /// Restarts the delay when the timer runs already. Without a free system timer the window stays.
  void StartHide() override;
  /// Closes the window, as its timer and its user do; the text and the timer end with it.
  void Unload();

  bool IsLoaded() const { return loaded_; }
  bool IsVisible() const { return visible_; }
  /// Content of the text box; "" while the form is not loaded.
  const std::string& Text() const { return text_; }

 private:
  void StopTimer();

  Timers& timers_;
  TimerId timer_ = 0;
  bool loaded_ = true;
  bool visible_ = false;
  std::string text_;
};

}  // namespace mvsms
