#include "cli/send_run.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/modem_wait.h"
#include "cli/send_record.h"
#include "cli/store.h"
#include "cli/system.h"
#include "dispatch/outcome.h"
#include "dispatch/status_lines.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "media/apartment.h"

namespace mvsms::cli {
namespace {

using dispatch::Outcome;

constexpr std::uint32_t kWatchMs = 100;
constexpr int kSignalBase = 128;  // a shell's exit code of a program that a signal ended
constexpr long long kLongestTimeout = 86400;

/// Local time as ISO 8601 has it.
std::string Moment(const CalendarTime& time) {
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text.data();
}

// One send with everything it reported.
class SendRun {
 public:
  SendRun(Context& context, const SendOptions& options)
      : context_(context),
        options_(options),
        timeout_(ReadTimeout(options)),
        wait_(context, options),
        apartment_(context.platform()),
        sender_(apartment_),
        recipient_(AnsiFromUtf8(options.to)),
        service_(AnsiFromUtf8(options.service)) {
    sender_.HostAppName = AnsiFromUtf8(context.profile);
    sender_.LogFilePath = LogPath(options.log);
    sender_.OnStatusChange = [this](std::string& status) { TakeStatus(status); };
  }

  /// The exit code. The message is on its way or not by then, so an output that cannot be written
  /// does not change it.
  int Run() {
    SendRecord record(context_, options_);
    Send();
    const dispatch::Judgement raw = Judged();
    record.Close(recipient_, service_, Member(), Report(), raw);
    const dispatch::Judgement judgement = InWords(raw);
    try {
      if (context_.json) PrintResult(record.id(), judgement);
      context_.out.flush();
    } catch (const std::exception& error) {
      context_.Warn(error.what());
    }
    if (judgement.exit_code != kExitAccepted)
      Explain(judgement);
    else if (!accepted_)
      MendTheLastLine();
    return judgement.exit_code;
  }

 private:
  static std::optional<std::chrono::seconds> ReadTimeout(const SendOptions& options) {
    if (options.timeout.empty()) return std::nullopt;
    return std::chrono::seconds(ParseNumber("--timeout", options.timeout, 1, kLongestTimeout));
  }

  void Send() {
    if (options_.signal != nullptr && *options_.signal != 0) return GiveUp(*options_.signal);
    const InterruptWatch watch;
    Timers& timers = context_.platform().timers();
    const auto start = context_.platform().clock().Now();
    const TimerId timer = timers.SetTimer(kWatchMs, [&](TimerId) {
      const bool late = timeout_ && context_.platform().clock().Now() - start >= *timeout_;
      if ((late || watch.Signal() != 0) && !aborted_) Abort();
    });
    Attempt();
    if (!aborted_ && wait_.IsWorthwhileAfter(Report())) Attempt();
    timers.KillTimer(timer);
    signal_ = watch.Signal();
    if (options_.signal != nullptr) *options_.signal = signal_;
  }

  /// After Ctrl-C nobody wants the sends that were to follow.
  void GiveUp(int signal) {
    aborted_ = true;
    signal_ = signal;
    given_up_ = wait_.Aborted();
  }

  void Attempt() {
    wait_.Run(aborted_);
    if (aborted_) {
      given_up_ = wait_.Aborted();
      return;
    }
    std::string message = AnsiFromUtf8(options_.text);
    std::string from = AnsiFromUtf8(options_.from);
    recipient_ = AnsiFromUtf8(options_.to);
    service_ = AnsiFromUtf8(options_.service);
    accepted_ = sender_.SendMessage(recipient_, from, message, service_);
  }

  /// The modem of a pool that the call went over; none of a send that was given up before.
  std::string Member() const { return given_up_ ? "" : MemberUsed(context_, Report().modem); }

  const SendReport& Report() const { return given_up_ ? *given_up_ : sender_.Report(); }

  void Abort() {
    aborted_ = true;
    sender_.AbortAction();
  }

  /// As the report has it; but a signal that came while nothing was accepted, nor may have been,
  /// ends this program as it would have ended any other.
  dispatch::Judgement Judged() {
    dispatch::Judgement judgement = dispatch::Judge(Report());
    const bool nothing_sent = judgement.outcome != Outcome::kAccepted &&
                              judgement.outcome != Outcome::kUnknown &&
                              judgement.pieces_accepted == 0;
    if (signal_ != 0 && nothing_sent) judgement.exit_code = kSignalBase + signal_;
    return judgement;
  }

  /// For people: in UTF-8, and with the better advice that the settings give.
  dispatch::Judgement InWords(dispatch::Judgement judgement) {
    judgement.reason = Utf8FromAnsi(judgement.reason);
    judgement.advice = Advice(judgement);
    return judgement;
  }

  /// What to do; and what the line knows of a call that failed, or of a modem that took none.
  std::string Advice(const dispatch::Judgement& judgement) {
    if (const std::string hint = Hint(); !hint.empty()) return hint;
    const std::string advice = Utf8FromAnsi(judgement.advice);
    const std::string trouble = TroubleOfTheLine(judgement.outcome);
    return trouble.empty() ? advice : advice + "; " + trouble;
  }

  std::string TroubleOfTheLine(Outcome outcome) {
    if (given_up_) return wait_.obstacle();
    const bool open = outcome == Outcome::kUnreachable || outcome == Outcome::kUnknown;
    return open && Report().step >= SendStep::kModem ? ModemInUse(context_, Report().modem) : "";
  }

  void TakeStatus(const std::string& status) {
    const auto added = status_.Next(Report(), status);
    if (!added) return;
    const std::string line = Utf8FromAnsi(*added);
    lines_.push_back(line);
    if (context_.json || options_.quiet) return;
    context_.out << Printable(line.substr(0, line.find_last_not_of("\r\n") + 1)) << std::endl;
  }

  void PrintResult(const std::string& id, const dispatch::Judgement& judgement) {
    const SendReport& report = Report();
    Json errors = Json::array();
    for (const SendError& error : report.errors) {
      errors.push_back({{"number", error.number},
                        {"description", Shown(error.description)},
                        {"module", error.source}});
    }
    context_.PrintJson(
        {{"id", id},
         {"outcome", dispatch::NameOf(judgement.outcome)},
         {"reason", judgement.reason},
         {"advice", judgement.advice},
         {"exit_code", judgement.exit_code},
         {"result", accepted_},
         {"retry_suggested", sender_.RetrySuggested},
         {"aborted", aborted_},
         {"recipient", Utf8FromAnsi(recipient_)},
         {"pieces", {{"all", report.pieces_in_all}, {"accepted", judgement.pieces_accepted}}},
         {"service", Utf8FromAnsi(given_up_ ? report.service : service_)},
         {"modem", Utf8FromAnsi(report.modem)},
         {"member", Utf8FromAnsi(Member())},
         {"dialled", Utf8FromAnsi(report.dialled)},
         {"started", Moment(report.started)},
         {"ended", Moment(report.ended)},
         {"answer", Printable(Utf8FromAnsi(dispatch::DecidingAnswer(report)))},
         {"errors", errors},
         {"status", lines_}});
  }

  std::string Shown(const std::string& ansi) const {
    return Utf8FromAnsi(dispatch::WithoutPassword(Report(), ansi));
  }

  /// The lines of the component call a message failed whose acknowledgement only looks odd.
  void MendTheLastLine() {
    if (!options_.quiet && !context_.json) {
      context_.Warn("the message was accepted all the same: the answer is a sound acknowledgement");
    }
  }

  void Explain(const dispatch::Judgement& judgement) {
    const std::string whom = options_.one_of_several ? "to " + options_.to + ": " : "";
    context_.Warn(Printable(whom + judgement.reason + "; " + judgement.advice));
  }

  // What a look at the settings and the devices adds to the advice; "" when nothing does. The send
  // is over: settings that cannot be read now cost this hint and nothing else.
  std::string Hint() try {
    if (given_up_) return "";
    ProfileStore store(context_);
    const SendStep step = Report().step;
    if (step == SendStep::kSettings) return ProfileGaps(context_);
    if (step == SendStep::kRecipient) return HintOnRecipient(store);
    if (step == SendStep::kService) return HintOnService(store);
    return step == SendStep::kModem ? HintOnModem() : "";
  } catch (const std::exception&) {
    return "";
  }

  std::string HintOnRecipient(ProfileStore& store) const {
    return options_.to.starts_with('+') && store.Get(setting::kReplacePlus) != "1" ? kPlusHint : "";
  }

  std::string HintOnService(ProfileStore& store) const {
    if (service_.empty() || store.Exists(store.Service(service_))) return "";
    return "there is no service \"" + Utf8FromAnsi(service_) + "\"; see 'mvsms service list'";
  }

  std::string HintOnModem() const {
    const std::string& modem = Report().modem;
    if (ModemExists(context_, modem)) return "";
    return "there is no modem \"" + Utf8FromAnsi(modem) + "\"; see 'mvsms modem list'";
  }

  Context& context_;
  const SendOptions& options_;
  const std::optional<std::chrono::seconds> timeout_;
  ModemWait wait_;
  Apartment apartment_;
  Sender sender_;
  std::string recipient_;
  std::string service_;
  bool accepted_ = false;
  bool aborted_ = false;
  std::optional<SendReport> given_up_;  // aborted before the send began
  int signal_ = 0;                      // that came during the send
  dispatch::StatusLines status_;
  std::vector<std::string> lines_;
};

// From the best to the worst: what another attempt may cure, what it may double, what it cannot
// cure, what nobody can cure but who wrote the message or the settings; and the end by a signal.
constexpr dispatch::Exit kByWeight[] = {dispatch::Exit::kAccepted, dispatch::Exit::kRetry,
                                        dispatch::Exit::kUnknown,  dispatch::Exit::kRefused,
                                        dispatch::Exit::kMessage,  dispatch::Exit::kSettings};

}  // namespace

bool ByWeight(int exit_code, int other) {
  const auto weight = [](int code) {
    return std::find(std::begin(kByWeight), std::end(kByWeight), static_cast<dispatch::Exit>(code));
  };
  return weight(exit_code) < weight(other);
}

int SendOnce(Context& context, const SendOptions& options) {
  return SendRun(context, options).Run();
}

}  // namespace mvsms::cli
