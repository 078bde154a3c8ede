// Both directions go by one table of names; the aliases are for reading only.
#include "dispatch/notation.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>

namespace mvsms::dispatch {
namespace {

constexpr std::array<std::string_view, 32> kNames = {
    "NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL", "BS",   "TAB", "LF",
    "VT",  "FF",  "CR",  "SO",  "SI",  "DLE", "XON", "DC2", "XOFF", "DC4", "NAK",
    "SYN", "ETB", "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",   "US"};

struct Alias {
  std::string_view name;
  char code;
};
constexpr Alias kAliases[] = {{"HT", 9}, {"DC1", 17}, {"DC3", 19}, {"SP", ' '}, {"DEL", 127}};

constexpr std::size_t kLongestName = 4;

std::optional<char> CodeByName(std::string_view name) {
  const auto found = std::find(kNames.begin(), kNames.end(), name);
  if (found != kNames.end()) return static_cast<char>(found - kNames.begin());
  for (const Alias& alias : kAliases) {
    if (alias.name == name) return alias.code;
  }
  return std::nullopt;
}

std::optional<char> CodeOfPair(std::string_view digits) {
  unsigned code = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, code, 16);
  if (digits.size() != 2 || error != std::errc() || stop != end) return std::nullopt;
  return static_cast<char>(code);
}

std::optional<char> CodeByDigits(std::string_view name) {
  if (name.size() == 3 && name.front() == 'x') name.remove_prefix(1);
  return CodeOfPair(name);
}

/// The code that the text begins with, "<" and ">" around it; takes both off.
std::optional<char> TakeCode(std::string_view& text) {
  const std::size_t close = text.substr(0, kLongestName + 2).find('>');
  if (!text.starts_with('<') || close == text.npos) return std::nullopt;
  const std::string_view name = text.substr(1, close - 1);
  const std::optional<char> by_name = CodeByName(name);
  const std::optional<char> code = by_name ? by_name : CodeByDigits(name);
  if (code) text.remove_prefix(close + 1);
  return code;
}

bool BeginsWithCode(std::string_view text) { return TakeCode(text).has_value(); }

/// The last code has the name of the form feed and is told from it by an "x".
std::string Hexadecimal(unsigned char code) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (code == 0xFF) return "<xFF>";
  return {'<', kDigits[code / 16], kDigits[code % 16], '>'};
}

}  // namespace

std::string_view NameOfControl(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code < kNames.size() ? kNames[code] : "";
}

std::string NotationOf(std::string_view bytes) {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(1)) {
    const auto code = static_cast<unsigned char>(bytes.front());
    if (const std::string_view name = NameOfControl(bytes.front()); !name.empty()) {
      text.append("<").append(name).append(">");
    } else if (code > 126 || BeginsWithCode(bytes)) {
      text += Hexadecimal(code);
    } else {
      text += bytes.front();
    }
  }
  return text;
}

std::string BytesOfNotation(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    if (const std::optional<char> code = TakeCode(text)) {
      bytes += *code;
    } else {
      bytes += text.front();
      text.remove_prefix(1);
    }
  }
  return bytes;
}

std::optional<std::string> BytesOfHex(std::string_view digits) {
  std::string bytes;
  for (; !digits.empty(); digits.remove_prefix(std::min<std::size_t>(digits.size(), 2))) {
    const std::optional<char> code = CodeOfPair(digits.substr(0, 2));
    if (!code) return std::nullopt;
    bytes += *code;
  }
  return bytes;
}

}  // namespace mvsms::dispatch
