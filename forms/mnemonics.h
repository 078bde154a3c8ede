// Access keys. The texts of the forms have none, for they are shared by both languages; so each
// form gives its captions letters of their own, the same way every time.
#pragma once

#include <map>
#include <string>

#include "forms/form.h"

namespace mvsms {

/// For each control that can have an access key, the position of its letter in the caption: the
/// beginning of a word where it is free, else any letter or digit. No two that can be seen together
/// are the same; pages of the form share letters. Buttons of the Enter and Escape keys, labels that
/// name no field, and captions whose letters are all taken have none.
std::map<const Control*, std::size_t> AssignMnemonics(const Form& form);

/// The caption with "&" before the letter at `position`, and every "&" of its own doubled.
std::string MarkMnemonic(const std::string& caption, std::size_t position = std::string::npos);

}  // namespace mvsms
