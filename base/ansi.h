// The ANSI code page of all texts inside the system, Windows-1252: its conversion from and to UTF-8
// at the edges of the command and the posix back end, and its case folding for names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mvsms {

/// UTF-8 to Windows-1252. A character that has no code, and every malformed sequence, becomes "?".
/// The five codes that Windows-1252 leaves unassigned (129, 141, 143, 144, 157) map to the control
/// characters of the same code, so that all 256 codes survive the round trip.
std::string AnsiFromUtf8(std::string_view utf8);

/// Whether the text survives that, which malformed UTF-8 does not.
bool HasAnsiForm(std::string_view utf8);

/// Windows-1252 to UTF-8. Every code has a character, so nothing is lost.
std::string Utf8FromAnsi(std::string_view ansi);

/// One character of a UTF-8 text: its bytes, which lie in that text, and its code point.
struct Utf8Character {
  std::string_view bytes;
  char32_t point;
};

/// Stands for the code point of a malformed sequence.
inline constexpr char32_t kMalformed = 0xFFFD;

/// The characters of a text in their order; a malformed sequence is one of them.
std::vector<Utf8Character> Utf8Characters(std::string_view utf8);

/// The name folded to one case in Windows-1252, for comparing and ordering registry names.
std::string FoldCase(std::string_view ansi);

}  // namespace mvsms
