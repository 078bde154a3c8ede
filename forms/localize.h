// Putting a form's texts into the user's language, and the small helpers that forms share.
#pragma once

#include <cstdint>
#include <string>

#include "forms/form.h"

namespace mvsms {

/// Replaces the numbers that a form's design has in place of texts by the texts of the string
/// table: the form's Tag, and by type of control the captions, tool tips and column titles. Never
/// throws: a step that fails is skipped, so that an unknown id keeps the design's own text.
void LocalizeForm(Form& form);

/// Chooses the first entry with exactly this text, else none. Always true.
bool SetComboString(ComboBox& combo, const std::string& text);

/// Chooses the first entry whose item data is `value`, else none. True when there is one.
bool SetComboValue(ComboBox& combo, std::int32_t value);

/// Sets the bits of a list view's extended style that `mask` names (-1: all); returns the former
/// style.
std::int32_t SetListViewStyle(ListView& list, std::int32_t mask, std::int32_t style);

inline constexpr std::int32_t kFullRowSelect = 32;  // commctrl.h LVS_EX_FULLROWSELECT

}  // namespace mvsms
