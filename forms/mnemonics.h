// Access keys. The texts of the forms have none, because both languages share them; so each form
// assigns letters to its captions, in the same way every time.
#pragma once

#include <map>
#include <string>

#include "forms/form.h"

namespace mvsms {

/// For each control that can have an access key, the position of its letter in the caption: the
/// beginning of a word where that is free, else any letter or digit. No two controls that can be
/// seen together have the same one; pages of the form share letters. Buttons for Enter and Escape,
/// labels that name no field, and captions whose letters are all taken have none; but the button
/// for Enter has one on a form with a field that takes that key itself.
std::map<const Control*, std::size_t> AssignMnemonics(const Form& form);

/// The caption with "&" before the letter at `position`, and every "&" of its own doubled.
std::string MarkMnemonic(const std::string& caption, std::size_t position = std::string::npos);

}  // namespace mvsms
