// basTAP: everything of the Telocator Alphanumeric Protocol that does not talk to the line. Texts
// in, texts out; failures come back in a text argument and are never thrown.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/texts.h"

namespace mvsms::basTAP {

/// Part of this module as far as its users are concerned; it lives with the other text operations.
using mvsms::ReplaceAll;

/// `Text` as logs and status lines show it: CR as "<CR>", likewise ACK, ESC, RS, EOT, NAK, LF,
/// XOFF and XON. Every other character, STX and ETX included, stays as it is.
std::string ControlCodesToNames(std::string_view Text);

/// The character that a pager expects in place of `Char`.
char ConvertTAPChar(char Char);

/// The message text as it is to be sent: the digits of `Text` for a numeric service, the converted
/// characters for an alphanumeric one. Empty on failure, with the reason in `ErrText`, except that
/// an unknown `MessageType` leaves `ErrText` as it was. A numeric text without digits is empty too.
std::string CheckTAPMessageText(std::string_view Text, std::string& ErrText,
                                std::int32_t MessageType);

/// The three checksum characters, "0" to "?", of a block from STX through ETX. Empty with the
/// reason in `ErrText` when the sum of the codes exceeds 32 bits.
std::string CalcTAPCheckSum(std::string_view Block, std::string& ErrText);

}  // namespace mvsms::basTAP
