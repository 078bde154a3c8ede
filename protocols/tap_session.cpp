// The TAP dialogue. The centre speaks only when spoken to and its next answer is known, so each
// step is a function that says something, waits and looks at what came.
#include "protocols/tap_session.h"

#include <string_view>

#include "protocols/bastap.h"
#include "protocols/control_codes.h"
#include "protocols/waits.h"

namespace mvsms {
namespace {

using namespace tap_wait;

using basTAP::ControlCodesToNames;

constexpr char kLoginLocation[] = "Sender.DoTAPLogin";
constexpr char kMessageLocation[] = "Sender.SendTapMessage";

constexpr std::int32_t kErrLogin = 58;
constexpr std::int32_t kErrNoGoAhead = 59;
constexpr std::int32_t kErrMessageText = 62;
constexpr std::int32_t kErrCheckSum = 64;
constexpr std::int32_t kErrNoAcknowledgement = 68;

constexpr std::string_view kPrompt = "ID=";
constexpr char kDefaultTerminalId[] = "PG1";
constexpr std::string_view kGoAhead = "[p";
constexpr std::string_view kLoginAccepted = "\r\x06\r";  // CR ACK CR
constexpr std::string_view kForcedEnd = "\x1B\x04";      // ESC EOT

void DiscardInput(SessionHost& host) { static_cast<void>(host.Medium().Receive()); }

void LetLineSettle(SessionHost& host) {
  DiscardInput(host);
  host.Pause(kAfterConnect);
  host.AddStatus("Initiating TAP Login Session");
}

// True when the centre asks who is calling.
bool AwaitPrompt(SessionHost& host) {
  for (int attempt = 1;; ++attempt) {
    host.Medium().Send(std::string(1, kCR));
    host.AddStatus("Sending <CR>");
    host.Pause(kPromptPoll);
    const std::string answer = host.Medium().Receive();
    host.AddStatus("Transmitter Response: " + answer);
    if (AbortRequested(host)) return false;
    if (answer.starts_with(kPrompt)) {
      host.AddStatus("Received Logon prompt: " + ControlCodesToNames(answer));
      return true;
    }
    if (attempt == kPromptAttempts) {
      host.ReportError(kErrLogin, "Time limit exceeded waiting for TAP login prompt ('ID=')",
                       kLoginLocation);
      return false;
    }
  }
}

void LetPromptFinish(SessionHost& host) {
  host.Pause(kAroundPrompt);
  DiscardInput(host);
  host.Pause(kAroundPrompt);
}

void SendTerminalId(SessionHost& host, const std::string& terminal_id) {
  DiscardInput(host);
  host.AddStatus("Sending Terminal ID: " + terminal_id);
  host.Medium().Send(kESC + terminal_id + kCR);
}

enum class LoginAnswer { kNone, kLetIn, kAccepted, kRefused, kEnded, kUnknown };

// An answer's meaning is that of the first of these that it contains, wherever in it: line noise
// and several answers in one are common.
LoginAnswer Classify(std::string_view answer) {
  static constexpr struct {
    std::string_view mark;
    LoginAnswer meaning;
  } kMeanings[] = {
      {kGoAhead, LoginAnswer::kLetIn},
      {kLoginAccepted, LoginAnswer::kAccepted},
      {std::string_view(&kNAK, 1), LoginAnswer::kRefused},
      {kForcedEnd, LoginAnswer::kEnded},
  };
  if (answer.empty()) return LoginAnswer::kNone;
  for (const auto& [mark, meaning] : kMeanings)
    if (answer.find(mark) != answer.npos) return meaning;
  return LoginAnswer::kUnknown;
}

void EnterSession(SessionHost& host, const std::string& answer) {
  host.AddStatus("Transmitter acknowledge: " + ControlCodesToNames(answer));
  host.logged_in = true;
}

void RejectLoginAnswer(SessionHost& host, const std::string& answer) {
  host.ReportError(kErrLogin, "TAP response not understood: " + ControlCodesToNames(answer),
                   kLoginLocation);
}

// One poll without an answer. True when it was the last. The login is not sent again, whatever the
// line says: a second one would meet a centre that is still checking the first.
bool GiveUpLogin(SessionHost& host, int silent_polls) {
  host.AddStatus("Error Logging In (Terminal ID error).  Will Attempt Again");
  if (silent_polls < kLoginPolls) return false;
  host.ReportError(kErrNoGoAhead, "Time limit exceeded waiting for TAP login acknowledge ('[p')",
                   kLoginLocation);
  return true;
}

// True when the centre refused the identifier and should get it again; otherwise the login is over,
// and `host.logged_in` says how. Refusals are not counted: a centre that has had enough of them
// forces the end itself.
bool AwaitGoAhead(SessionHost& host) {
  int silent_polls = 0;
  for (;;) {
    host.Pause(kLoginPoll);
    if (AbortRequested(host)) return false;
    const std::string answer = host.Medium().Receive();
    host.Heard(answer);
    switch (Classify(answer)) {
      case LoginAnswer::kNone:
        if (GiveUpLogin(host, ++silent_polls)) return false;
        break;
      case LoginAnswer::kLetIn:
        EnterSession(host, answer);
        return false;
      case LoginAnswer::kAccepted:  // the go-ahead is still to come
        break;
      case LoginAnswer::kRefused:
        return true;
      case LoginAnswer::kEnded:
        return false;
      case LoginAnswer::kUnknown:
        RejectLoginAnswer(host, answer);
        return false;
    }
  }
}

// STX, pager, CR, text, CR, ETX, checksum, CR. Empty after a reported error.
std::string BuildBlock(SessionHost& host, const std::string& pager, const std::string& message,
                       std::int32_t message_type) {
  std::string reason;
  const std::string text = basTAP::CheckTAPMessageText(message, reason, message_type);
  if (text.empty()) {
    host.ReportError(kErrMessageText, "Error checking TAP MessageText: " + reason,
                     kMessageLocation);
    return {};
  }
  const std::string block = kSTX + pager + kCR + text + kCR + kETX;
  const std::string checksum = basTAP::CalcTAPCheckSum(block, reason);
  if (checksum.empty()) {
    host.ReportError(kErrCheckSum, "Error in calculating TAP checksum: " + reason,
                     kMessageLocation);
    return {};
  }
  return block + checksum + kCR;
}

// Any answer ends the wait. The mark is searched for in the notation that the log shows.
bool IsAcknowledged(SessionHost& host, const std::string& answer) {
  host.Heard(answer);
  const std::string shown = ControlCodesToNames(answer);
  host.AddStatus("Response received: " + shown);
  const bool acknowledged = shown.find("<ACK>") != shown.npos;
  if (!acknowledged) host.retry = true;
  return acknowledged;
}

bool AwaitAcknowledgement(SessionHost& host) {
  for (int poll = 1; poll <= kAcknowledgementPolls; ++poll) {
    host.Pause(kAcknowledgementPoll);
    if (AbortRequested(host)) return false;
    const std::string answer = host.Medium().Receive();
    if (!answer.empty()) return IsAcknowledged(host, answer);
  }
  // The location is the login's here too: hosts know this error by it.
  host.ReportError(kErrNoAcknowledgement,
                   "Retry limit exceeded waiting for TAP message response ('<ACK>')",
                   kLoginLocation);
  return false;
}

}  // namespace

void DoTAPLogin(SessionHost& host, ServiceRecord& Service) {
  host.Reached(SendStep::kPrompt);
  LetLineSettle(host);
  if (!AwaitPrompt(host)) return;
  if (Service.Password.empty()) Service.Password = kDefaultTerminalId;
  if (AbortRequested(host)) return;
  LetPromptFinish(host);
  if (AbortRequested(host)) return;
  host.Reached(SendStep::kLogin);
  do {
    SendTerminalId(host, Service.Password);
  } while (AwaitGoAhead(host));
}

bool SendTapMessage(SessionHost& host, const std::string& Recipient,
                    [[maybe_unused]] const std::string& Sender, std::string& Message,
                    ServiceRecord& Service, [[maybe_unused]] std::int32_t TRN) {
  if (!host.logged_in) DoTAPLogin(host, Service);
  if (!host.logged_in) return false;
  if (Message.empty()) Message = " ";
  host.Reached(HasMessageType(Service) ? SendStep::kText : SendStep::kProtocol);
  const std::string block = BuildBlock(host, Recipient, Message, Service.MessageType);
  if (block.empty()) return false;
  host.Pause(Service.TimeOut);
  host.AddStatus("Sending TAP Message: " + ControlCodesToNames(block));
  host.HandsOver(block);
  host.Medium().Send(block);
  return AwaitAcknowledgement(host);
}

}  // namespace mvsms
