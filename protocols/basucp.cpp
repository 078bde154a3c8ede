// basUCP: frames and answers of UCP. What differs between the two operations, between characters
// and between error codes stands in tables; the functions are the same for all.
#include "protocols/basucp.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <utility>

#include "base/numbers.h"
#include "base/raised_error.h"
#include "protocols/bastap.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"

namespace mvsms::basUCP {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// Placeholder for the length in a frame until the length is known: five section signs.
constexpr std::string_view kLengthPlaceholder = "\xA7\xA7\xA7\xA7\xA7";
constexpr std::size_t kLengthWidth = 5;

// The separators between the fields that are filled; the fields between two adjacent separators are
// sent empty.
struct Operation {
  double number;
  std::string_view before_type;
  std::string_view before_message;
  std::string_view after_message;
};
constexpr Operation kOperations[] = {
    {1, "//", "/", "/"},
    {51, "/////////////////", "//", "/////////////"},
};
static_assert(kOperations[1].before_type.size() == 17);
static_assert(kOperations[1].after_message.size() == 13);

const Operation* FindOperation(const ServiceRecord& service) {
  const double number = Val(service.UCPCommand);
  const auto* found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                   [=](const Operation& o) { return o.number == number; });
  return found == std::end(kOperations) ? nullptr : found;
}

// Characters that the GSM alphabet has only in its extension.
struct EscapePair {
  char character;
  std::array<char, 4> hex;
};
constexpr EscapePair kEscapePairs[] = {
    {'\x80', {'1', 'B', '6', '5'}},  // the euro sign
    {'[', {'1', 'B', '3', 'C'}},    {'\\', {'1', 'B', '2', 'F'}}, {']', {'1', 'B', '3', 'E'}},
    {'^', {'1', 'B', '1', '4'}},    {'{', {'1', 'B', '2', '8'}},  {'}', {'1', 'B', '2', '9'}},
    {'|', {'1', 'B', '4', '0'}},    {'~', {'1', 'B', '3', 'D'}},
};

struct HexForm {
  std::array<char, 4> text;
  std::uint8_t length;
};

constexpr auto kHexForms = [] {
  std::array<HexForm, 256> forms{};
  for (std::size_t code = 0; code < forms.size(); ++code) {
    const auto sent = static_cast<std::size_t>(UCPCharTable[code]);
    forms[code] = {{kHexDigits[sent / 16], kHexDigits[sent % 16]}, 2};
  }
  for (const EscapePair& pair : kEscapePairs) forms[CodeOf(pair.character)] = {pair.hex, 4};
  return forms;
}();

// Always copies four characters and advances by the actual length, which is cheaper than a branch.
std::string HexText(std::string_view text) {
  std::string hex(text.size() * std::tuple_size_v<decltype(HexForm::text)>, '\0');
  char* out = hex.data();
  for (const char c : text) {
    const HexForm& form = kHexForms[CodeOf(c)];
    std::copy(form.text.begin(), form.text.end(), out);
    out += form.length;
  }
  hex.resize(static_cast<std::size_t>(out - hex.data()));
  return hex;
}

std::string Fail(std::string& err_text, std::string reason) {
  err_text = std::move(reason);
  return {};
}

// STX and everything up to the data fields.
std::string FrameHead(std::int32_t trn, const ServiceRecord& service) {
  const std::string op = ZeroPad(ToLong(Val(service.UCPCommand)), 2);
  std::string head;
  head += kSTX;
  head.append(ZeroPad(trn, 2)).append("/").append(kLengthPlaceholder).append("/O/").append(op);
  return head += '/';
}

// The length counts from the character after STX through the two checksum digits to come. The
// placeholder is replaced wherever it occurs, even in a recipient that happens to contain it.
std::string WithLength(const std::string& frame) {
  const auto length = static_cast<std::int32_t>(frame.size() + 1);
  return basTAP::ReplaceAll(frame, kLengthPlaceholder, ZeroPad(length, kLengthWidth));
}

std::string WithCheckSum(std::string frame) {
  const std::string checksum = CalcUCPCheckSum(std::string_view(frame).substr(1));
  if (checksum.size() == 1) frame += '0';
  frame += checksum;
  return frame += kETX;
}

// `count` characters from `position`, which counts from 1; what lies beyond the end is left out.
std::string_view Mid(std::string_view text, std::size_t position, std::size_t count) {
  return position > text.size() ? std::string_view() : text.substr(position - 1, count);
}

// Positions in an answer with a transaction reference of two digits and a length of five.
constexpr std::size_t kAckPosition = 16;
constexpr std::size_t kErrorCodePosition = 18;
constexpr std::size_t kSystemMessagePosition = 21;

constexpr std::size_t kShortestResponse = 5;

// The refusals after which another attempt makes sense.
constexpr std::int32_t kRetryCodes[] = {1, 4, 10, 30, 33, 34, 35};

bool HasRightCheckSum(std::string_view response) {
  const std::size_t size = response.size();
  return CalcUCPCheckSum(Mid(response, 2, size - 4)) == Mid(response, size - 2, 2);
}

// An answer that ends before its code is not a refusal with code 0.
std::int32_t ErrorCode(std::string_view response) {
  const std::string_view digits = Mid(response, kErrorCodePosition, 2);
  if (digits.empty()) RaiseTypeMismatch();
  return ToLong(digits);
}

// Up to and including the separator; empty without one.
std::string_view SystemMessage(std::string_view response) {
  const std::string_view rest = Mid(response, kSystemMessagePosition, response.npos);
  return rest.substr(0, rest.find('/') + 1);
}

bool ReadRefusal(std::string_view response, bool& retry_flag, std::string& err_text) {
  const std::int32_t code = ErrorCode(response);
  err_text.assign("System message: ").append(SystemMessage(response));
  if (IsWorthRetry(code)) retry_flag = true;
  return false;
}

bool RejectResponse(bool& retry_flag, std::string& err_text, const char* reason) {
  err_text = reason;
  retry_flag = true;
  return false;
}

}  // namespace

std::string ZeroPad(std::int32_t Value, std::size_t Width) {
  const std::string text = std::to_string(Value);
  if (text.size() > Width) return {};
  return std::string(Width - text.size(), '0') + text;
}

std::string CalcUCPCheckSum(std::string_view Text) {
  std::size_t sum = 0;  // unsigned arithmetic wraps at a multiple of 256
  for (const char c : Text) sum += CodeOf(c);
  const char high = kHexDigits[sum / 16 % 16];
  const char low = kHexDigits[sum % 16];
  return high == '0' ? std::string{low} : std::string{high, low};
}

std::string_view GSMCharToHex(char Char) {
  const HexForm& form = kHexForms[CodeOf(Char)];
  return {form.text.data(), form.length};
}

std::string EncodeUCPText(std::string_view Text, std::int32_t MessageType) {
  if (MessageType == kMessageTypeNumeric) return KeepDigits(Text);
  if (MessageType == kMessageTypeAlphanumeric) return HexText(Text);
  return {};
}

std::string BuildUCPMessage(const std::string& Recipient, const std::string& Originator,
                            const std::string& Text, std::int32_t TRN, const ServiceRecord& Service,
                            std::string& ErrText) {
  try {
    std::string frame = FrameHead(TRN, Service);
    const std::string type = std::to_string(Service.MessageType);
    if (Service.MessageType != kMessageTypeNumeric &&
        Service.MessageType != kMessageTypeAlphanumeric)
      return Fail(ErrText, "Unknown MessageType specified: " + type);
    const std::string message = EncodeUCPText(Text, Service.MessageType);
    if (message.empty()) return Fail(ErrText, "Failed to encode Message or Message empty!");
    const Operation* operation = FindOperation(Service);
    if (operation == nullptr) return Fail(ErrText, "Invalid UCP Operation.");
    frame.append(Recipient).append("/").append(Originator).append(operation->before_type);
    frame.append(type).append(operation->before_message);
    frame.append(message).append(operation->after_message);
    return WithCheckSum(WithLength(frame));
  } catch (const RaisedError& error) {
    return Fail(ErrText, std::to_string(error.number()) + ": " + error.description());
  } catch (const std::exception& error) {
    return Fail(ErrText, error.what());
  }
}

bool IsWorthRetry(std::int32_t code) {
  return std::find(std::begin(kRetryCodes), std::end(kRetryCodes), code) != std::end(kRetryCodes);
}

bool CheckUCPResponse(const std::string& Response, bool& RetryFlag, std::string& ErrText,
                      const ServiceRecord& Service) {
  try {
    if (Response.size() < kShortestResponse)
      return RejectResponse(RetryFlag, ErrText, "Received response invalid (too short)!");
    if (!HasRightCheckSum(Response))
      return RejectResponse(RetryFlag, ErrText, "Received response invalid (Wrong checksum)!");
    if (FindOperation(Service) == nullptr) return false;
    if (Mid(Response, kAckPosition, 1) != "A") return ReadRefusal(Response, RetryFlag, ErrText);
    ErrText.clear();
    return true;
  } catch (const std::exception& error) {
    ErrText = std::string("Error in function: CheckUCPResponse - ") + error.what();
    return false;
  }
}

}  // namespace mvsms::basUCP
