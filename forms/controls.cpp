// Each operation changes the model, tells the window, then raises the event: a handler sees the new
// state.
#include "forms/controls.h"

#include <algorithm>
#include <utility>

#include "forms/form.h"

namespace mvsms {
namespace {

bool IsIndexOf(int index, std::size_t size) {
  return index >= 0 && static_cast<std::size_t>(index) < size;
}

}  // namespace

void VisibleControl::SetToolTipText(const std::string& text) {
  tool_tip_ = text;
  Changed(Aspect::kText);
}

void CaptionedControl::SetCaption(const std::string& caption) {
  caption_ = caption;
  Changed(Aspect::kText);
}

void TextBox::SetText(const std::string& text) {
  if (text == text_) return;
  text_ = text;
  scrolled_to_end_ = false;
  Changed(Aspect::kText);
  RaiseEvent(OnChange);
}

void TextBox::ScrollToEnd() {
  scrolled_to_end_ = true;
  Changed(Aspect::kSelection);
}

void CheckBox::SetValue(std::int32_t value) {
  const std::int32_t checked = value != 0 ? 1 : 0;
  if (checked == value_) return;
  value_ = checked;
  Changed(Aspect::kSelection);
  RaiseEvent(OnClick);
}

void OptionButton::SetValue(bool value) {
  if (value == value_) return;
  value_ = value;
  Changed(Aspect::kSelection);
  if (!value) return;
  for (Control* control : Parent().Controls()) {
    if (control == this || control->Type() != ControlType::kOptionButton) continue;
    if (control->Container() == Container()) static_cast<OptionButton*>(control)->SetValue(false);
  }
  RaiseEvent(OnClick);
}

void ComboBox::Clear() {
  entries_.clear();
  list_index_ = kNone;
  text_.clear();
  Changed(Aspect::kItems);
}

void ComboBox::AddItem(const std::string& text, std::int32_t item_data) {
  entries_.push_back({text, item_data});
  Changed(Aspect::kItems);
}

void ComboBox::InsertItem(const std::string& text, int index) {
  entries_.insert(entries_.begin() + index, {text, 0});
  if (list_index_ >= index) ++list_index_;
  Changed(Aspect::kItems);
}

void ComboBox::SetListIndex(int index) {
  const int chosen = IsIndexOf(index, entries_.size()) ? index : kNone;
  text_.clear();
  if (chosen == list_index_) return;
  list_index_ = chosen;
  Changed(Aspect::kSelection);
  if (chosen != kNone) RaiseEvent(OnClick);
}

void ComboBox::ShowText(const std::string& text) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.text == text; });
  list_index_ = found == entries_.end() ? kNone : static_cast<int>(found - entries_.begin());
  text_.clear();
  Changed(Aspect::kSelection);
}

void ComboBox::SetText(const std::string& text) {
  if (list_index_ != kNone) return;
  text_ = text;
  Changed(Aspect::kSelection);
}

std::string ComboBox::Text() const {
  return list_index_ == kNone ? text_ : entries_[static_cast<std::size_t>(list_index_)].text;
}

void ListView::SetColumnText(std::size_t index, const std::string& text) {
  columns_.at(index).text = text;
  Changed(Aspect::kText);
}

void ListView::Clear() {
  rows_.clear();
  visible_row_ = kNone;
  Changed(Aspect::kItems);
  Select(kNone);
}

void ListView::Add(Row row) {
  rows_.push_back(std::move(row));
  Changed(Aspect::kItems);
}

void ListView::Select(int index) {
  const int before = std::exchange(selected_, IsIndexOf(index, rows_.size()) ? index : kNone);
  visible_row_ = kNone;
  Changed(Aspect::kSelection);
  if (selected_ != before) RaiseEvent(OnSelect);
}

void ListView::SelectText(const std::string& text) {
  Select(Find(text));
  EnsureVisible(selected_);
}

std::string ListView::SelectedText() const {
  return selected_ == kNone ? "" : rows_[static_cast<std::size_t>(selected_)].text;
}

int ListView::Find(const std::string& text) const {
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.text == text; });
  return found == rows_.end() ? kNone : static_cast<int>(found - rows_.begin());
}

void ListView::EnsureVisible(int index) {
  if (!IsIndexOf(index, rows_.size())) return;
  visible_row_ = index;
  Changed(Aspect::kSelection);
}

std::int32_t ListView::SendMessage(std::uint32_t message, std::int32_t mask, std::int32_t style) {
  if (message != kSetExtendedListViewStyle) return 0;
  const std::int32_t bits = mask == 0 ? -1 : mask;
  const std::int32_t before =
      std::exchange(extended_style_, (extended_style_ & ~bits) | (style & bits));
  Changed(Aspect::kState);
  return before;
}

void TabStrip::SetTabCaption(std::size_t index, const std::string& caption) {
  tabs_.at(index).caption = caption;
  Changed(Aspect::kText);
}

void TabStrip::SetTabToolTip(std::size_t index, const std::string& text) {
  tabs_.at(index).tool_tip = text;
  Changed(Aspect::kText);
}

void TabStrip::Select(int index) {
  if (!IsIndexOf(index - 1, tabs_.size())) return;
  selected_ = index;
  Changed(Aspect::kSelection);
  RaiseEvent(OnClick);
}

void Toolbar::SetButtonToolTip(std::size_t index, const std::string& text) {
  buttons_.at(index).tool_tip = text;
  Changed(Aspect::kText);
}

void Menu::SetCaption(const std::string& caption) {
  caption_ = caption;
  Changed(Aspect::kText);
}

Timer::Timer(Form& form, const Design& design)
    : Control(form, ControlType::kTimer, design), timers_(form.platform().timers()) {}

void Timer::Stop() {
  if (id_ != 0) timers_.KillTimer(std::exchange(id_, 0));
}

void Timer::SetEnabled(bool enabled) {
  Stop();
  if (!enabled || interval_ < 1) return;
  id_ = timers_.SetTimer(static_cast<std::uint32_t>(interval_),
                         [this](TimerId) { RaiseEvent(OnTimer); });
}

}  // namespace mvsms
