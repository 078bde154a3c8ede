// Windows for forms. A form (forms/form.h) is a model without a window; its peer is the window that
// shows it. The peer reads the model, follows its changes, and hands the user's actions to the
// model's own operations, so that a click and a programmatic change take the same path.
//
// Thread: everything on the thread of the Platform.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/window_handle.h"

namespace mvsms {

class Control;
class Form;

/// What has changed about a control, or about the form itself.
enum class Aspect {
  kText,       // caption, text, tool tip
  kItems,      // entries, rows, columns, tabs
  kSelection,  // chosen entry, row or tab; check mark; scroll position
  kState,      // visible, enabled
  kPlace,      // position and size
};

/// The window of one form. Destroying it closes the window.
class FormPeer {
 public:
  virtual ~FormPeer() = default;
  /// Shows the window and returns at once.
  virtual void Show() = 0;
  /// Shows the window and runs a message loop, with all other windows of the program disabled,
  /// until the form is hidden or unloaded. The form may be destroyed meanwhile.
  virtual void RunModal() = 0;
  virtual void Hide() = 0;
  virtual void BringToFront() = 0;
  /// The form's own caption or size, with no control.
  virtual void Changed(const Control* control, Aspect aspect) = 0;
  virtual WindowHandle Window() const = 0;
};

/// Icons and buttons of a message box (winuser.h MB_*), to be added up.
namespace msgbox {
inline constexpr std::uint32_t kOkOnly = 0;
inline constexpr std::uint32_t kOkCancel = 1;
inline constexpr std::uint32_t kYesNoCancel = 3;
inline constexpr std::uint32_t kCritical = 16;
inline constexpr std::uint32_t kQuestion = 32;
inline constexpr std::uint32_t kExclamation = 48;
}  // namespace msgbox

/// The button that closed a message box (winuser.h ID*).
enum class MsgBoxAnswer { kOk = 1, kCancel = 2, kYes = 6, kNo = 7 };

class Forms {
 public:
  virtual ~Forms() = default;
  /// A window, not shown yet, for a form that outlives it. Throws RaisedError where nothing can be
  /// shown.
  virtual std::unique_ptr<FormPeer> CreatePeer(Form& form) = 0;
  /// Shows a message over the active form and waits for the answer. An empty `title` is the
  /// component's name.
  virtual MsgBoxAnswer MsgBox(const std::string& text, std::uint32_t style,
                              const std::string& title) = 0;
  /// The window of this program that the user works in, kNoWindow without one: the owner for a form
  /// that interrupts.
  virtual WindowHandle ActiveWindow() = 0;
  /// Asks for one line of text; "" when cancelled.
  virtual std::string InputBox(const std::string& prompt, const std::string& title) = 0;
};

}  // namespace mvsms
