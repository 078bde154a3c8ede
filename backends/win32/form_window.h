// The window of a form: a dialog of the system with a native window for each control.
//
// Changes of the model reach the windows by a posted message, so that a form which fills a list
// entry by entry is drawn only once. Nothing of the form is touched after one of its events has
// run, because the event may have destroyed it.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "backends/win32/accessible_names.h"
#include "backends/win32/control_window.h"
#include "backends/win32/keyboard.h"
#include "backends/win32/look.h"
#include "forms/form.h"
#include "platform/forms.h"

namespace mvsms::win32 {

/// Keeps the other windows of the thread, and a foreign owner, from taking input.
class DisabledWindows {
 public:
  DisabledWindows(HWND except, HWND owner);
  ~DisabledWindows();
  DisabledWindows(const DisabledWindows&) = delete;
  DisabledWindows& operator=(const DisabledWindows&) = delete;

 private:
  static BOOL CALLBACK DisableNext(HWND window, LPARAM self);
  void Disable(HWND window);

  HWND except_;
  std::vector<HWND> windows_;
};

class FormWindow : public FormPeer {
 public:
  explicit FormWindow(Form& form);
  ~FormWindow() override;
  FormWindow(const FormWindow&) = delete;
  FormWindow& operator=(const FormWindow&) = delete;

  void Show() override;
  void RunModal() override;
  void Hide() override;
  void BringToFront() override;
  void Changed(const Control* control, Aspect aspect) override;
  WindowHandle Window() const override { return reinterpret_cast<WindowHandle>(handle_); }

 private:
  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR Handle(UINT message, WPARAM wparam, LPARAM lparam);
  bool OnCommand(WORD id, WORD code);
  bool OnNotify(NMHDR& notice);
  void ShowTip(NMTTDISPINFOW& tip);
  void OnSize();
  void OnDpiChanged(UINT dpi, const RECT& suggested);
  void LimitSize(MINMAXINFO& limits) const;

  void MakeWindow();
  void MakeControls();
  void NameControls();
  void MakeToolTips();
  void MakeMenu();
  void ShowIcon();
  void ShowChanges();
  void ShowForm(Aspect aspect);
  /// Size of the whole window for the form's inner area, in pixels.
  SIZE OuterSize(int width, int height) const;
  /// Moves the window, but never beyond the working area of the screen.
  void MoveTo(LONG left, LONG top, const RECT& area);
  void Centre();
  void MoveToCorner();
  void Focus(HWND control);
  void FocusFirst();
  /// The keys must not end in a control that has been disabled or hidden while it had them.
  void KeepFocus(HWND focus);

  Form& form_;
  KeyboardHook keyboard_;
  HWND handle_ = nullptr;
  std::unique_ptr<FormMetrics> metrics_;
  UniqueIcon small_icon_, big_icon_;
  std::map<const Control*, std::unique_ptr<ControlWindow>> windows_;
  AccessibleNames names_;
  std::wstring tip_;  // the one that is shown
  std::map<WORD, Control*> ids_;
  std::set<std::pair<const Control*, Aspect>> changes_;
  bool posted_ = false;
  bool sizing_ = false;  // by the form, not by the user
  std::unique_ptr<DisabledWindows> disabled_;
};

}  // namespace mvsms::win32
