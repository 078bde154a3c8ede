// The two alphabets as tables, and the way from a text to its codes, which the protocols have.
#include "dispatch/reader.h"

#include <array>
#include <cstddef>

#include "base/texts.h"
#include "dispatch/notation.h"
#include "protocols/bastap.h"
#include "protocols/basucp.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

constexpr std::array<std::string_view, 128> kPhone = {
    "@", "£", "$",  "¥", "è", "é", "ù", "ì", "ò", "Ç", "\n", "Ø", "ø", "\r", "Å", "å",
    "Δ", "_", "Φ",  "Γ", "Λ", "Ω", "Π", "Ψ", "Σ", "Θ", "Ξ",  " ", "Æ", "æ",  "ß", "É",
    " ", "!", "\"", "#", "¤", "%", "&", "'", "(", ")", "*",  "+", ",", "-",  ".", "/",
    "0", "1", "2",  "3", "4", "5", "6", "7", "8", "9", ":",  ";", "<", "=",  ">", "?",
    "¡", "A", "B",  "C", "D", "E", "F", "G", "H", "I", "J",  "K", "L", "M",  "N", "O",
    "P", "Q", "R",  "S", "T", "U", "V", "W", "X", "Y", "Z",  "Ä", "Ö", "Ñ",  "Ü", "§",
    "¿", "a", "b",  "c", "d", "e", "f", "g", "h", "i", "j",  "k", "l", "m",  "n", "o",
    "p", "q", "r",  "s", "t", "u", "v", "w", "x", "y", "z",  "ä", "ö", "ñ",  "ü", "à"};

struct Letter {
  std::size_t code;
  std::string_view utf8;
};
constexpr Letter kPhonePairs[] = {{0x0A, "\f"}, {0x14, "^"}, {0x28, "{"}, {0x29, "}"}, {0x2F, "\\"},
                                  {0x3C, "["},  {0x3D, "~"}, {0x3E, "]"}, {0x40, "|"}, {0x65, "€"}};
constexpr Letter kGerman[] = {{'[', "Ä"}, {'\\', "Ö"}, {']', "Ü"}, {'{', "ä"},
                              {'|', "ö"}, {'}', "ü"},  {'~', "ß"}};

template <std::size_t n>
std::string_view Find(const Letter (&letters)[n], std::size_t code) {
  for (const Letter& letter : letters) {
    if (letter.code == code) return letter.utf8;
  }
  return {};
}

bool IsPrintable(std::size_t code) { return code >= 32 && code < 127; }

std::string PagerLetter(char c) {
  const std::string_view german = Find(kGerman, CodeOf(c));
  if (!german.empty()) return std::string(german);
  return IsPrintable(CodeOf(c)) ? std::string{c} : std::string(kUncertain);
}

/// The codes of an alphanumeric UCP text: two for a letter of the alphabet's extension.
std::string PhoneCodes(std::string_view text) {
  std::string codes;
  for (const char c : text) codes += BytesOfHex(basUCP::GSMCharToHex(c)).value_or("");
  return codes;
}

std::string PagerCodes(std::string_view text) {
  std::string codes;
  for (const char c : text) codes += basTAP::ConvertTAPChar(c);
  return codes;
}

}  // namespace

std::string PhoneText(std::string_view codes) {
  std::string text;
  bool escaped = false;
  for (const char c : codes) {
    const std::size_t code = CodeOf(c) & 127;
    const std::string_view pair = escaped ? Find(kPhonePairs, code) : std::string_view();
    escaped = !escaped && c == kESC;
    if (!escaped) text += pair.empty() ? kPhone[code] : pair;
  }
  return text;
}

std::string PagerText(std::string_view codes) {
  std::string text;
  for (const char c : codes) text += PagerLetter(c);
  return text;
}

std::string AsRead(std::string_view text, const ServiceRecord& service) {
  if (service.MessageType == kMessageTypeNumeric) return KeepDigits(text);
  if (service.MessageType != kMessageTypeAlphanumeric) return {};
  if (service.Protocol == "TAP") return PagerText(PagerCodes(text));
  if (service.Protocol == "UCP") return PhoneText(PhoneCodes(text));
  return {};
}

}  // namespace mvsms::dispatch
