// Small operations on texts that every room uses. A blank is code 32 and nothing else; a digit is
// one of "0" to "9", whatever the locale.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mvsms {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
/// Whether `text` holds nothing but digits; true for an empty one.
bool AllDigits(std::string_view text);
/// The decimal digits of `text`, in order.
std::string KeepDigits(std::string_view text);

/// `text` without the blanks at its beginning, or at both ends.
std::string_view WithoutLeadingBlanks(std::string_view text);
std::string_view WithoutOuterBlanks(std::string_view text);
std::string Trim(std::string_view text);

/// `Text` with every occurrence of `Find`, from left to right, replaced by `Replacement`; inserted
/// text is not searched again. An empty `Find` occurs nowhere.
std::string ReplaceAll(std::string_view Text, std::string_view Find, std::string_view Replacement);

/// The pieces of `text` between separators; none for an empty text.
std::vector<std::string> Split(const std::string& text, char separator);

}  // namespace mvsms
