// Windows-1252 by table. Codes 0 to 127 and 160 to 255 are their own code points, so only the 32
// codes between have an entry. The decoder is strict (no overlong forms, no surrogates, nothing
// past U+10FFFF): what it let through would be compared and stored as something the user never
// typed.
#include "base/ansi.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>

namespace mvsms {
namespace {

constexpr unsigned kFirstSpecial = 0x80;
constexpr unsigned kLastSpecial = 0x9F;

/// Code points of codes 128 to 159; the five unassigned ones map to themselves.
constexpr std::array<char32_t, 32> kSpecials = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr char32_t CodePointOf(unsigned char code) {
  return code < kFirstSpecial || code > kLastSpecial ? code : kSpecials[code - kFirstSpecial];
}

constexpr bool IsOwnCode(char32_t point) {
  return point < kFirstSpecial || (point > kLastSpecial && point <= 0xFF);
}

char CodeOf(char32_t point) {
  if (IsOwnCode(point)) return static_cast<char>(point);
  const auto found = std::find(kSpecials.begin(), kSpecials.end(), point);
  if (found == kSpecials.end()) return '?';
  return static_cast<char>(kFirstSpecial + static_cast<unsigned>(found - kSpecials.begin()));
}

/// What may follow a lead byte: how many bytes, and the range of the first of them, where overlong
/// forms, surrogates and code points beyond the last one give themselves away.
struct Lead {
  unsigned char first;
  unsigned char last;
  std::size_t trail;
  unsigned char low;
  unsigned char high;
};

constexpr Lead kLeads[] = {
    {0x00, 0x7F, 0, 0x00, 0x00}, {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F}};

/// Bits of the code point that a lead byte carries, by the number of bytes that follow it.
constexpr unsigned char kLeadBits[] = {0x7F, 0x1F, 0x0F, 0x07};

const Lead* FindLead(unsigned char byte) {
  const auto* found = std::find_if(std::begin(kLeads), std::end(kLeads), [byte](const Lead& lead) {
    return byte >= lead.first && byte <= lead.last;
  });
  return found == std::end(kLeads) ? nullptr : found;
}

/// Takes one character off the front of `rest`, which is not empty. A malformed sequence is
/// consumed as far as it could have been the start of a valid one, so a truncated character gives
/// one "?".
std::optional<char32_t> TakeCharacter(std::string_view& rest) {
  const auto byte_at = [&rest](std::size_t at) { return static_cast<unsigned char>(rest[at]); };
  const unsigned char first = byte_at(0);
  const Lead* lead = FindLead(first);
  const std::size_t trail = lead ? lead->trail : 0;
  char32_t point = first & kLeadBits[trail];
  std::size_t used = 1;
  for (; used <= trail && used < rest.size(); ++used) {
    const unsigned char byte = byte_at(used);
    const bool fits = used == 1 ? byte >= lead->low && byte <= lead->high : (byte & 0xC0) == 0x80;
    if (!fits) break;
    point = point << 6 | (byte & 0x3F);
  }
  rest.remove_prefix(used);
  if (!lead || used <= trail) return std::nullopt;
  return point;
}

void AppendUtf8(std::string& utf8, char32_t point) {
  if (point < 0x80) {
    utf8 += static_cast<char>(point);
    return;
  }
  if (point < 0x800) {
    utf8 += static_cast<char>(0xC0 | point >> 6);
  } else {
    utf8 += static_cast<char>(0xE0 | point >> 12);
    utf8 += static_cast<char>(0x80 | (point >> 6 & 0x3F));
  }
  utf8 += static_cast<char>(0x80 | (point & 0x3F));
}

/// Upper case of one code. Letters whose capital has no code (such as 131) stay as they are.
constexpr unsigned char UpperCase(unsigned char code) {
  const bool ascii = code >= 'a' && code <= 'z';
  const bool latin = code >= 0xE0 && code <= 0xFE && code != 0xF7;  // 247 is the division sign
  if (ascii || latin) return static_cast<unsigned char>(code - 0x20);
  if (code == 0x9A || code == 0x9C || code == 0x9E) return static_cast<unsigned char>(code - 0x10);
  return code == 0xFF ? 0x9F : code;
}

}  // namespace

std::string AnsiFromUtf8(std::string_view utf8) {
  std::string ansi;
  ansi.reserve(utf8.size());
  while (!utf8.empty()) {
    const std::optional<char32_t> point = TakeCharacter(utf8);
    ansi += point ? CodeOf(*point) : '?';
  }
  return ansi;
}

bool HasAnsiForm(std::string_view utf8) { return Utf8FromAnsi(AnsiFromUtf8(utf8)) == utf8; }

std::string Utf8FromAnsi(std::string_view ansi) {
  std::string utf8;
  utf8.reserve(ansi.size());
  for (const char code : ansi) AppendUtf8(utf8, CodePointOf(static_cast<unsigned char>(code)));
  return utf8;
}

std::vector<Utf8Character> Utf8Characters(std::string_view utf8) {
  std::vector<Utf8Character> characters;
  while (!utf8.empty()) {
    const std::string_view before = utf8;
    const char32_t point = TakeCharacter(utf8).value_or(kMalformed);
    characters.push_back({before.substr(0, before.size() - utf8.size()), point});
  }
  return characters;
}

std::string FoldCase(std::string_view ansi) {
  std::string folded(ansi);
  for (char& code : folded) {
    code = static_cast<char>(UpperCase(static_cast<unsigned char>(code)));
  }
  return folded;
}

}  // namespace mvsms
