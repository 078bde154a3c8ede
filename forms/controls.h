// The types of controls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "forms/control.h"
#include "platform/event_loop.h"

namespace mvsms {

/// A control that is seen, and so has a tool tip.
class VisibleControl : public Control {
 public:
  const std::string& ToolTipText() const override { return tool_tip_; }
  void SetToolTipText(const std::string& text) override;

 protected:
  using Control::Control;

 private:
  std::string tool_tip_;
};

/// A control with a caption.
class CaptionedControl : public VisibleControl {
 public:
  const std::string& Caption() const override { return caption_; }
  void SetCaption(const std::string& caption) override;

 protected:
  CaptionedControl(Form& form, ControlType type, const Design& design)
      : VisibleControl(form, type, design), caption_(design.caption) {}

 private:
  std::string caption_;
};

/// Text on the form; names the field that follows it. With a handler for OnClick it is a link.
class Label : public CaptionedControl {
 public:
  Label(Form& form, const Design& design) : CaptionedControl(form, ControlType::kLabel, design) {}
  std::function<void()> OnClick;
  void Click() { RaiseEvent(OnClick); }
};

struct TextBoxStyle {
  bool multi_line = false;
  bool locked = false;    // the user can read and copy only
  bool password = false;  // shown as dots
};

class TextBox : public VisibleControl {
 public:
  using Style = TextBoxStyle;

  TextBox(Form& form, const Design& design, Style style = {})
      : VisibleControl(form, ControlType::kTextBox, design), style_(style) {}

  const std::string& Text() const { return text_; }
  /// Raises OnChange when the text actually changes.
  void SetText(const std::string& text);
  /// Scrolls to the end of the text.
  void ScrollToEnd();
  bool IsScrolledToEnd() const { return scrolled_to_end_; }
  const Style& style() const { return style_; }

  std::function<void()> OnChange;

 private:
  Style style_;
  std::string text_;
  bool scrolled_to_end_ = false;
};

class CheckBox : public CaptionedControl {
 public:
  CheckBox(Form& form, const Design& design)
      : CaptionedControl(form, ControlType::kCheckBox, design) {}

  /// 0 unchecked, 1 checked.
  std::int32_t Value() const { return value_; }
  /// Raises OnClick when the value actually changes. Any number but 0 counts as 1.
  void SetValue(std::int32_t value);

  std::function<void()> OnClick;

 private:
  std::int32_t value_ = 0;
};

/// One of several mutually exclusive choices: those in the same container.
class OptionButton : public CaptionedControl {
 public:
  OptionButton(Form& form, const Design& design)
      : CaptionedControl(form, ControlType::kOptionButton, design) {}

  bool Value() const { return value_; }
  /// Choosing it clears the others and raises OnClick, unless it was chosen already.
  void SetValue(bool value);

  std::function<void()> OnClick;

 private:
  bool value_ = false;
};

class CommandButton : public CaptionedControl {
 public:
  /// `key` is the key that presses the button wherever the focus is.
  enum class Key { kNone, kEnter, kEscape };
  CommandButton(Form& form, const Design& design, Key key = Key::kNone)
      : CaptionedControl(form, ControlType::kCommandButton, design), key_(key) {}

  Key key() const { return key_; }
  void Click() { RaiseEvent(OnClick); }

  std::function<void()> OnClick;

 private:
  Key key_;
};

/// A drop-down list, from which one entry or none is chosen. While none is chosen it may have a
/// text that is not among its entries.
class ComboBox : public VisibleControl {
 public:
  static constexpr int kNone = -1;
  struct Entry {
    std::string text{};
    std::int32_t item_data = 0;
  };
  ComboBox(Form& form, const Design& design)
      : VisibleControl(form, ControlType::kComboBox, design) {}

  const std::vector<Entry>& List() const { return entries_; }
  /// Removes all entries and the choice; raises nothing.
  void Clear();
  void AddItem(const std::string& text, std::int32_t item_data = 0);
  /// Inserts before the entry at `index`; the choice stays on its entry.
  void InsertItem(const std::string& text, int index);

  /// Index of the chosen entry, or kNone.
  int ListIndex() const { return list_index_; }
  /// Choosing an entry raises OnClick, unless it was chosen already. kNone, and an index beyond the
  /// list, choose none and raise nothing.
  void SetListIndex(int index);
  /// Shows the first entry with exactly this text as the chosen one, or none, and raises nothing:
  /// for a choice that is known already, after the entries have been filled in anew.
  void ShowText(const std::string& text);
  /// The text while no entry is chosen, until one is; nothing changes when one is chosen already.
  void SetText(const std::string& text);
  /// Text of the chosen entry; without one, what SetText has set, or "".
  std::string Text() const;

  std::function<void()> OnClick;

 private:
  std::vector<Entry> entries_;
  int list_index_ = kNone;
  std::string text_;  // while no entry is chosen
};

/// The window message of a list view that the forms use (commctrl.h LVM_SETEXTENDEDLISTVIEWSTYLE).
inline constexpr std::uint32_t kSetExtendedListViewStyle = 4150;

/// A list in columns. The first column shows a row's text, the others its sub-items.
class ListView : public VisibleControl {
 public:
  static constexpr int kNone = -1;
  struct Column {
    std::string text{};
    int width = 0;      // twips
    std::string tag{};  // string-table entry of the text, as digits
    std::string key{};
  };
  struct Row {
    std::string text{};
    std::vector<std::string> sub_items{};  // column 1 and further
  };
  ListView(Form& form, const Design& design, std::vector<Column> columns)
      : VisibleControl(form, ControlType::kListView, design), columns_(std::move(columns)) {}

  const std::vector<Column>& Columns() const { return columns_; }
  void SetColumnText(std::size_t index, const std::string& text);

  const std::vector<Row>& Rows() const { return rows_; }
  /// Removes all rows and the selection.
  void Clear();
  void Add(Row row);

  /// The selected row, or kNone.
  int Selected() const { return selected_; }
  /// Selects a row, or none for an index beyond the rows.
  void Select(int index);
  /// Selects the first row with exactly this text, or none.
  void SelectText(const std::string& text);
  /// Text of the selected row, or "".
  std::string SelectedText() const;
  /// Index of the first row with exactly this text, or kNone.
  int Find(const std::string& text) const;
  /// Scrolls to make the row visible.
  void EnsureVisible(int index);  // until the next selection, when the user has moved on
  int VisibleRow() const { return visible_row_; }

  /// A window message of the list-view control. kSetExtendedListViewStyle sets the bits of the
  /// extended style that `mask` names (all for a mask of 0) and returns the former style; any other
  /// message does nothing and returns 0.
  std::int32_t SendMessage(std::uint32_t message, std::int32_t mask, std::int32_t style);
  std::int32_t ExtendedStyle() const { return extended_style_; }

  /// A double click on a row, or Enter.
  void DoubleClick() { RaiseEvent(OnDoubleClick); }
  std::function<void()> OnDoubleClick;
  /// Another row has been selected, or none.
  std::function<void()> OnSelect;
  /// The keys of their names, pressed in the list.
  std::function<void()> OnDeleteKey, OnInsertKey;

 private:
  std::vector<Column> columns_;
  std::vector<Row> rows_;
  int selected_ = kNone;
  int visible_row_ = kNone;
  std::int32_t extended_style_ = 0;
};

/// A row of tabs. The pages below them are the form's own business.
class TabStrip : public VisibleControl {
 public:
  struct Tab {
    std::string caption{};
    std::string tag{};       // string-table entry of the caption, as digits
    std::string tool_tip{};  // or the number of one
  };
  TabStrip(Form& form, const Design& design, std::vector<Tab> tabs)
      : VisibleControl(form, ControlType::kTabStrip, design), tabs_(std::move(tabs)) {}

  const std::vector<Tab>& Tabs() const { return tabs_; }
  void SetTabCaption(std::size_t index, const std::string& caption);
  void SetTabToolTip(std::size_t index, const std::string& text);

  /// The selected tab, counted from 1.
  int SelectedIndex() const { return selected_; }
  /// Selects a tab and raises OnClick.
  void Select(int index);

  std::function<void()> OnClick;

 private:
  std::vector<Tab> tabs_;
  int selected_ = 1;
};

/// A row of small buttons.
class Toolbar : public VisibleControl {
 public:
  struct Button {
    std::string caption{};
    std::string tag{};  // string-table entry of the tool tip, as digits
    std::string tool_tip{};
  };
  Toolbar(Form& form, const Design& design, std::vector<Button> buttons)
      : VisibleControl(form, ControlType::kToolbar, design), buttons_(std::move(buttons)) {}

  const std::vector<Button>& Buttons() const { return buttons_; }
  void SetButtonToolTip(std::size_t index, const std::string& text);
  void Click(std::size_t index) { RaiseEvent(OnButtonClick, index); }

  std::function<void(std::size_t index)> OnButtonClick;

 private:
  std::vector<Button> buttons_;
};

/// An entry of the form's menu. Its caption itself may be the number of a string-table entry.
class Menu : public Control {
 public:
  Menu(Form& form, const Design& design)
      : Control(form, ControlType::kMenu, design), caption_(design.caption) {}
  const std::string& Caption() const override { return caption_; }
  void SetCaption(const std::string& caption) override;
  void Click() { RaiseEvent(OnClick); }

  std::function<void()> OnClick;

 private:
  std::string caption_;
};

/// A borderless container of other controls.
class Frame : public CaptionedControl {
 public:
  Frame(Form& form, const Design& design) : CaptionedControl(form, ControlType::kFrame, design) {}
};

/// A line between groups of controls.
class Line : public Control {
 public:
  Line(Form& form, const Design& design) : Control(form, ControlType::kLine, design) {}
};

/// A timer of the form, over the platform's thread timers.
class Timer : public Control {
 public:
  Timer(Form& form, const Design& design);
  ~Timer() override { Stop(); }

  std::int32_t Interval() const { return interval_; }
  /// Milliseconds; takes effect when the timer is next enabled.
  void SetInterval(std::int32_t milliseconds) { interval_ = milliseconds; }
  bool Running() const { return id_ != 0; }
  /// Starts the timer afresh, or stops it. An interval below 1, or a system without a free timer,
  /// leaves it stopped.
  void SetEnabled(bool enabled) override;

  std::function<void()> OnTimer;

 private:
  void Stop();

  Timers& timers_;
  std::int32_t interval_ = 0;
  TimerId id_ = 0;
};

}  // namespace mvsms
