// One table says where each operation keeps its fields; reading, judging and answering are the
// same for all of them, the login's password apart.
#include "centre/ucp_centre.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr int kSyntax = 2, kNotSupported = 3, kNotAllowed = 4, kChecksum = 1, kAdCInvalid = 6,
              kAuthentication = 7, kTypeNotSupported = 23;

struct ErrorText {
  int code;
  std::string_view text;
};
constexpr ErrorText kErrorTexts[] = {
    {1, "Checksum error"},
    {2, "Syntax error"},
    {3, "Operation not supported by system"},
    {4, "Operation not allowed"},
    {5, "Call barring active"},
    {6, "AdC invalid"},
    {7, "Authentication failure"},
    {8, "Legitimisation code for all calls, failure"},
    {9, "GA not valid"},
    {10, "Repetition not allowed"},
    {11, "Legitimisation code for repetition, failure"},
    {12, "Priority call not allowed"},
    {13, "Legitimisation code for priority call, failure"},
    {14, "Urgent message not allowed"},
    {15, "Legitimisation code for urgent message, failure"},
    {16, "Reverse charging not allowed"},
    {17, "Legitimisation code for reverse charging, failure"},
    {18, "Deferred delivery not allowed"},
    {19, "New AC not valid"},
    {20, "New legitimisation code not valid"},
    {21, "Standard text not valid"},
    {22, "Time period not valid"},
    {23, "Message type not supported by system"},
    {24, "Message too long"},
    {25, "Requested standard text not valid"},
    {26, "Message type not valid for the pager type"},
    {27, "Message not found in SMSC"},
    {30, "Subscriber hang-up"},
    {31, "Fax group not supported"},
    {32, "Fax message type not supported"},
    {33, "Address already in list"},
    {34, "Address not in list"},
    {35, "List full, cannot add address"},
    {36, "RPID already in use"},
    {37, "Delivery in progress"},
    {38, "Message forwarded"},
};

constexpr std::size_t kLoginPassword = 4;  // field PWD of operation 60
// Fields of operations 51 and 53.
constexpr std::size_t kRecipient = 0, kOriginator = 1, kNotificationRequest = 3,
                      kNotificationAddress = 4, kNotificationType = 5, kSubmittedAt = 14,
                      kDelivery = 15, kReason = 16, kDeliveredAt = 17, kMessageType = 18,
                      kMessage = 20, kTypeOfOriginator = 28, kExtraServices = 30, kFields = 33;
constexpr std::string_view kAlphanumeric = "5039";
constexpr char kStartOfText = 2, kEndOfText = 3;

// In the order of Delivery: how field Dst and a bit of field NT say it, and words.
struct DeliveryCode {
  std::string_view code;
  char bit;
  std::string_view words;
};
constexpr DeliveryCode kDeliveries[] = {{"0", 1, " has been delivered on "},
                                        {"1", 4, " has been buffered on "},
                                        {"2", 2, " has not been delivered on "}};

std::string TypeName(std::string_view type) {
  constexpr std::string_view kNames[] = {"tone", "numeric", "alphanumeric", "transparent"};
  const bool known = type.size() == 1 && type[0] >= '1' && type[0] <= '4';
  return known ? std::string(kNames[type[0] - '1']) : std::string();
}

bool IsAddress(std::string_view address) {
  return !address.empty() && address.find_first_not_of("0123456789+") == std::string_view::npos;
}

struct CivilTime {
  explicit CivilTime(Millis since_1970) : now(since_1970) {}
  std::chrono::sys_time<Millis> now;
  std::chrono::sys_days midnight = std::chrono::floor<std::chrono::days>(now);
  std::chrono::year_month_day date{midnight};
  std::chrono::hh_mm_ss<Millis> time{now - midnight};
  unsigned day = static_cast<unsigned>(date.day()), month = static_cast<unsigned>(date.month());
  int year = static_cast<int>(date.year());
  int hour = static_cast<int>(time.hours().count()),
      minute = static_cast<int>(time.minutes().count()),
      second = static_cast<int>(time.seconds().count());
};

// DDMMYYhhmmss, the form of time stamps in system messages.
std::string TimeStamp(Millis since_1970) {
  const CivilTime at(since_1970);
  char out[32];
  std::snprintf(out, sizeof out, "%02u%02u%02d%02d%02d%02d", at.day, at.month, at.year % 100,
                at.hour, at.minute, at.second);
  return out;
}

std::string DateAndTime(Millis since_1970) {
  const CivilTime at(since_1970);
  char out[64];
  std::snprintf(out, sizeof out, "%04d-%02u-%02u at %02d:%02d:%02d", at.year, at.month, at.day,
                at.hour, at.minute, at.second);
  return out;
}

// Whether the sender asked for a notification of this kind. Without a type every kind is meant.
bool AsksFor(const UcpFrame& frame, const DeliveryCode& delivery) {
  const std::string& type = frame.fields[kNotificationType];
  const bool every = type.empty() || type == "0";
  return frame.fields[kNotificationRequest] == "1" &&
         (every || (type.size() == 1 && (type[0] & delivery.bit) != 0));
}

std::string TwoDigits(int code) {
  return {static_cast<char>('0' + code / 10 % 10), static_cast<char>('0' + code % 10)};
}

void ReplaceAll(std::string& text, std::string_view what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
}

std::string Field(const UcpFrame& frame, int index) {
  return index < 0 ? std::string() : frame.fields[static_cast<std::size_t>(index)];
}

}  // namespace

//   code fields | recipient originator type message | fields of the positive result
const UcpCentre::Operation UcpCentre::kOperations[] = {
    {"01", 5, 0, 1, 3, 4, 2},
    {"30", 10, 0, 1, -1, 9, 3},
    {"31", 2, 0, -1, -1, -1, 2},
    {"51", kFields, kRecipient, kOriginator, kMessageType, kMessage, 3},
    {"60", 12, -1, 0, -1, -1, 2},
};

std::string_view UcpErrorText(int code) {
  for (const ErrorText& error : kErrorTexts)
    if (error.code == code) return error.text;
  return {};
}

const UcpCentre::Operation* UcpCentre::Find(std::string_view code) {
  const auto found =
      std::find_if(std::begin(kOperations), std::end(kOperations),
                   [&](const Operation& operation) { return operation.code == code; });
  return found == std::end(kOperations) ? nullptr : found;
}

UcpCentre::UcpCentre(Desk& desk) : desk_(desk), settings_(desk.settings) {}

void UcpCentre::Connected(Line& line) {
  line_ = &line;
  WatchSilence();
}

void UcpCentre::Received(std::string_view bytes) {
  for (const std::string& frame : reader_.Feed(bytes))
    if (line_ != nullptr) On(frame);
  WatchSilence();
}

void UcpCentre::HungUp() {
  line_ = nullptr;
  silence_.Clear();
  GiveUpNotifications();
}

void UcpCentre::On(const std::string& raw) {
  const UcpFrame frame = ParseUcpFrame(raw);
  if (frame.kind == 'R') return TakeResult(frame, raw);
  if (FallsSilent(frame)) return;
  Request request = Read(frame);
  request.raw = raw;
  const Verdict verdict = Judge(frame, request);
  request.accepted = verdict.error == 0;
  request.answer = Result(frame, verdict);
  desk_.Record(request);
  line_->Write(request.answer);
  if (request.accepted) PromiseNotification(frame);
}

// A result that nobody waits for answers nothing.
void UcpCentre::TakeResult(const UcpFrame& frame, const std::string& raw) {
  const auto asked = unanswered_.find(frame.trn);
  if (asked == unanswered_.end() || frame.operation != "53" || !frame.checksum_ok) return;
  Request request = std::move(asked->second);
  unanswered_.erase(asked);
  request.accepted = frame.well_formed && !frame.fields.empty() && frame.fields[0] == "A";
  request.answer = kStartOfText + raw + kEndOfText;
  desk_.Record(request);
}

Request UcpCentre::Read(const UcpFrame& frame) const {
  Request request;
  request.protocol = "UCP";
  request.operation = frame.operation;
  request.trn = frame.trn;
  const Operation* const operation = Find(frame.operation);
  if (operation == nullptr || frame.fields.size() != operation->fields) return request;
  request.recipient = DecodeText(Alphabet::kAscii, Field(frame, operation->recipient));
  request.originator = ReadOriginator(frame, *operation);
  if (operation->message < 0) return request;
  request.type = operation->type < 0 ? "alphanumeric" : TypeName(Field(frame, operation->type));
  ReadMessage(frame, *operation, request);
  return request;
}

void UcpCentre::ReadMessage(const UcpFrame& frame, const Operation& operation,
                            Request& request) const {
  const std::string message = Field(frame, operation.message);
  const std::string octets = DecodeHex(message).value_or("");
  ExtraServices services;
  if (operation.code == "51")
    services = ParseExtraServices(frame.fields[kExtraServices]).value_or(services);
  request.header = EncodeHex(services.header);
  const Coding coding = services.scheme ? CodingOf(*services.scheme) : Coding::kBinary;
  if (request.type == "alphanumeric") {
    request.text = DecodeText(settings_.ucp_alphabet, octets);
  } else if (request.type != "transparent" || coding == Coding::kBinary) {
    request.text = DecodeText(Alphabet::kAscii, message);
  } else {
    request.text =
        coding == Coding::kUcs2 ? DecodeUcs2(octets) : DecodeText(Alphabet::kGsm, octets);
  }
  constexpr std::string_view kNames[] = {"binary", "gsm", "ucs2"};
  if (request.type == "transparent") request.coding = kNames[static_cast<std::size_t>(coding)];
}

std::string UcpCentre::ReadOriginator(const UcpFrame& frame, const Operation& operation) {
  const std::string address = Field(frame, operation.originator);
  const bool packed = operation.code == "51" && frame.fields[kTypeOfOriginator] == kAlphanumeric;
  const auto name = packed ? DecodePackedAddress(address) : std::nullopt;
  return name ? DecodeText(Alphabet::kGsm, *name) : DecodeText(Alphabet::kAscii, address);
}

UcpCentre::Verdict UcpCentre::Judge(const UcpFrame& frame, const Request& request) {
  if (!frame.checksum_ok) return {kChecksum, {}};
  if (!frame.well_formed) return {kSyntax, {}};
  const Operation* const operation = Find(frame.operation);
  if (operation == nullptr) return {kNotSupported, {}};
  if (frame.fields.size() != operation->fields) return {kSyntax, {}};
  if (operation->code == "60") return JudgeLogin(frame);
  if (settings_.login_required && !logged_in_) return {kNotAllowed, {}};
  if (!IsAddress(request.recipient) || !desk_.Serves(request.recipient)) return {kAdCInvalid, {}};
  if (operation->message < 0) return {0, "0000"};  // an alert: so many messages are waiting
  const bool hexadecimal = request.type == "alphanumeric" || request.type == "transparent";
  if (hexadecimal && !DecodeHex(Field(frame, operation->message))) return {kSyntax, {}};
  if (operation->code == "51" && !ParseExtraServices(frame.fields[kExtraServices]))
    return {kSyntax, {}};
  return JudgeMessage(request);
}

UcpCentre::Verdict UcpCentre::JudgeLogin(const UcpFrame& frame) {
  const auto password = DecodeHex(frame.fields[kLoginPassword]);
  if (!password) return {kSyntax, {}};
  const bool known = settings_.password.empty() || *password == settings_.password;
  if (Take(desk_.logins_to_refuse) || !known) return {kAuthentication, {}};
  logged_in_ = true;
  return {0, {}};
}

UcpCentre::Verdict UcpCentre::JudgeMessage(const Request& request) {
  if (request.type.empty()) return {kTypeNotSupported, {}};
  if (request.type == "numeric" &&
      request.text.find_first_not_of("0123456789") != std::string::npos)
    return {kSyntax, {}};
  if (Take(desk_.messages_to_refuse)) return {settings_.ucp_refusal, settings_.ucp_refusal_text};
  return {0, SystemMessage(request.recipient)};
}

std::string UcpCentre::SystemMessage(std::string_view recipient) {
  std::string text = settings_.system_message;
  ReplaceAll(text, "{recipient}", std::string(recipient));
  ReplaceAll(text, "{time}", TimeStamp(line_->Now()));
  return text;
}

std::string UcpCentre::Result(const UcpFrame& frame, const Verdict& verdict) {
  std::vector<std::string> fields = {"A", verdict.text};
  const Operation* const operation = Find(frame.operation);
  if (verdict.error != 0) {
    const std::string text(verdict.text.empty() ? UcpErrorText(verdict.error) : verdict.text);
    fields = {"N", TwoDigits(verdict.error), text};
  } else if (operation->result_fields == 3) {
    fields.insert(fields.begin() + 1, settings_.validity);
  }
  std::string result = BuildUcpResult(frame.trn, frame.operation, fields);
  if (Take(desk_.checksums_to_spoil)) {
    char& digit = result[result.size() - 2];
    digit = digit == '0' ? '1' : '0';
  }
  return result;
}

void UcpCentre::PromiseNotification(const UcpFrame& frame) {
  if (frame.operation != "51" || settings_.notification == Delivery::kNone) return;
  if (!AsksFor(frame, kDeliveries[static_cast<std::size_t>(settings_.notification)])) return;
  line_->After(settings_.notification_delay, [this, frame, now = line_->Now()] {
    if (line_ != nullptr) Notify(frame, now);
  });
}

void UcpCentre::Notify(const UcpFrame& submitted, Millis submitted_at) {
  const DeliveryCode& delivery = kDeliveries[static_cast<std::size_t>(settings_.notification)];
  const bool failed = settings_.notification == Delivery::kFailed;
  const int reason = failed ? settings_.notification_reason : 0;
  const std::string& other = submitted.fields[kNotificationAddress];
  const std::string& address = other.empty() ? submitted.fields[kOriginator] : other;
  const Millis now = line_->Now();

  Request request;
  request.protocol = "UCP";
  request.operation = "53";
  request.type = "alphanumeric";
  request.trn = TwoDigits(next_trn_++ % 100);
  request.recipient = DecodeText(Alphabet::kAscii, address);
  request.originator = submitted.fields[kRecipient];
  request.text = "Message for " + request.originator + ", with identification " +
                 TimeStamp(submitted_at) + std::string(delivery.words) + DateAndTime(now);
  std::vector<std::string> fields(kFields);
  fields[kRecipient] = address;
  fields[kOriginator] = request.originator;
  fields[kSubmittedAt] = TimeStamp(submitted_at);
  fields[kDelivery] = delivery.code;
  fields[kReason] = std::to_string(reason / 100 % 10) + TwoDigits(reason);
  fields[kDeliveredAt] = TimeStamp(now);
  fields[kMessageType] = "3";
  fields[kMessage] = EncodeHex(request.text);
  const std::string frame = BuildUcpFrame(request.trn, 'O', "53", fields);
  request.raw = frame.substr(1, frame.size() - 2);
  line_->Write(frame);
  unanswered_[request.trn] = std::move(request);
}

// The caller's answers will not come any more.
void UcpCentre::GiveUpNotifications() {
  for (const auto& [trn, request] : std::exchange(unanswered_, {})) desk_.Record(request);
}

bool UcpCentre::FallsSilent(const UcpFrame& frame) {
  const SilentAt here = frame.operation == "60" ? SilentAt::kLogin : SilentAt::kMessage;
  if (settings_.silent_at != here) return false;
  HungUp();
  return true;
}

void UcpCentre::WatchSilence() {
  if (line_ == nullptr || settings_.idle_time == Millis{0}) return;
  silence_.Set(*line_, settings_.idle_time, [this] {
    GiveUpNotifications();
    std::exchange(line_, nullptr)->HangUp();
  });
}

}  // namespace mvsms::centre
