// mvsms send: one message to one recipient, its progress as it comes, and an exit code that says
// how it ended.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/store.h"
#include "cli/system.h"
#include "engine/sender.h"
#include "media/apartment.h"

namespace mvsms::cli {
namespace {

constexpr std::uint32_t kWatchMs = 100;

struct SendOptions {
  std::string to;
  std::string from;
  std::string service;
  std::string log;
  std::string text;
  bool quiet = false;
};

struct ReportedError {
  std::int32_t number;
  std::string description;  // UTF-8
  std::string module;
};

// One send with everything it reported.
class SendRun {
 public:
  SendRun(Context& context, const SendOptions& options)
      : context_(context),
        options_(options),
        apartment_(context.platform()),
        sender_(apartment_),
        recipient_(AnsiFromUtf8(options.to)),
        service_(AnsiFromUtf8(options.service)) {
    sender_.HostAppName = AnsiFromUtf8(context.profile);
    sender_.LogFilePath = AnsiFromUtf8(options.log);
    sender_.OnStatusChange = [this](std::string& status) { TakeStatus(status); };
    sender_.OnError = [this](std::int32_t& number, std::string& description, std::string& module) {
      errors_.push_back({number, Utf8FromAnsi(description), module});
    };
  }

  int Run() {
    Send();
    if (context_.json) PrintResult();
    if (!accepted_) PrintErrors();
    if (accepted_) return kExitAccepted;
    return sender_.RetrySuggested ? kExitRetry : kExitFailed;
  }

 private:
  void Send() {
    const InterruptWatch watch;
    Timers& timers = context_.platform().timers();
    const TimerId timer = timers.SetTimer(kWatchMs, [&](TimerId) {
      if (watch.Interrupted() && !aborted_) Abort();
    });
    std::string message = AnsiFromUtf8(options_.text);
    std::string from = AnsiFromUtf8(options_.from);
    accepted_ = sender_.SendMessage(recipient_, from, message, service_);
    timers.KillTimer(timer);
  }

  void Abort() {
    aborted_ = true;
    sender_.AbortAction();
  }

  // The event brings all lines; the new one follows what was there before and a line end.
  void TakeStatus(const std::string& status) {
    if (status.size() <= taken_) return;
    const std::string line = Utf8FromAnsi(status.substr(taken_ + 2));
    taken_ = status.size();
    lines_.push_back(line);
    if (context_.json || options_.quiet) return;
    // Only the line that begins a send ends in a line end of its own.
    context_.out << Printable(line.substr(0, line.find_last_not_of("\r\n") + 1)) << std::endl;
  }

  void PrintResult() {
    Json errors = Json::array();
    for (const ReportedError& error : errors_) {
      errors.push_back(
          {{"number", error.number}, {"description", error.description}, {"module", error.module}});
    }
    context_.PrintJson({{"result", accepted_},
                        {"retry_suggested", sender_.RetrySuggested},
                        {"aborted", aborted_},
                        {"recipient", Utf8FromAnsi(recipient_)},
                        {"service", Utf8FromAnsi(service_)},
                        {"errors", errors},
                        {"status", lines_}});
  }

  void PrintErrors() {
    context_.out.flush();
    for (const ReportedError& error : errors_) {
      context_.Warn("error " + std::to_string(error.number) + ": " + Printable(error.description));
    }
    // A refusal of the centre is no error: it stands in the status lines.
    if (options_.quiet && errors_.empty()) context_.Warn(LastAnswer());
    const std::string obstacle = Obstacle();
    if (!obstacle.empty()) context_.Warn(obstacle);
    context_.Warn(aborted_                 ? "the send was aborted"
                  : sender_.RetrySuggested ? "the message was not accepted; a retry makes sense"
                                           : "the message was not accepted");
  }

  // The last line before the call was closed.
  std::string LastAnswer() const {
    const auto closing = std::find(lines_.rbegin(), lines_.rend(), "Closing connection..");
    return Printable(closing == lines_.rend() ? lines_.back() : *std::next(closing));
  }

  // What in the settings kept the message from going out, as far as a look at them tells; "" when
  // nothing did. The send is over: settings that cannot be read now cost this hint, not the exit
  // code.
  std::string Obstacle() try {
    ProfileStore store(context_);
    if (options_.to.starts_with('+') && store.Get(setting::kReplacePlus) != "1") return kPlusHint;
    if (service_.empty()) return "";
    if (!store.Exists(store.Service(service_))) {
      return "there is no service \"" + Utf8FromAnsi(service_) + "\"; see 'mvsms service list'";
    }
    std::string modem = store.Get(store.Service(service_), setting::kModemName);
    if (modem.empty() || NamesDefaultModem(modem)) modem = store.Get(setting::kDefaultModem);
    if (!ModemExists(context_, modem)) {
      return "there is no modem \"" + Utf8FromAnsi(modem) + "\"; see 'mvsms modem list'";
    }
    return ModemInUse(context_, modem);
  } catch (const std::exception&) {
    return "";
  }

  Context& context_;
  const SendOptions& options_;
  Apartment apartment_;
  Sender sender_;
  std::string recipient_;
  std::string service_;
  bool accepted_ = false;
  bool aborted_ = false;
  std::size_t taken_ = 0;  // characters of Status seen so far
  std::vector<std::string> lines_;
  std::vector<ReportedError> errors_;
};

// The line end that every tool puts behind its output is no part of the message.
std::string ReadText(std::istream& in) {
  std::string text{std::istreambuf_iterator<char>(in), {}};
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

void CheckOptions(Context& context, const SendOptions& options) {
  ProfileStore store(context);
  if (!options.service.empty()) ExistingService(store, options.service);
  if (!HasAnsiForm(options.log)) {
    throw UsageError("--log: the path \"" + Printable(options.log) +
                     "\" has characters outside Windows-1252");
  }
  if (options.from.find('/') != std::string::npos) {
    throw UsageError("--from must not contain \"/\", which divides the fields of a UCP message");
  }
}

// What the message will lack, or the log; the message goes out all the same.
void WarnOfLosses(Context& context, const SendOptions& options) {
  if (!HasAnsiForm(options.text)) {
    context.Warn("the message has characters outside Windows-1252; each is sent as \"?\"");
  }
  if (!options.log.empty() &&
      !context.platform().text_file().Append(AnsiFromUtf8(options.log), "")) {
    context.Warn("cannot write the log " + options.log);
  }
}

void Run(Context& context, SendOptions& options) {
  CheckOptions(context, options);
  if (options.text == "-") options.text = ReadText(context.in);
  WarnOfLosses(context, options);
  context.exit_code = SendRun(context, options).Run();
}

}  // namespace

void AddSendCommand(CLI::App& app, Context& context) {
  auto options = std::make_shared<SendOptions>();
  CLI::App* const command = AddCommand(
      app, context, "send", "Send a message and wait until the message centre has taken it",
      "  mvsms send --to 01711234567 \"Pump 3 has stopped\"\n"
      "  uptime | mvsms send --to 01711234567 --service Pager --quiet -\n"
      "  mvsms send --to 01711234567 --json -- \"-5 degrees in room 2\"\n"
      "Exit code: 0 accepted, 1 failed (a busy line, too), 2 wrong usage, 75 the centre was\n"
      "reached but did not accept, and a retry makes sense.\n"
      "Ctrl-C aborts and hangs up; a second one ends the program at once.\n"
      "With --json one object is printed at the end: result, retry_suggested, aborted,\n"
      "recipient (as dialled into the routing table), service, errors, status (all lines).");
  command->add_option("--to", options->to, "The recipient's number")->required();
  command->add_option("--from", options->from, "The sender's name or number (UCP only)");
  command->add_option("--service", options->service,
                      "Message centre (default: by the routes, else DefaultService)");
  command->add_option("--log", options->log, "Append the progress to this send log");
  command->add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
  command->add_option("TEXT", options->text, "The message; \"-\" reads it from standard input")
      ->required();
  command->callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
