// mvsms worker and mvsms lines: sending what waits in the queue, and how the lines are.
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/posix/state.h"
#include "cli/posix/views.h"
#include "cli/posix/worker.h"
#include "cli/posix/worker_file.h"

namespace mvsms::cli {
namespace {

struct WorkerOptions {
  std::string lines;
  std::string on_result;
  bool once = false;
  bool status = false;
};

std::string TextOf(const Json& value) { return value.is_string() ? value.get<std::string>() : ""; }

}  // namespace

Json LinesJson(Context& context) {
  const Json status = WorkerFile(context.home, context.profile).Read();
  Json lines = status.is_object() ? status.value("lines", Json::array()) : Json::array();
  for (const posix::LineConfig& line : Lines(context).List()) {
    const std::string name = Utf8FromAnsi(line.name);
    const bool told = std::ranges::any_of(
        lines, [&](const Json& other) { return other.value("name", "") == name; });
    if (told || line.kind == posix::LineKind::kPool) continue;
    lines.push_back({{"name", name},
                     {"state", "not worked"},
                     {"why", status.is_null() ? "no worker is running" : ""},
                     {"since", nullptr},
                     {"last_success", nullptr}});
  }
  return lines;
}

namespace {

void PrintLines(Context& context) {
  const Json lines = LinesJson(context);
  if (context.json) return context.PrintJson(lines);
  std::vector<std::vector<std::string>> rows{{"NAME", "STATE", "SINCE", "LAST SUCCESS", "WHY"}};
  for (const Json& line : lines) {
    rows.push_back({TextOf(line.at("name")), TextOf(line.at("state")), TextOf(line.at("since")),
                    TextOf(line.at("last_success")), TextOf(line.at("why"))});
  }
  context.PrintTable(rows);
  WorkerFile(context.home, context.profile).WarnOfUnserved(context);
}

void PrintStatus(Context& context) {
  const Json status = WorkerFile(context.home, context.profile).Read();
  if (status.is_null()) {
    context.exit_code = kExitFailed;
    if (!context.json) return context.Warn("no worker is running; see 'mvsms worker'");
  }
  if (context.json) return context.PrintJson({{"running", !status.is_null()}, {"worker", status}});
  PrintLines(context);
}

void Run(Context& context, const WorkerOptions& options) {
  if (options.status) return PrintStatus(context);
  std::vector<std::string> lines;
  for (const std::string& line : Split(AnsiFromUtf8(options.lines), ',')) {
    if (!Trim(line).empty()) lines.push_back(Trim(line));
  }
  RunWorker(context, lines, options.once, options.on_result);
}

}  // namespace

void AddWorkerCommand(Command& app, Context& context) {
  auto options = std::make_shared<WorkerOptions>();
  Command* const command = AddCommand(
      app, context, "worker", "Send what waits in the queue, and what comes, until it is ended",
      "  mvsms worker\n"
      "  mvsms worker --lines Modem1,Modem2\n"
      "  mvsms worker --once\n"
      "  mvsms worker --on-result '/usr/local/bin/note --pager'\n"
      "  mvsms worker --status\n"
      "All pages that wait for one message centre go in one call. What cannot be sent is tried\n"
      "again: see the settings QuickRetries, Retries, RetryDelay and OnUnknown.\n"
      "SIGTERM and Ctrl-C end it: the page on the line has 20 seconds, then the call is aborted.\n"
      "SIGHUP takes up changed modems; all other settings are read for each call.\n"
      "--on-result: the page as 'mvsms queue show --json' has it, in the state accepted, parked,\n"
      "expired, joined, or ready when it is to be tried again. The command has 30 seconds; no line "
      "waits\n"
      "for it. No shell looks at its words, which are divided by blanks.\n"
      "--status: exit code 1 when no worker is running.");
  Option* const line =
      command->AddOption("--lines", options->lines, "Over these modems or pools (default: all)")
          ->TypeName("MODEM,...");
  Option* const once =
      command->AddFlag("--once", options->once, "End when nothing is due that can be sent");
  Option* const hook =
      command
          ->AddOption("--on-result", options->on_result,
                      "Run this when a try has ended, with the page as JSON on its input")
          ->TypeName("COMMAND");
  command->AddFlag("--status", options->status, "Print how the running worker's lines are")
      ->Excludes(line)
      ->Excludes(hook)
      ->Excludes(once);
  command->Callback([&context, options] { Run(context, *options); });
}

void AddLinesCommand(Command& app, Context& context) {
  AddCommand(app, context, "lines", "Print what each modem is doing for the queue",
             "  mvsms lines\n"
             "States: idle, waiting (another program has the modem), calling, resting (it failed\n"
             "three times), not worked.")
      ->Callback([&context] { PrintLines(context); });
}

}  // namespace mvsms::cli
