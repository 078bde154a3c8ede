// Access keys, given out in the order of the controls.
#include "forms/mnemonics.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace mvsms {
namespace {

char KeyAt(const std::string& caption, std::size_t position) {
  const auto code = static_cast<unsigned char>(caption[position]);
  return code < 128 && std::isalnum(code) ? static_cast<char>(std::toupper(code)) : '\0';
}

bool StartsWord(const std::string& caption, std::size_t position) {
  return position == 0 || caption[position - 1] == ' ';
}

bool IsField(const Control& control) {
  const ControlType type = control.Type();
  return type == ControlType::kTextBox || type == ControlType::kComboBox ||
         type == ControlType::kListView;
}

/// In a text of several lines Enter begins another one.
bool TakesEnter(const Control* control) {
  if (control->Type() != ControlType::kTextBox) return false;
  const TextBox::Style& style = static_cast<const TextBox*>(control)->style();
  return style.multi_line && !style.locked;
}

bool NeedsKey(const CommandButton& button) {
  if (button.key() != CommandButton::Key::kEnter) return button.key() == CommandButton::Key::kNone;
  const auto& controls = button.Parent().Controls();
  return std::any_of(controls.begin(), controls.end(), TakesEnter);
}

/// `next` is the control after it; a label hands its key on to that.
bool CanHaveKey(const Control& control, const Control* next) {
  switch (control.Type()) {
    case ControlType::kLabel:
      return next != nullptr && IsField(*next);
    case ControlType::kCommandButton:
      return NeedsKey(static_cast<const CommandButton&>(control));
    case ControlType::kCheckBox:
    case ControlType::kOptionButton:
      return true;
    default:
      return false;
  }
}

/// The first position with a free letter, beginnings of words first.
std::size_t FreePosition(const std::string& caption, const std::set<char>& taken) {
  for (const bool at_words : {true, false}) {
    for (std::size_t i = 0; i < caption.size(); ++i) {
      const char key = KeyAt(caption, i);
      if (key == '\0' || taken.count(key) != 0) continue;
      if (!at_words || StartsWord(caption, i)) return i;
    }
  }
  return std::string::npos;
}

}  // namespace

std::map<const Control*, std::size_t> AssignMnemonics(const Form& form) {
  std::map<const Control*, std::size_t> positions;
  std::map<const Control*, std::set<char>> taken;  // by page; the form's own first
  const auto& controls = form.Controls();
  for (const bool on_page : {false, true}) {
    for (std::size_t i = 0; i < controls.size(); ++i) {
      const Control& control = *controls[i];
      const Control* const next = i + 1 < controls.size() ? controls[i + 1] : nullptr;
      const Control* const page = control.Container();
      if ((page != nullptr) != on_page || !CanHaveKey(control, next)) continue;
      std::set<char>& letters = taken.try_emplace(page, taken[nullptr]).first->second;
      const std::size_t position = FreePosition(control.Caption(), letters);
      if (position == std::string::npos) continue;
      letters.insert(KeyAt(control.Caption(), position));
      positions[&control] = position;
    }
  }
  return positions;
}

std::string MarkMnemonic(const std::string& caption, std::size_t position) {
  std::string marked;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (i == position || caption[i] == '&') marked += '&';
    marked += caption[i];
  }
  return marked;
}

}  // namespace mvsms
