// mvsms send: the command's options, and what is checked before anything is sent.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/dry_run.h"
#include "cli/json.h"
#include "cli/queue_send.h"
#include "cli/send_record.h"
#include "cli/send_run.h"
#include "cli/store.h"
#include "cli/system.h"
#include "dispatch/outcome.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using dispatch::Exit;
using dispatch::Judgement;
using dispatch::Outcome;

struct SendAll {
  std::vector<std::string> recipients;
  SendOptions options;  // of each send
  QueueOptions queue;
};

// The line end that every tool puts behind its output is no part of the message.
std::string ReadText(std::istream& in) {
  std::string text{std::istreambuf_iterator<char>(in), {}};
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

void CheckOptions(Context& context, const SendAll& all) {
  const SendOptions& options = all.options;
  ProfileStore store = ExistingProfile(context);
  const bool known_here = !all.queue.queue || QueueIsHere();
  if (!options.service.empty() && known_here) ExistingService(store, options.service);
  if (!HasAnsiForm(options.log)) {
    throw UsageError("--log: the path \"" + Printable(options.log) +
                     "\" has characters outside Windows-1252");
  }
  if (options.from.find('/') != std::string::npos) {
    throw UsageError("--from must not contain \"/\", which divides the fields of a UCP message");
  }
}

bool WantsFit(Context& context, const SendOptions& options) {
  return options.fit.value_or(SettingOrInitial(context, setting::kFit) == "1");
}

// What the message will lack, or the log; the message goes out all the same.
void WarnOfLosses(Context& context, const SendOptions& options) {
  if (!WantsFit(context, options) && !HasAnsiForm(options.text)) {
    context.Warn("the message has characters outside Windows-1252; each is sent as \"?\"");
  }
  if (!options.log.empty() &&
      !context.platform().text_file().Append(AnsiFromUtf8(options.log), "")) {
    context.Warn("cannot write the log " + options.log + "; the message goes out without it");
  }
}

// The sender would find the same log in its settings, but only after the line that begins a send
// and names the recipient.
void TakeLogOfProfile(Context& context, SendOptions& options) {
  Settings settings;
  std::string profile = AnsiFromUtf8(context.profile);
  GetSettings(context.platform().registry(), profile, settings);
  if (settings.WriteLogfile && options.log.empty()) options.log = DefaultLog(context);
}

Judgement NotBegun(Outcome outcome, Exit exit, const std::exception& error) {
  Judgement judgement;
  judgement.outcome = outcome;
  judgement.exit_code = static_cast<int>(exit);
  judgement.reason = AnsiFromUtf8(error.what());
  return judgement;
}

// Tells that no message went out, of each one; returns the exit code.
int Tell(Context& context, const SendAll& all, const Judgement& judgement) {
  const std::string reason = Utf8FromAnsi(judgement.reason);
  context.Warn(reason);
  for (const std::string& recipient : all.recipients) {
    SendOptions options = all.options;
    options.to = recipient;
    const std::string id = RecordNotBegun(context, options, judgement);
    if (!context.json) continue;
    context.PrintJson({{"id", id},
                       {"outcome", NameOf(judgement.outcome)},
                       {"reason", reason},
                       {"advice", ""},
                       {"exit_code", judgement.exit_code},
                       {"result", false},
                       {"recipient", recipient},
                       {"pieces", {{"all", 0}, {"accepted", 0}}}});
  }
  return judgement.exit_code;
}

// Settings that cannot even be read are no refusal of the message centre.
bool SettingsServe(Context& context, const SendAll& all) try {
  CheckOptions(context, all);
  return true;
} catch (const UsageError&) {
  throw;
} catch (const Busy& error) {
  context.exit_code = Tell(context, all, NotBegun(Outcome::kUnreachable, Exit::kRetry, error));
  return false;
} catch (const std::exception& error) {
  context.exit_code = Tell(context, all, NotBegun(Outcome::kUnusable, Exit::kSettings, error));
  return false;
}

int SendTo(Context& context, SendOptions options) {
  const DryRun run{
      options.to,   options.from, options.service, options.text, WantsFit(context, options),
      options.quiet};
  if (options.dry_run) return PrintDryRun(context, run);
  if (run.fit) options.text = FitForSend(context, run);
  return SendOnce(context, options);
}

// One send after the other.
void SendToAll(Context& context, const SendAll& all) {
  const bool several = all.recipients.size() > 1;
  int signal = 0;
  for (const std::string& recipient : all.recipients) {
    SendOptions options = all.options;
    options.to = recipient;
    options.one_of_several = several;
    options.signal = &signal;
    context.exit_code = std::max(context.exit_code, SendTo(context, options), ByWeight);
  }
}

// In the place of each group those that it stands for.
void FindRecipients(Context& context, SendAll& all) {
  std::vector<std::string> found;
  for (const std::string& to : all.recipients) {
    const std::vector<std::string> meant = RecipientsOf(context, to);
    found.insert(found.end(), meant.begin(), meant.end());
  }
  all.recipients = std::move(found);
  context.json_lines = all.recipients.size() > 1;
}

void Run(Context& context, SendAll& all) {
  SendOptions& options = all.options;
  context.json_lines = all.recipients.size() > 1;
  if (!SettingsServe(context, all)) return;
  if (options.text == "-") options.text = TakenAsUtf8(context, "the text", ReadText(context.in));
  if (all.queue.queue) {
    if (QueueIsHere()) options.fit = WantsFit(context, options);
    return QueuePages(context, all.recipients, options, all.queue);
  }
  FindRecipients(context, all);
  if (!options.dry_run) {
    TakeLogOfProfile(context, options);
    WarnOfLosses(context, options);
  }
  SendToAll(context, all);
}

// What would change nothing of a page in the queue is refused, or somebody would rely on it.
void AddQueueOptions(Command& command, QueueOptions& options) {
  Option* const queue = command.AddFlag(
      "--queue", options.queue,
      QueueIsHere() ? "Hand it over to this machine's queue, and print its id"
                    : "Hand it over to the queue of the machine that the setting Gateway names");
  for (const char* name : {"--log", "--timeout", "--wait", "--dry-run"}) {
    if (Option* const other = command.Find(name)) queue->Excludes(other);
  }
  command.AddOption("--id", options.id, "Its id: the same one again is the same page")
      ->Needs(queue);
  command.AddOption("--priority", options.priority, "0, the most urgent, to 9 (default: 5)")
      ->TypeName("0-9")
      ->Needs(queue);
  command.AddOption("--expires", options.expires, "It is not sent after so many minutes")
      ->TypeName("MINUTES")
      ->Needs(queue);
  command.AddOption("--not-before", options.not_before, "It is sent so late, or on that date")
      ->TypeName("2h|DATE")
      ->Needs(queue);
}

}  // namespace

void AddSendCommand(Command& app, Context& context) {
  auto all = std::make_shared<SendAll>();
  SendOptions* const options = &all->options;
  Command* const command = AddCommand(
      app, context, "send", "Send a message and wait until the message centre has taken it",
      "  mvsms send --to 01711234567 \"Pump 3 has stopped\"\n"
      "  uptime | mvsms send --to 01711234567 --service Pager --quiet -\n"
      "  mvsms send --to 01711234567 --fit \"-5 °C in room 2…\"\n"
      "  mvsms send --to @night --queue \"Pump 3 has stopped\"\n"
      "  mvsms send --to 01711234567 --dry-run \"Größe 5 €\"\n"
      "  mvsms send --to 01711234567 --queue --expires 60 \"Pump 3 has stopped\"\n"
      "Exit code: 0 accepted; 1 refused for good; 75 not sent or refused for now: try again;\n"
      "76 unknown, for it went out and no answer tells: trying again may deliver it twice;\n"
      "65 the text or the recipient, 78 the settings cannot be used; 2 wrong usage; 130 Ctrl-C\n"
      "and 143 SIGTERM before anything went out. Anything but 0 is explained in one sentence.\n"
      "Several --to: the worst of 0, 75, 76, 1, 65, 78, which is their order; --json prints one\n"
      "line for each.\n"
      "Ctrl-C aborts and hangs up; a second one ends the program at once.\n"
      "With --json one object is printed at the end: id, outcome (accepted, refused,\n"
      "unreachable, unknown, unusable), reason, advice, exit_code, result and retry_suggested\n"
      "(as the component has them), aborted, recipient, pieces, service, modem, member\n"
      "(of a pool), dialled, started, ended, answer, errors, status (all lines). Passwords are "
      "hidden.");
  command
      ->AddOption(
          "--to", all->recipients,
          "The recipient's number, or @GROUP; given several times, one send follows the other")
      ->OneValueEach()
      ->Required();
  command->AddOption("--from", options->from, "The sender's name or number (UCP only)");
  command->AddOption("--service", options->service,
                     "Message centre (default: by the routes, else DefaultService)");
  command->AddOption("--log", options->log, "Append the progress to this send log")->Path();
  command->AddOption("--timeout", options->timeout, "Abort after so many seconds")
      ->TypeName("SECONDS");
  if (ModemsHaveTurns()) {
    command
        ->AddOption("--wait", options->wait,
                    "Wait so long for a modem in use; first come, first served")
        ->TypeName("SECONDS");
  }
  command->AddFlag("-q,--quiet", options->quiet, "Print nothing but why it did not go out");
  command->AddSwitch("fit", options->fit,
                     "Spell, number and cut the text so that the service can carry it");
  command->AddFlag("-n,--dry-run", options->dry_run,
                   "Show what would be sent, byte by byte, and call nobody");
  AddQueueOptions(*command, all->queue);
  command->AddOption("TEXT", options->text, "The message; \"-\" reads it from standard input")
      ->Required();
  command->Callback([&context, all] { Run(context, *all); });
}

}  // namespace mvsms::cli
