// The alphabets in which pagers, message centres and mobile phones take their texts, decoded to
// UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace mvsms::centre {

enum class Alphabet {
  kAscii,   // ISO 646, international; a code above 127 is taken as Latin-1
  kGerman,  // ISO 646 with the letters of DIN 66003 in place of brackets, braces and the like
  kGsm,     // GSM 03.38 default alphabet with its escape pairs
};

/// The text that `codes` stands for, always valid UTF-8. A GSM escape pair that means nothing is
/// its second character, as on a mobile phone.
std::string DecodeText(Alphabet alphabet, std::string_view codes);

/// The text of UCS-2 octets, the higher one first, with the surrogate pairs that phones send for
/// what lies beyond; always valid UTF-8. What stands for nothing, half a pair or half a character,
/// is U+FFFD.
std::string DecodeUcs2(std::string_view octets);

}  // namespace mvsms::centre
