// Searching, cutting and joining of texts.
#include "base/texts.h"

#include <algorithm>
#include <iterator>

namespace mvsms {
namespace {

constexpr std::string_view kBlank = " ";

}  // namespace

bool AllDigits(std::string_view text) { return std::all_of(text.begin(), text.end(), IsDigit); }

std::string KeepDigits(std::string_view text) {
  std::string digits;
  digits.reserve(text.size());
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), IsDigit);
  return digits;
}

std::string_view WithoutLeadingBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
  return text;
}

std::string_view WithoutOuterBlanks(std::string_view text) {
  text = WithoutLeadingBlanks(text);
  text.remove_suffix(text.size() - (text.find_last_not_of(kBlank) + 1));
  return text;
}

std::string Trim(std::string_view text) { return std::string(WithoutOuterBlanks(text)); }

std::string ReplaceAll(std::string_view Text, std::string_view Find, std::string_view Replacement) {
  if (Find.empty()) return std::string(Text);
  std::string result;
  result.reserve(Text.size());
  std::size_t start = 0;
  std::size_t match = Text.find(Find);
  while (match != Text.npos) {
    result.append(Text.substr(start, match - start)).append(Replacement);
    start = match + Find.size();
    match = Text.find(Find, start);
  }
  return result.append(Text.substr(start));
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  if (text.empty()) return pieces;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    if (end == std::string::npos) return pieces;
    start = end + 1;
  }
}

}  // namespace mvsms
