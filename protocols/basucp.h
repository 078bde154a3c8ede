// basUCP: builds the one UCP operation sent per message (01 or 51) and checks the centre's answer.
// Texts in, texts out; failures come back in a text argument and are never thrown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "protocols/service_record.h"

namespace mvsms::basUCP {

/// `Value` in decimal, padded with zeros to `Width` characters; empty when it is longer.
std::string ZeroPad(std::int32_t Value, std::size_t Width);

/// The sum of all codes modulo 256, in uppercase hexadecimal WITHOUT leading zero.
std::string CalcUCPCheckSum(std::string_view Text);

/// The hexadecimal form of one character in an alphanumeric message: two digits, four for a
/// character that the GSM alphabet reaches through its escape code. The view never expires.
std::string_view GSMCharToHex(char Char);

/// The message field: the digits of `Text` for a numeric service, hexadecimal for an alphanumeric
/// one, empty for any other `MessageType`.
std::string EncodeUCPText(std::string_view Text, std::int32_t MessageType);

/// The whole frame from STX through ETX; empty with the reason in `ErrText` on failure. A `TRN` of
/// 100 or more leaves its field empty. Five section signs in a row in `Recipient` or `Originator`
/// are replaced by the length of the frame, like the field that holds it.
std::string BuildUCPMessage(const std::string& Recipient, const std::string& Originator,
                            const std::string& Text, std::int32_t TRN, const ServiceRecord& Service,
                            std::string& ErrText);

/// Whether another attempt makes sense after a refusal with this error code.
bool IsWorthRetry(std::int32_t code);

/// True when `Response` acknowledges the message. Otherwise `ErrText` receives the reason (it stays
/// as it was when the service's UCP operation is unknown), and `RetryFlag` is set, never cleared,
/// where a later attempt may succeed. An answer whose checksum has a leading zero counts as wrong.
bool CheckUCPResponse(const std::string& Response, bool& RetryFlag, std::string& ErrText,
                      const ServiceRecord& Service);

}  // namespace mvsms::basUCP
