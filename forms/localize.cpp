// Localisation by type of control; what cannot be localised keeps its text.
#include "forms/localize.h"

#include <exception>

#include "resources/string_table.h"

namespace mvsms {
namespace {

template <class Step>
void Skipping(Step step) {
  try {
    step();
  } catch (const std::exception&) {
    // The design's own text stays.
  }
}

/// Puts texts into one form.
class Localizer {
 public:
  explicit Localizer(Form& form) : form_(form) {}

  void Run() {
    Replace(form_.Tag, [&](const std::string& text) { form_.SetCaption(text); });
    for (Control* control : form_.Controls()) Localize(*control);
  }

 private:
  /// Hands the text of `number` to `set`, when there is one with that number.
  template <class Set>
  void Replace(const std::string& number, Set set) {
    Skipping([&] {
      if (IsNumeric(number)) set(LoadResString(form_.platform().locale(), number));
    });
  }

  void Localize(Control& control) {
    switch (control.Type()) {
      case ControlType::kMenu:
        return Skipping([&] {
          Replace(control.Caption(), [&](const std::string& text) { control.SetCaption(text); });
        });
      case ControlType::kTabStrip:
        return LocalizeTabs(static_cast<TabStrip&>(control));
      case ControlType::kToolbar:
        return LocalizeButtons(static_cast<Toolbar&>(control));
      case ControlType::kListView:
        return LocalizeColumns(static_cast<ListView&>(control));
      default:
        Replace(control.Tag, [&](const std::string& text) { control.SetCaption(text); });
        Skipping([&] {
          Replace(control.ToolTipText(),
                  [&](const std::string& text) { control.SetToolTipText(text); });
        });
    }
  }

  void LocalizeTabs(TabStrip& strip) {
    for (std::size_t i = 0; i < strip.Tabs().size(); ++i) {
      Replace(strip.Tabs()[i].tag, [&](const std::string& text) { strip.SetTabCaption(i, text); });
      Replace(strip.Tabs()[i].tool_tip,
              [&](const std::string& text) { strip.SetTabToolTip(i, text); });
    }
  }

  void LocalizeButtons(Toolbar& bar) {
    for (std::size_t i = 0; i < bar.Buttons().size(); ++i) {
      Replace(bar.Buttons()[i].tag,
              [&](const std::string& text) { bar.SetButtonToolTip(i, text); });
    }
  }

  void LocalizeColumns(ListView& list) {
    for (std::size_t i = 0; i < list.Columns().size(); ++i) {
      Replace(list.Columns()[i].tag, [&](const std::string& text) { list.SetColumnText(i, text); });
    }
  }

  Form& form_;
};

template <class Matches>
bool ChooseFirst(ComboBox& combo, Matches matches) {
  combo.SetListIndex(ComboBox::kNone);
  for (std::size_t i = 0; i < combo.List().size(); ++i) {
    if (!matches(combo.List()[i])) continue;
    combo.SetListIndex(static_cast<int>(i));
    return true;
  }
  return false;
}

}  // namespace

void LocalizeForm(Form& form) { Localizer(form).Run(); }

bool SetComboString(ComboBox& combo, const std::string& text) {
  ChooseFirst(combo, [&](const ComboBox::Entry& entry) { return entry.text == text; });
  return true;
}

bool SetComboValue(ComboBox& combo, std::int32_t value) {
  return ChooseFirst(combo, [&](const ComboBox::Entry& entry) { return entry.item_data == value; });
}

std::int32_t SetListViewStyle(ListView& list, std::int32_t mask, std::int32_t style) {
  return list.SendMessage(kSetExtendedListViewStyle, mask, style);
}

}  // namespace mvsms
