// Numbers in texts: how settings, answers and pager texts are read as numbers, and the run-time
// errors that a failing conversion raises. Independent of the locale, so that a setting means the
// same on every machine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mvsms {

inline constexpr std::int32_t kErrOverflow = 6;
inline constexpr std::int32_t kErrTypeMismatch = 13;

/// Throws RaisedError 6, "Overflow".
[[noreturn]] void RaiseOverflow();
/// Throws RaisedError 13, "Type mismatch".
[[noreturn]] void RaiseTypeMismatch();

/// The number that `text` begins with: optional blanks, sign, digits with a decimal point, decimal
/// exponent. 0 when it begins with none; infinite when the number is too large for a double.
double Val(std::string_view text);

/// The number that the whole of `text` is, surrounding blanks aside. Empty text is 0, because an
/// absent setting reads as empty. Throws RaisedError 13 for any other text that is not a number.
double ToNumber(std::string_view text);

/// The nearest whole number, the even one when two are equally near. Throws RaisedError 6 outside
/// 32 bits and for a value that is not a number.
std::int32_t ToLong(double value);
/// ToNumber, rounded the same way; throws what both throw.
std::int32_t ToLong(std::string_view text);

/// A stored text as a number field shows it: the number that it begins with, "0" when there is
/// none. Throws RaisedError 6 for a number that is too large for any field.
std::string NumberText(const std::string& stored);

}  // namespace mvsms
