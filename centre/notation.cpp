// Reading and writing the notation from one table of names; codes without a name are hexadecimal.
#include "centre/notation.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>
#include <stdexcept>

namespace mvsms::centre {
namespace {

constexpr std::array<std::string_view, 33> kNames = {
    "NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL", "BS",  "HT",  "LF",
    "VT",  "FF",  "CR",  "SO",  "SI",  "DLE", "DC1", "DC2", "DC3", "DC4", "NAK",
    "SYN", "ETB", "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",  "US",  "SP"};

struct Alias {
  std::string_view name;
  char code;
};
constexpr Alias kAliases[] = {{"XON", 17}, {"XOFF", 19}, {"TAB", 9}, {"LT", '<'}, {"DEL", 127}};

std::optional<char> CodeByName(const std::string& name) {
  const auto found = std::find(kNames.begin(), kNames.end(), name);
  if (found != kNames.end()) return static_cast<char>(found - kNames.begin());
  for (const Alias& alias : kAliases)
    if (alias.name == name) return alias.code;
  return std::nullopt;
}

std::optional<char> CodeByDigits(std::string_view name) {
  if (name.size() == 3 && (name[0] == 'x' || name[0] == 'X')) name.remove_prefix(1);
  unsigned code = 0;
  const auto end = name.data() + name.size();
  const auto read = std::from_chars(name.data(), end, code, 16);
  if (name.size() != 2 || read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return static_cast<char>(code);
}

char CodeOf(std::string_view name) {
  std::string upper(name);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (const auto code = CodeByName(upper)) return *code;
  if (const auto code = CodeByDigits(name)) return *code;
  throw std::invalid_argument("unknown character \"<" + std::string(name) + ">\"");
}

void AppendHex(std::string& out, unsigned char code) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (code == 0xFF)
    out += "<x";
  else
    out += '<';
  out += kDigits[code >> 4];
  out += kDigits[code & 15];
  out += '>';
}

}  // namespace

std::string ToNotation(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 32)
      out.append("<").append(kNames[code]).append(">");
    else if (code > 126 || c == '<')
      AppendHex(out, code);
    else
      out += c;
  }
  return out;
}

std::string FromNotation(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    if (text.front() != '<') {
      out += text.front();
      text.remove_prefix(1);
      continue;
    }
    const std::size_t close = text.find('>');
    if (close == std::string_view::npos)
      throw std::invalid_argument("\"<\" without \">\" (write <LT> for the character itself)");
    out += CodeOf(text.substr(1, close - 1));
    text.remove_prefix(close + 1);
  }
  return out;
}

}  // namespace mvsms::centre
