// The judgement of a send: from the facts to the one cause, and from the cause, by a table, to what
// is said and done about it.
#include "dispatch/outcome.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/texts.h"
#include "dispatch/answer.h"
#include "media/tapiobject.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

/// Every way in which a send can end.
enum class Cause {
  kAccepted,
  // The centre said no.
  kRefused,
  kRefusedForNow,
  kLoginRefused,
  kLineLoginRefused,
  // Nothing of the message went out.
  kBusy,
  kNoAnswer,
  kNumberNotDialled,
  kCallRejected,
  kCallFailed,
  kCallNotUp,
  kModemInUse,
  kModemGone,
  kPortFailed,
  kNoPrompt,
  kLoginUnanswered,
  kLoginUnclear,
  kLineLost,
  kAborted,
  kBrokenOff,
  // A piece went out.
  kSilence,
  kForeignAnswer,
  kUnclearAnswer,
  kLineLostInDoubt,
  kAbortedInDoubt,
  kRestNotSent,
  // Nothing could go out.
  kNoMessage,
  kRecipient,
  kTooLong,
  kText,
  kNotConfigured,
  kService,
  kProtocol,
  kNoModem,
  kSettings,
};

struct Row {
  Cause cause;
  std::string_view name;
  Outcome outcome;
  Exit exit;
  // Both may hold {service}, {modem}, {number}, {answer} and {error}, see Fill.
  std::string_view reason;
  std::string_view advice;
};

constexpr std::string_view kLater = "try again later";
constexpr std::string_view kTwice = "another attempt may deliver it twice";
constexpr std::string_view kRepeats = "; the pieces accepted so far arrive twice then";

constexpr Row kRows[] = {
    {Cause::kAccepted, "accepted", Outcome::kAccepted, Exit::kAccepted,
     "the message centre has acknowledged the message", ""},

    {Cause::kRefused, "refused", Outcome::kRefused, Exit::kRefused,
     "the message centre refused the message: {answer}",
     "check the recipient's number, the text and the service \"{service}\"; the same message will "
     "be refused again"},
    {Cause::kRefusedForNow, "refused for now", Outcome::kRefused, Exit::kRetry,
     "the message centre did not take the message for now: {answer}", kLater},
    {Cause::kLoginRefused, "login refused", Outcome::kRefused, Exit::kRefused,
     "the message centre refused the login: {answer}",
     "check the password (identifier) of the service \"{service}\""},
    {Cause::kLineLoginRefused, "login refused", Outcome::kRefused, Exit::kRefused,
     "the message centre refused the login: {refusal}",
     "check --login and --password-file of the modem \"{modem}\""},

    {Cause::kBusy, "busy", Outcome::kUnreachable, Exit::kRetry, "the number {number} is busy",
     kLater},
    {Cause::kNoAnswer, "no answer", Outcome::kUnreachable, Exit::kRetry,
     "nobody answers at {number}",
     "try again later; check the number of the service \"{service}\""},
    {Cause::kNumberNotDialled, "number not dialled", Outcome::kUnreachable, Exit::kRetry,
     "the number {number} cannot be dialled",
     "check the number of the service \"{service}\" and the modem \"{modem}\""},
    {Cause::kCallRejected, "call rejected", Outcome::kUnreachable, Exit::kRetry,
     "the call to {number} was rejected", kLater},
    {Cause::kCallFailed, "call failed", Outcome::kUnreachable, Exit::kRetry,
     "the call to {number} failed: no dial tone, no carrier, or the modem \"{modem}\" does not "
     "answer",
     "check the modem and its line; try again later"},
    {Cause::kCallNotUp, "call not up", Outcome::kUnreachable, Exit::kRetry,
     "the call to {number} did not come up: {error}",
     "check the modem \"{modem}\" and its line; try again later"},
    {Cause::kModemInUse, "modem in use", Outcome::kUnreachable, Exit::kRetry,
     "the modem \"{modem}\" is in use by another program", kLater},
    {Cause::kModemGone, "modem gone", Outcome::kUnreachable, Exit::kRetry,
     "the modem \"{modem}\" cannot be used: {error}", "check the modem; try again later"},
    {Cause::kPortFailed, "port failed", Outcome::kUnreachable, Exit::kRetry,
     "the call was up, but its port could not be used: {error}",
     "check the modem \"{modem}\"; try again later"},
    {Cause::kNoPrompt, "no prompt", Outcome::kUnreachable, Exit::kRetry,
     "the message centre at {number} did not ask for a login",
     "try again later; check the number and the line settings of the service \"{service}\""},
    {Cause::kLoginUnanswered, "login unanswered", Outcome::kUnreachable, Exit::kRetry,
     "the message centre did not answer the login", kLater},
    {Cause::kLoginUnclear, "login unclear", Outcome::kUnreachable, Exit::kRetry,
     "the message centre's answer to the login was not understood: {answer}", kLater},
    {Cause::kLineLost, "line lost", Outcome::kUnreachable, Exit::kRetry,
     "the line was lost before the message went out",
     "try again later; some centres hang up on a wrong password, too"},
    {Cause::kAborted, "aborted", Outcome::kUnreachable, Exit::kRetry,
     "the send was aborted before the message went out", "send it again"},
    {Cause::kBrokenOff, "broken off", Outcome::kUnreachable, Exit::kRetry,
     "an unexpected error ended the send before the message went out: {error}", kLater},

    {Cause::kSilence, "silence", Outcome::kUnknown, Exit::kUnknown,
     "the message went out and the message centre did not answer", kTwice},
    {Cause::kForeignAnswer, "foreign answer", Outcome::kUnknown, Exit::kUnknown,
     "the message went out, and what the message centre answered belongs to something else",
     kTwice},
    {Cause::kUnclearAnswer, "unclear answer", Outcome::kUnknown, Exit::kUnknown,
     "the message went out, and the answer is damaged or says neither yes nor no: {answer}",
     "another attempt may deliver it twice; a longer TimeOut of the service \"{service}\" makes "
     "answers cut in two rarer"},
    {Cause::kLineLostInDoubt, "line lost in doubt", Outcome::kUnknown, Exit::kUnknown,
     "the line was lost after the message went out and before it was answered", kTwice},
    {Cause::kAbortedInDoubt, "aborted in doubt", Outcome::kUnknown, Exit::kUnknown,
     "the send was aborted after the message went out and before it was answered", kTwice},
    {Cause::kRestNotSent, "rest not sent", Outcome::kUnknown, Exit::kUnknown,
     "the message centre has taken a part of the message, and the rest did not go out",
     "send the rest; another attempt delivers the first part twice"},

    {Cause::kNoMessage, "no message", Outcome::kUnusable, Exit::kMessage, "the message is empty",
     "give a text"},
    {Cause::kRecipient, "recipient", Outcome::kUnusable, Exit::kMessage,
     "the recipient is no number that can be sent to: {error}",
     "give digits; blanks, - / ( ) between them, and + where ReplacePlus is on"},
    {Cause::kTooLong, "too long", Outcome::kUnusable, Exit::kMessage, "{error}",
     "write less, or raise MaxMessages of the service \"{service}\""},
    {Cause::kText, "text", Outcome::kUnusable, Exit::kMessage,
     "the text has nothing that the service \"{service}\" can send, or a character that it cannot: "
     "{error}",
     "change the text"},
    {Cause::kNotConfigured, "not configured", Outcome::kUnusable, Exit::kSettings,
     "the settings have no default modem or no default service", "set both"},
    {Cause::kService, "service", Outcome::kUnusable, Exit::kSettings,
     "the service \"{service}\" does not exist or takes no message",
     "check its MaxLength and MaxMessages, and where it is named"},
    {Cause::kProtocol, "protocol", Outcome::kUnusable, Exit::kSettings,
     "the settings of the service \"{service}\" cannot be used: {error}",
     "check its Protocol, UCPCommand, MessageType and MaxLength"},
    {Cause::kNoModem, "no modem", Outcome::kUnusable, Exit::kSettings,
     "there is no usable modem \"{modem}\"",
     "check the modem's name in the service \"{service}\" and in DefaultModem"},
    {Cause::kSettings, "settings", Outcome::kUnusable, Exit::kSettings,
     "the settings cannot be used: {error}", "check the settings"},
};

constexpr bool RowsStandInOrder() {
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].cause != static_cast<Cause>(i)) return false;
  }
  return std::size(kRows) == static_cast<std::size_t>(Cause::kSettings) + 1;
}
static_assert(RowsStandInOrder());

const Row& RowOf(Cause cause) { return kRows[static_cast<std::size_t>(cause)]; }

/// The entry of `key` in a table of pairs.
template <class Table, class Key>
auto Find(const Table& table, const Key& key) {
  const auto found = std::find_if(std::begin(table), std::end(table),
                                  [&](const auto& entry) { return entry.first == key; });
  using Value = decltype(found->second);
  return found == std::end(table) ? std::optional<std::remove_const_t<Value>>()
                                  : std::optional<std::remove_const_t<Value>>(found->second);
}

// --- which cause

/// What a step that failed means when nothing else tells.
constexpr std::pair<SendStep, Cause> kOfSteps[] = {
    {SendStep::kNone, Cause::kSettings},      {SendStep::kSettings, Cause::kNotConfigured},
    {SendStep::kMessage, Cause::kNoMessage},  {SendStep::kRecipient, Cause::kRecipient},
    {SendStep::kService, Cause::kService},    {SendStep::kLength, Cause::kTooLong},
    {SendStep::kProtocol, Cause::kProtocol},  {SendStep::kModem, Cause::kModemGone},
    {SendStep::kCall, Cause::kCallNotUp},     {SendStep::kPrompt, Cause::kNoPrompt},
    {SendStep::kLogin, Cause::kLoginUnclear}, {SendStep::kText, Cause::kText},
    {SendStep::kAnswer, Cause::kLineLost},
};
static_assert(std::size(kOfSteps) == kSendStepNames.size());

/// What the errors of the line mean whose number tells more than the step.
constexpr std::pair<std::int32_t, Cause> kOfErrors[] = {
    {kErrDeviceUnknown, Cause::kNoModem},
    {kErrDeviceNoDataModem, Cause::kNoModem},
    {kErrDeviceInUse, Cause::kModemInUse},
    {kErrNoCommHandle, Cause::kPortFailed},
};

constexpr std::pair<CallCause, Cause> kOfCalls[] = {
    {CallCause::kDisconnectBusy, Cause::kBusy},
    {CallCause::kDisconnectBadAddress, Cause::kNumberNotDialled},
    {CallCause::kDisconnectNoAnswer, Cause::kNoAnswer},
    {CallCause::kDisconnectRejected, Cause::kCallRejected},
    {CallCause::kDisconnectFailed, Cause::kCallFailed},
};

constexpr std::pair<AnswerKind, Cause> kOfAnswers[] = {
    {AnswerKind::kNone, Cause::kSilence},
    {AnswerKind::kAcknowledged, Cause::kRestNotSent},
    {AnswerKind::kRefusedForNow, Cause::kRefusedForNow},
    {AnswerKind::kRefused, Cause::kRefused},
    {AnswerKind::kForeign, Cause::kForeignAnswer},
    {AnswerKind::kUnclear, Cause::kUnclearAnswer},
};

bool HasError(const SendReport& report, std::int32_t number) {
  return std::any_of(report.errors.begin(), report.errors.end(),
                     [=](const SendError& error) { return error.number == number; });
}

std::optional<Cause> CauseOfError(const SendReport& report) {
  for (const auto& [number, cause] : kOfErrors) {
    if (HasError(report, number)) return cause;
  }
  return std::nullopt;
}

Cause CauseOnTheWayToTheLine(const SendReport& report) {
  if (report.aborted && report.step == SendStep::kCall) return Cause::kAborted;
  if (const auto cause = CauseOfError(report)) return *cause;
  if (!report.call_refusal.empty()) return Cause::kLineLoginRefused;
  if (HasError(report, kErrUnableToConnect)) {
    if (const auto cause = Find(kOfCalls, report.call_cause)) return *cause;
  }
  return Find(kOfSteps, report.step).value_or(Cause::kSettings);
}

bool LoginWasRefused(const SendReport& report) {
  constexpr std::string_view kForcedEnd = "\x1B\x04";  // ESC EOT
  const std::string& answer = report.login_answer;
  const bool asked_again = answer.find(kNAK) != answer.npos && answer.find(kACK) == answer.npos;
  return asked_again || answer.find(kForcedEnd) != answer.npos;
}

Cause CauseInDialogue(const SendReport& report) {
  if (report.step == SendStep::kLogin && LoginWasRefused(report)) return Cause::kLoginRefused;
  if (report.aborted) return Cause::kAborted;
  if (report.line_end == LineEnd::kLost) return Cause::kLineLost;
  const bool heard_nothing = report.login_answer.empty();
  if (report.step == SendStep::kLogin && heard_nothing) return Cause::kLoginUnanswered;
  return *Find(kOfSteps, report.step);
}

/// An error that no step foresees: in the settings, or with the line.
Cause CauseOfBreakingOff(const SendReport& report) {
  if (report.step == SendStep::kProtocol) return Cause::kProtocol;
  return report.step < SendStep::kModem ? Cause::kSettings : Cause::kBrokenOff;
}

/// No piece went out.
Cause CauseBefore(const SendReport& report) {
  if (report.unforeseen) return CauseOfBreakingOff(report);
  if (report.step == SendStep::kModem || report.step == SendStep::kCall) {
    return CauseOnTheWayToTheLine(report);
  }
  if (report.step == SendStep::kPrompt || report.step == SendStep::kLogin) {
    return CauseInDialogue(report);
  }
  return *Find(kOfSteps, report.step);
}

/// `piece` is the first that was not acknowledged.
Cause CauseInDoubt(const SendReport& report, const SentPiece& piece) {
  const AnswerKind kind = ReadAnswer(report.protocol, piece);
  if (kind != AnswerKind::kNone) return *Find(kOfAnswers, kind);
  if (report.aborted) return Cause::kAbortedInDoubt;
  return report.line_end == LineEnd::kLost ? Cause::kLineLostInDoubt : Cause::kSilence;
}

std::int32_t CountAcknowledged(const SendReport& report) {
  const auto first_other =
      std::find_if(report.pieces.begin(), report.pieces.end(), [&](const SentPiece& piece) {
        return ReadAnswer(report.protocol, piece) != AnswerKind::kAcknowledged;
      });
  return static_cast<std::int32_t>(first_other - report.pieces.begin());
}

Cause FindCause(const SendReport& report, std::int32_t acknowledged) {
  const auto taken = static_cast<std::size_t>(acknowledged);
  if (taken > 0 && acknowledged == report.pieces_in_all) return Cause::kAccepted;
  const bool in_doubt = taken < report.pieces.size() && report.pieces[taken].out;
  if (in_doubt) return CauseInDoubt(report, report.pieces[taken]);
  if (taken == 0) return CauseBefore(report);
  return report.step == SendStep::kText ? Cause::kText : Cause::kRestNotSent;
}

// --- what is said

/// The printable part of an answer: its words, with one blank where there was anything else.
std::string Words(std::string_view answer) {
  std::string words;
  for (const char c : answer) {
    const bool printable = static_cast<unsigned char>(c) > ' ' && c != 127;
    if (printable) words += c;
    if (!printable && !words.empty() && words.back() != ' ') words += ' ';
  }
  words = Trim(words);
  return words.empty() ? "no words" : "\"" + words + "\"";
}

/// The first error says what failed; those after it, what failed because of it.
std::string FirstError(const SendReport& report) {
  return report.errors.empty() ? "no reason was given" : report.errors.front().description;
}

std::string Fill(std::string_view text, const SendReport& report) {
  const std::pair<std::string_view, std::string> fields[] = {
      {"{service}", report.service},
      {"{modem}", report.modem},
      {"{number}", report.dialled.empty() ? "the message centre" : report.dialled},
      {"{answer}", Words(DecidingAnswer(report))},
      {"{refusal}", Words(report.call_refusal)},
      {"{error}", FirstError(report)},
  };
  std::string filled(text);
  for (const auto& [field, value] : fields) filled = ReplaceAll(filled, field, value);
  return filled;
}

std::string Share(const SendReport& report, std::int32_t accepted) {
  return " (" + std::to_string(accepted) + " of " + std::to_string(report.pieces_in_all) +
         " pieces accepted)";
}

}  // namespace

Judgement Judge(const SendReport& report) {
  const std::int32_t accepted = CountAcknowledged(report);
  const Row& row = RowOf(FindCause(report, accepted));
  const bool in_part = accepted > 0 && row.outcome != Outcome::kAccepted;
  const bool again = in_part && row.exit == Exit::kRetry;
  const std::string reason =
      Fill(row.reason, report) + (in_part ? Share(report, accepted) : std::string());
  const std::string advice = Fill(row.advice, report) + (again ? std::string(kRepeats) : "");
  return {row.outcome, WithoutPassword(report, reason), WithoutPassword(report, advice),
          static_cast<int>(row.exit), accepted};
}

std::string WithoutPassword(const SendReport& report, const std::string& text) {
  return report.secret.empty() ? text : ReplaceAll(text, report.secret, "(hidden)");
}

std::string DecidingAnswer(const SendReport& report) {
  return WithoutPassword(report,
                         report.pieces.empty() ? report.login_answer : report.pieces.back().answer);
}

}  // namespace mvsms::dispatch
