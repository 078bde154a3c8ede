// The control model: what forms are made of, without a window. A control has properties, and
// events that are raised by a programmatic change exactly as by a user's: a form that stores a
// choice when its list is clicked stores it also when the list is set while loading. The window
// that shows a form (platform/forms.h) goes through the same operations.
//
// Measures are twips, 15 to a pixel at 96 dpi in the design font; the window scales them to the
// user's font and display.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/forms.h"

namespace mvsms {

/// Number of the error raised by a property that a type of control does not have.
inline constexpr std::int32_t kErrNoSuchProperty = 438;

struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

/// The sides of its container from which a control keeps its distance when the form is resized. One
/// that is anchored to opposite sides grows.
enum Anchor : unsigned {
  kAnchorLeft = 1,
  kAnchorTop = 2,
  kAnchorRight = 4,
  kAnchorBottom = 8,
  kAnchorTopLeft = kAnchorLeft | kAnchorTop,
  kAnchorTopRight = kAnchorTop | kAnchorRight,
  kAnchorBottomLeft = kAnchorLeft | kAnchorBottom,
  kAnchorBottomRight = kAnchorBottom | kAnchorRight,
  kAnchorWide = kAnchorLeft | kAnchorTop | kAnchorRight,
  kAnchorAll = kAnchorLeft | kAnchorTop | kAnchorRight | kAnchorBottom,
};

/// What a form's layout says about a control.
struct Design {
  const char* name;
  const char* caption = "";
  /// The id of the caption in the string table, as digits.
  const char* tag = "";
  Box place = {};
  Control* container = nullptr;  // a Frame, or none: the form itself
  unsigned anchor = kAnchorTopLeft;
};

enum class ControlType {
  kLabel,
  kTextBox,
  kCheckBox,
  kOptionButton,
  kCommandButton,
  kComboBox,
  kListView,
  kTabStrip,
  kToolbar,
  kMenu,
  kFrame,
  kLine,
  kTimer,
};

class Control {
 public:
  virtual ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  ControlType Type() const { return type_; }
  const std::string& Name() const { return name_; }
  Form& Parent() const { return form_; }
  Control* Container() const { return container_; }
  unsigned Anchors() const { return anchor_; }

  /// Free text of the design; digits name the string-table entry of the caption.
  std::string Tag;

  /// Not every type has a caption and a tool tip. Where one is missing, reading and writing it
  /// throw RaisedError 438.
  virtual const std::string& Caption() const;
  virtual void SetCaption(const std::string& caption);
  virtual const std::string& ToolTipText() const;
  virtual void SetToolTipText(const std::string& text);

  /// The control's own switch; a control in a hidden container is invisible either way.
  bool Visible() const { return visible_; }
  void SetVisible(bool visible);
  bool Enabled() const { return enabled_; }
  virtual void SetEnabled(bool enabled);
  const Box& Place() const { return place_; }
  void Move(const Box& place);

 protected:
  /// Joins the controls of `form`, which it must not outlive.
  Control(Form& form, ControlType type, const Design& design);

  void Changed(Aspect aspect);
  [[noreturn]] void Unsupported(const char* property) const;

 private:
  Form& form_;
  ControlType type_;
  std::string name_;
  Control* container_;
  unsigned anchor_;
  Box place_;
  bool visible_ = true;
  bool enabled_ = true;
};

/// Raises an event. It calls a copy of the handler, which may therefore unbind itself or destroy
/// the control's form.
template <class Handler, class... Arguments>
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void RaiseEvent(Handler handler, Arguments... arguments) {
  if (handler) handler(arguments...);
}

}  // namespace mvsms
