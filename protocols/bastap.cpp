// basTAP: notation of control characters, message text and checksum. Whatever is decided per
// character is a table over its code, because every log line and every message passes through here.
#include "protocols/bastap.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>

#include "base/numbers.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"
#include "protocols/service_record.h"

namespace mvsms::basTAP {
namespace {

// Failures of the text check carry the checksum's name as well: hosts know the text in this form.
constexpr char kErrorPrefix[] = "Error in function: CalcTAPCheckSum - ";

struct Notation {
  char code;
  std::string_view name;
};
constexpr Notation kNotations[] = {
    {kCR, "<CR>"},   {kACK, "<ACK>"}, {kESC, "<ESC>"},   {kRS, "<RS>"},   {kEOT, "<EOT>"},
    {kNAK, "<NAK>"}, {kLF, "<LF>"},   {kXOFF, "<XOFF>"}, {kXON, "<XON>"},
};

constexpr auto kNameOfCode = [] {
  std::array<std::string_view, 256> names{};
  for (const Notation& notation : kNotations) names[CodeOf(notation.code)] = notation.name;
  return names;
}();

// The codes that mean something inside a block and cannot stand in a message text.
constexpr auto kNeedsEscape = [] {
  std::array<bool, 256> needs{};
  for (const char code : {kSTX, kETX, kEOT, kLF, kCR, kETB, kSUB, kESC, kUS})
    needs[CodeOf(code)] = true;
  return needs;
}();

// An escape would be SUB and the character raised by 64, which a pager that does not know the
// mechanism shows as two stray characters. A text that would need one is refused as a whole.
std::string ConvertTAPText(std::string_view text) {
  std::string converted(text.size(), ' ');
  std::transform(text.begin(), text.end(), converted.begin(), ConvertTAPChar);
  const bool needs_escape = std::any_of(converted.begin(), converted.end(),
                                        [](char c) { return kNeedsEscape[CodeOf(c)]; });
  if (needs_escape) RaiseTypeMismatch();
  return converted;
}

std::int32_t SumOfCodes(std::string_view block) {
  std::uint64_t sum = 0;
  for (const char c : block) sum += CodeOf(c);
  if (sum > std::uint64_t{std::numeric_limits<std::int32_t>::max()}) RaiseOverflow();
  return static_cast<std::int32_t>(sum);
}

char CheckSumChar(std::int32_t sixteenth) { return static_cast<char>('0' + sixteenth % 16); }

}  // namespace

// One pass has the same effect as replacing one code after another, because no name contains a
// control character.
std::string ControlCodesToNames(std::string_view Text) {
  std::string result;
  result.reserve(Text.size());
  for (const char c : Text) {
    const std::string_view name = kNameOfCode[CodeOf(c)];
    if (name.empty())
      result += c;
    else
      result += name;
  }
  return result;
}

char ConvertTAPChar(char Char) { return static_cast<char>(TAPCharTable[CodeOf(Char)]); }

std::string CheckTAPMessageText(std::string_view Text, std::string& ErrText,
                                std::int32_t MessageType) {
  try {
    if (MessageType == kMessageTypeNumeric) return KeepDigits(Text);
    if (MessageType == kMessageTypeAlphanumeric) return ConvertTAPText(Text);
  } catch (const std::exception& error) {
    ErrText = std::string(kErrorPrefix) + error.what();
  }
  return {};
}

std::string CalcTAPCheckSum(std::string_view Block, std::string& ErrText) {
  try {
    const std::int32_t sum = SumOfCodes(Block);
    return {CheckSumChar(sum / 256), CheckSumChar(sum / 16), CheckSumChar(sum)};
  } catch (const std::exception& error) {
    ErrText = std::string(kErrorPrefix) + error.what();
    return {};
  }
}

}  // namespace mvsms::basTAP
