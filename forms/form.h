// A form: a window's worth of controls and what happens in them, without the window. Its life has
// stages: made, loaded (its texts are filled in), shown, hidden, unloaded. Its window is created
// when it is first shown.
//
// Ownership: keep forms in shared pointers. Whatever runs inside a form's event may let go of the
// form (a host that releases its object while a message is sent from the form); the form is then
// destroyed when the event returns. A form class unloads itself in its destructor, while its
// controls still exist for the window that is closing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "forms/control.h"
#include "forms/controls.h"
#include "platform/platform.h"

namespace mvsms {

struct FormDesign {
  const char* name;
  const char* caption = "";
  const char* tag = "";  // string-table entry of the caption, as digits
  int width = 0;         // of the inner area, twips; also the smallest size
  int height = 0;
  bool resizable = false;
  /// Shown in passing, in the lower right corner of the screen: it leaves the keyboard to the
  /// window that has it.
  bool passive = false;
};

class Form : public std::enable_shared_from_this<Form> {
 public:
  virtual ~Form();
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;

  const std::string& Name() const { return name_; }
  const std::string& Caption() const { return caption_; }
  void SetCaption(const std::string& caption);
  std::string Tag;
  int Width() const { return width_; }
  int Height() const { return height_; }
  /// Gives the inner area another size, and the window with it.
  void SetSize(int width, int height);
  const FormDesign& design() const { return design_; }
  /// All controls, in the order of the design, which is the tab order.
  const std::vector<Control*>& Controls() const { return controls_; }
  Platform& platform() const { return platform_; }

  /// Runs Form_Load, once in each life.
  void Load();
  /// Loads the form and shows it beside its owner; returns at once.
  void Show(Form* owner = nullptr);
  /// Loads the form, shows it over its owner and returns when it is hidden or unloaded.
  void ShowModal(Form* owner = nullptr);
  void Hide();
  /// Unloads the form: window closed, timers stopped. It can be loaded again.
  void Unload();
  /// The close button of the window: presses the button of the Escape key when there is one (and
  /// does nothing while that is disabled), else unloads the form.
  void Close();
  bool IsLoaded() const { return loaded_; }
  bool IsVisible() const { return visible_; }

  /// The window that the form stays in front of when that is not a form's; to be set before it is
  /// shown.
  void SetOwnerWindow(WindowHandle owner) { owner_window_ = owner; }
  WindowHandle OwnerWindow() const { return owner_window_; }
  /// The form's own window, kNoWindow without one.
  WindowHandle Window() const;
  /// Brings the window to the foreground.
  void BringToFront();
  /// The control that has the keyboard when the window appears; without one, the first that can.
  Control* FirstFocus() const { return first_focus_; }
  /// Selects the tab `step` places further on, around the ends. False when the form has no tabs to
  /// choose from.
  bool TurnPage(int step);

  // --- for the controls and the window ------------------------------------------------------
  void Add(Control& control) { controls_.push_back(&control); }
  void Remove(Control& control) { std::erase(controls_, &control); }
  /// A control has changed; without one, the form itself.
  void Changed(const Control* control, Aspect aspect);
  /// The inner area has a new size: moves the anchored controls, then runs Form_Resize.
  void Resize(int width, int height);
  /// The window is being painted.
  void Paint() { Form_Paint(); }

 protected:
  Form(Platform& platform, const FormDesign& design);

  /// To be set by the form's constructor.
  void SetFirstFocus(Control& control) { first_focus_ = &control; }

  virtual void Form_Load() {}
  virtual void Form_Paint() {}
  virtual void Form_Resize() {}
  virtual void Form_Unload() {}

 private:
  std::shared_ptr<FormPeer> Peer(Form* owner);

  Platform& platform_;
  FormDesign design_;
  std::string name_;
  std::string caption_;
  int width_;
  int height_;
  std::vector<Control*> controls_;
  Control* first_focus_ = nullptr;
  WindowHandle owner_window_ = kNoWindow;
  std::shared_ptr<FormPeer> peer_;
  bool loaded_ = false;
  bool visible_ = false;
};

}  // namespace mvsms
