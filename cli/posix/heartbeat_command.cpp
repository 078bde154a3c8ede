// mvsms heartbeat: a test page that somebody expects, and an alarm by another way when the message
// centre did not take it in time. Whoever is never paged would else believe that all is well.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "backends/posix/store/queue.h"
#include "backends/posix/system/program.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/posix/since.h"
#include "cli/queue_send.h"
#include "cli/send_record.h"
#include "cli/system.h"
#include "dispatch/hand_over.h"
#include "gateway/groups.h"
#include "media/bascommon.h"

namespace mvsms::cli {
namespace {

using dispatch::PageState;
using dispatch::QueuedPage;

constexpr int kExitCritical = 2;
constexpr std::int32_t kLookMs = 200;
constexpr std::chrono::seconds kLongestHook{60};

struct HeartbeatOptions {
  std::string to;
  std::string text;
  std::string within = "15m";
  std::string on_failure;
  std::string metrics;
  std::string service;
};

/// How it ended. UTF-8.
struct Heartbeat {
  bool accepted = false;
  std::string why;  // it was not
  std::string id;
  std::int64_t seconds = 0;
};

std::string DefaultText(std::int64_t now) {
  return "mvSMS heartbeat " + LocalMoment(now).substr(0, 16);
}

/// Why the page will not be accepted any more; empty while it may be.
std::string EndOf(const QueuedPage& queued) {
  const bool over = queued.state == PageState::kParked || queued.state == PageState::kExpired ||
                    queued.state == PageState::kCancelled;
  if (!over) return {};
  const std::string reason = queued.result ? Utf8FromAnsi(queued.result->reason) : "";
  return "the page is " + std::string(NameOf(queued.state)) + (reason.empty() ? "" : ": " + reason);
}

std::string Pending(const QueuedPage& queued) {
  const std::string reason = queued.result ? Utf8FromAnsi(queued.result->reason) : "";
  return "not accepted in time; the page is " + std::string(NameOf(queued.state)) +
         (reason.empty() ? "" : "; the last try: " + reason);
}

/// Into the queue, and why not.
std::string Put(Context& context, const HeartbeatOptions& options, const std::string& id,
                std::int64_t within) {
  SendOptions send;
  send.service = options.service;
  send.text = options.text.empty() ? DefaultText(std::time(nullptr)) : options.text;
  send.fit = true;
  send.quiet = true;
  QueueOptions queue;
  queue.id = id;
  queue.expires = std::to_string((within + 59) / 60);
  context.exit_code = kExitAccepted;
  QueuePages(context, {options.to}, send, queue);
  return context.exit_code == kExitAccepted ? "" : "the page could not be queued";
}

/// Waits for the end of the page. A test page that comes hours later would frighten its reader.
void Await(Context& context, Heartbeat& heartbeat, std::int64_t within) {
  posix::PageQueue queue(context.home);
  const InterruptWatch watch;
  std::string id = AnsiFromUtf8(heartbeat.id);
  const std::int64_t begun = std::time(nullptr);
  for (;;) {
    const auto queued = queue.Find(id);
    if (queued && queued->state == PageState::kJoined) {
      id = queued->joined;
      continue;
    }
    heartbeat.seconds = std::time(nullptr) - begun;
    if (!queued) {
      heartbeat.why = "the page is gone";
      return;
    }
    heartbeat.accepted = queued->state == PageState::kAccepted;
    heartbeat.why = EndOf(*queued);
    if (heartbeat.accepted || !heartbeat.why.empty()) return;
    if (heartbeat.seconds >= within || watch.Interrupted()) {
      queue.Operate(id, dispatch::kCancelPage);
      heartbeat.why = watch.Interrupted() ? "interrupted" : Pending(*queued);
      return;
    }
    basCommon::Pause(context.platform().loop(), kLookMs);
  }
}

Json ToJson(const HeartbeatOptions& options, const Heartbeat& heartbeat) {
  return {{"accepted", heartbeat.accepted},
          {"id", heartbeat.id},
          {"recipient", options.to},
          {"seconds", heartbeat.seconds},
          {"why", heartbeat.why}};
}

/// For the node exporter's folder of text files, which must never see half a file.
void WriteMetrics(Context& context, const std::string& path, const Heartbeat& heartbeat) {
  if (path.empty()) return;
  const std::string draft = path + ".new";
  std::ofstream file(FilePath(draft));
  file << "# HELP mvsms_heartbeat_accepted Whether the message centre took the last test page.\n"
          "# TYPE mvsms_heartbeat_accepted gauge\n"
          "mvsms_heartbeat_accepted "
       << (heartbeat.accepted ? 1 : 0)
       << "\n# HELP mvsms_heartbeat_end_timestamp_seconds When that was known.\n"
          "# TYPE mvsms_heartbeat_end_timestamp_seconds gauge\n"
          "mvsms_heartbeat_end_timestamp_seconds "
       << std::time(nullptr)
       << "\n# HELP mvsms_heartbeat_duration_seconds How long it took.\n"
          "# TYPE mvsms_heartbeat_duration_seconds gauge\n"
          "mvsms_heartbeat_duration_seconds "
       << heartbeat.seconds << '\n';
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(FilePath(draft), FilePath(path), error);
  if (!file || error) context.Warn("the metrics " + path + " cannot be written");
}

/// The other way. That it fails as well must at least be said.
void Alarm(Context& context, const std::string& command, const Json& json) try {
  if (command.empty()) return;
  const auto end =
      posix::RunProgram(gateway::CommandWords(command), JsonText(json) + "\n", kLongestHook);
  if (!end.exit_code) context.Warn("--on-failure took longer than a minute, and was ended");
  if (end.exit_code.value_or(0) != 0) {
    context.Warn("--on-failure ended with exit code " + std::to_string(*end.exit_code));
  }
} catch (const RaisedError& error) {
  context.Warn("--on-failure: " + Utf8FromAnsi(error.description()));
}

void Print(Context& context, const Heartbeat& heartbeat, const Json& json) {
  if (context.json) return context.PrintJson(json);
  const std::string seconds = std::to_string(heartbeat.seconds);
  context.out << Printable(heartbeat.accepted
                               ? "MVSMS HEARTBEAT OK: accepted after " + seconds + " s"
                               : "MVSMS HEARTBEAT CRITICAL: " + heartbeat.why)
              << " | seconds=" << seconds << "s;;;0\n";
}

void Run(Context& context, const HeartbeatOptions& options) {
  constexpr std::int64_t kDay = 86400;
  const std::int64_t within = -ParseSince("--within", options.within, 0);
  if (within < 1 || within > kDay) throw UsageError("--within must be at most a day, such as 15m");
  if (gateway::IsGroup(options.to)) throw UsageError("--to must be one number");
  Heartbeat heartbeat;
  heartbeat.id = "heartbeat-" + dispatch::FreshId();
  try {
    heartbeat.why = Put(context, options, heartbeat.id, within);
    if (heartbeat.why.empty()) Await(context, heartbeat, within);
  } catch (const RaisedError& error) {
    heartbeat.why = Utf8FromAnsi(error.description());
  } catch (const std::exception& error) {
    heartbeat.why = error.what();
  }
  const Json json = ToJson(options, heartbeat);
  WriteMetrics(context, options.metrics, heartbeat);
  Print(context, heartbeat, json);
  context.out.flush();
  context.exit_code = heartbeat.accepted ? kExitAccepted : kExitCritical;
  if (!heartbeat.accepted) Alarm(context, options.on_failure, json);
}

}  // namespace

void AddHeartbeatCommand(Command& app, Context& context) {
  auto options = std::make_shared<HeartbeatOptions>();
  Command* const command = AddCommand(
      app, context, "heartbeat", "Send a test page, and raise an alarm when it was not accepted",
      "  mvsms heartbeat --to 01711234567\n"
      "  mvsms heartbeat --to 01711234567 --within 30m --on-failure '/usr/local/bin/mail-admin "
      "-u'\n"
      "The page goes through the queue, like every other. When the message centre has not "
      "accepted\n"
      "it in time, it is cancelled, and --on-failure is run with what is known, as JSON, on its\n"
      "standard input. Exit code: 0 accepted; 2 not, with the reason in the one line that is\n"
      "printed, as plugins do. For a timer: mvsms-heartbeat.timer.");
  command->AddOption("--to", options->to, "The number that expects it")->Required();
  command->AddOption("--text", options->text, "The text (default: with date and time)");
  command->AddOption("--service", options->service,
                     "Message centre (default: by the routes, else DefaultService)");
  command->AddOption("--within", options->within, "In this time")->TypeName("15m")->ShowDefault();
  command->AddOption("--on-failure", options->on_failure, "Run this; no shell looks at it")
      ->TypeName("COMMAND");
  command
      ->AddOption("--metrics", options->metrics,
                  "Write the result to this file, for the node exporter of Prometheus")
      ->Path()
      ->TypeName("FILE");
  command->Callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
