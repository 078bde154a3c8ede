// The native window of one control: shows what the model has, and hands what the user does to the
// model's own operations.
#pragma once

#include <memory>
#include <string>

#include "backends/win32/form_metrics.h"
#include "backends/win32/text.h"
#include "forms/controls.h"

namespace mvsms::win32 {

/// What a control's window needs of the form's.
struct ControlSite {
  HWND parent = nullptr;  // the form's window, or that of the page
  WORD id = 0;            // of its messages
  const FormMetrics* metrics = nullptr;
  std::size_t mnemonic = std::string::npos;  // position of the access key in the caption
  bool starts_group = true;                  // the arrow keys move within a group
};

class ControlWindow {
 public:
  /// Destroys the window, unless its parent has done so already.
  virtual ~ControlWindow();
  ControlWindow(const ControlWindow&) = delete;
  ControlWindow& operator=(const ControlWindow&) = delete;

  HWND Handle() const { return handle_; }
  Control& Model() const { return control_; }

  /// Shows a changed aspect of the model in the window.
  virtual void Show(Aspect aspect);
  /// The form's measures have changed.
  virtual void Rescale();
  /// WM_COMMAND with a notification code: what the user did.
  virtual void OnCommand(WORD) {}
  /// WM_NOTIFY; the result is the answer to the control.
  virtual LRESULT OnNotify(const NMHDR&) { return 0; }

 protected:
  ControlWindow(Control& control, const ControlSite& site, const wchar_t* window_class, DWORD style,
                DWORD extended_style = 0);

  const ControlSite& site() const { return site_; }
  /// Shows all aspects; to be called at the end of a constructor.
  void ShowAll();
  LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const {
    return ::SendMessageW(handle_, message, wparam, lparam);
  }
  LRESULT Send(UINT message, WPARAM wparam, const void* pointer) const {
    return Send(message, wparam, reinterpret_cast<LPARAM>(pointer));
  }
  void SetWindowCaption(const std::string& text) {
    ::SetWindowTextW(handle_, WideFromAnsi(text).c_str());
  }
  /// Where the control stands, in pixels.
  virtual RECT Pixels() const;

 private:
  void Place();

  Control& control_;
  ControlSite site_;
  HWND handle_ = nullptr;
};

/// The window for a control; none for a control that has none of its own (a timer, a menu).
std::unique_ptr<ControlWindow> MakeControlWindow(Control& control, const ControlSite& site);

}  // namespace mvsms::win32
