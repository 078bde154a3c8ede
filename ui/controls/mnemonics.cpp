#include "ui/controls/mnemonics.h"

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

bool CanHaveKey(const Control& control) {
  switch (control.Type()) {
    case ControlType::kLabel:
      return !static_cast<const Label&>(control).OnClick;
    case ControlType::kCommandButton:
      return static_cast<const CommandButton&>(control).key() == CommandButton::Key::kNone;
    case ControlType::kCheckBox:
    case ControlType::kOptionButton:
      return true;
    default:
      return false;
  }
}

/// The first position with a letter that is free, beginnings of words first.
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
  std::set<char> taken;
  for (const Control* control : form.Controls()) {
    if (!CanHaveKey(*control)) continue;
    const std::size_t position = FreePosition(control->Caption(), taken);
    if (position == std::string::npos) continue;
    taken.insert(KeyAt(control->Caption(), position));
    positions[control] = position;
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
