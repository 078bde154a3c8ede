// See accessibility.h.
#include "forms/accessibility.h"

#include <algorithm>

namespace mvsms {
namespace {

bool IsField(const Control& control) {
  return control.Type() == ControlType::kTextBox || control.Type() == ControlType::kComboBox ||
         control.Type() == ControlType::kListView;
}

bool HasCaption(const Control& control) {
  switch (control.Type()) {
    case ControlType::kLabel:
    case ControlType::kCheckBox:
    case ControlType::kOptionButton:
    case ControlType::kCommandButton:
    case ControlType::kFrame:
      return true;
    default:
      return false;
  }
}

/// The label or check box that names a field; null when the control before it is neither.
const Control* NamedBy(const Control& field) {
  const auto& controls = field.Parent().Controls();
  const auto at = std::find(controls.begin(), controls.end(), &field);
  if (at == controls.begin() || at == controls.end()) return nullptr;
  const Control* const before = *(at - 1);
  const bool names =
      before->Type() == ControlType::kLabel || before->Type() == ControlType::kCheckBox;
  return names && before->Container() == field.Container() ? before : nullptr;
}

}  // namespace

std::string AccessibleName(const Control& control) {
  if (HasCaption(control)) return control.Caption();
  if (const Control* label = IsField(control) ? NamedBy(control) : nullptr) return label->Caption();
  return control.Container() ? AccessibleName(*control.Container()) : control.Parent().Caption();
}

}  // namespace mvsms
