// One table per 7-bit alphabet of what differs; GSM differs nearly everywhere and is written out.
#include "centre/alphabet.h"

#include <array>
#include <optional>

namespace mvsms::centre {
namespace {

struct Exception {
  unsigned char code;
  std::string_view utf8;
};

constexpr Exception kGerman[] = {{'@', "§"}, {'[', "Ä"}, {'\\', "Ö"}, {']', "Ü"},
                                 {'{', "ä"}, {'|', "ö"}, {'}', "ü"},  {'~', "ß"}};

constexpr Exception kGsmEscapes[] = {{0x0A, "\f"}, {0x14, "^"}, {0x28, "{"}, {0x29, "}"},
                                     {0x2F, "\\"}, {0x3C, "["}, {0x3D, "~"}, {0x3E, "]"},
                                     {0x40, "|"},  {0x65, "€"}};

constexpr std::array<std::string_view, 128> kGsm = {
    "@", "£", "$",  "¥", "è", "é", "ù", "ì", "ò", "Ç", "\n", "Ø", "ø", "\r", "Å", "å",
    "Δ", "_", "Φ",  "Γ", "Λ", "Ω", "Π", "Ψ", "Σ", "Θ", "Ξ",  " ", "Æ", "æ",  "ß", "É",
    " ", "!", "\"", "#", "¤", "%", "&", "'", "(", ")", "*",  "+", ",", "-",  ".", "/",
    "0", "1", "2",  "3", "4", "5", "6", "7", "8", "9", ":",  ";", "<", "=",  ">", "?",
    "¡", "A", "B",  "C", "D", "E", "F", "G", "H", "I", "J",  "K", "L", "M",  "N", "O",
    "P", "Q", "R",  "S", "T", "U", "V", "W", "X", "Y", "Z",  "Ä", "Ö", "Ñ",  "Ü", "§",
    "¿", "a", "b",  "c", "d", "e", "f", "g", "h", "i", "j",  "k", "l", "m",  "n", "o",
    "p", "q", "r",  "s", "t", "u", "v", "w", "x", "y", "z",  "ä", "ö", "ñ",  "ü", "à"};

constexpr unsigned char kGsmEscape = 0x1B;

template <std::size_t n>
std::string_view Find(const Exception (&table)[n], unsigned char code) {
  for (const Exception& entry : table)
    if (entry.code == code) return entry.utf8;
  return {};
}

void AppendUtf8(std::string& out, char32_t code) {
  const auto tail = [&](unsigned shift) {
    return static_cast<char>(0x80 | (code >> shift & 0x3F));
  };
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += {static_cast<char>(0xC0 | code >> 6), tail(0)};
  } else if (code < 0x10000) {
    out += {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
  } else {
    out += {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
  }
}

// Takes the next two octets; beyond the end they are missing.
std::optional<char32_t> TakeUnit(std::string_view& octets) {
  if (octets.size() < 2) return std::nullopt;
  const char32_t high = static_cast<unsigned char>(octets[0]);
  const char32_t low = static_cast<unsigned char>(octets[1]);
  octets.remove_prefix(2);
  return high << 8 | low;
}

constexpr char32_t kReplacement = 0xFFFD;

char32_t TakeCharacter(std::string_view& octets) {
  const auto unit = TakeUnit(octets);
  if (!unit) octets = {};
  if (!unit || (*unit >= 0xDC00 && *unit < 0xE000)) return kReplacement;
  if (*unit < 0xD800 || *unit > 0xDBFF) return *unit;
  std::string_view ahead = octets;
  const auto low = TakeUnit(ahead);
  if (!low || *low < 0xDC00 || *low > 0xDFFF) return kReplacement;
  octets = ahead;
  return 0x10000 + ((*unit - 0xD800) << 10) + (*low - 0xDC00);
}

std::string DecodeGsm(std::string_view codes) {
  std::string out;
  bool escaped = false;
  for (const char c : codes) {
    const auto code = static_cast<unsigned char>(static_cast<unsigned char>(c) & 0x7F);
    const std::string_view pair = escaped ? Find(kGsmEscapes, code) : std::string_view{};
    escaped = !escaped && code == kGsmEscape;
    if (!escaped) out += pair.empty() ? kGsm[code] : pair;
  }
  return out;
}

}  // namespace

std::string DecodeText(Alphabet alphabet, std::string_view codes) {
  if (alphabet == Alphabet::kGsm) return DecodeGsm(codes);
  std::string out;
  for (const char c : codes) {
    const auto code = static_cast<unsigned char>(c);
    const std::string_view letter =
        alphabet == Alphabet::kGerman ? Find(kGerman, code) : std::string_view{};
    if (letter.empty())
      AppendUtf8(out, code);
    else
      out += letter;
  }
  return out;
}

std::string DecodeUcs2(std::string_view octets) {
  std::string out;
  while (!octets.empty()) AppendUtf8(out, TakeCharacter(octets));
  return out;
}

}  // namespace mvsms::centre
