// mvsms check: whether a page of tonight would go out, for monitoring systems that run plugins.
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "backends/posix/line/line_check.h"
#include "backends/posix/line/line_turn.h"
#include "backends/posix/store/queue.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/posix/hub_access.h"
#include "cli/posix/since.h"
#include "cli/posix/state.h"
#include "cli/posix/worker_file.h"
#include "cli/store.h"

namespace mvsms::cli {
namespace {

using dispatch::Moment;
using dispatch::PageState;
using dispatch::QueuedPage;

/// As plugins have it; the worst of several is not the greatest.
enum class Level { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };
constexpr std::array<const char*, 4> kLevelNames = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};

struct CheckOptions {
  std::string oldest = "15m,60m";
  std::string parked = "1,5";
  std::string disk = "200,50";  // megabytes
  std::string accepted;
  bool no_modems = false;
  bool dial_tone = false;
};

/// Two limits, "WARNING,CRITICAL".
struct Limits {
  std::int64_t warning;
  std::int64_t critical;

  Level Above(std::int64_t value) const {
    return value >= critical ? Level::kCritical : value >= warning ? Level::kWarning : Level::kOk;
  }
  Level Below(std::int64_t value) const {
    return value < critical ? Level::kCritical : value < warning ? Level::kWarning : Level::kOk;
  }
  std::string Text() const { return std::to_string(warning) + ";" + std::to_string(critical); }
};

template <typename Read>
Limits ReadLimits(const std::string& name, const std::string& text, Read read) {
  const std::vector<std::string> parts = Split(text, ',');
  if (parts.size() != 2) throw UsageError(name + " must be two limits: WARNING,CRITICAL");
  return {read(name, Trim(parts[0])), read(name, Trim(parts[1]))};
}

std::int64_t ReadCount(const std::string& name, const std::string& text) {
  constexpr long long kMost = 1'000'000'000;
  return ParseNumber(name, text, 0, kMost);
}

/// "15m" in seconds.
std::int64_t ReadAge(const std::string& name, const std::string& text) {
  return -ParseSince(name, text, 0);
}

std::string Age(std::int64_t seconds) {
  if (seconds < 120) return std::to_string(seconds) + " s";
  if (seconds < 7200) return std::to_string(seconds / 60) + " min";
  return std::to_string(seconds / 3600) + " h";
}

/// What is found, the bad news first, and the figures, which begin at the first "|".
class Report {
 public:
  void Say(Level level, const std::string& sentence) {
    level_ = std::max(level_, level);
    std::string& part = level == Level::kOk ? good_ : bad_;
    part += (part.empty() ? "" : ", ") + ReplaceAll(sentence, "|", "/");
  }
  void Measure(const std::string& figure) { figures_ += " " + figure; }

  Level level() const { return level_; }
  std::string Line() const {
    const char* const comma = bad_.empty() || good_.empty() ? "" : ", ";
    return bad_ + comma + good_ + " |" + figures_;
  }

 private:
  Level level_ = Level::kOk;
  std::string bad_;
  std::string good_;
  std::string figures_;
};

std::int64_t SecondsSince(Moment then, Moment now) {
  return std::max<std::int64_t>(
      0, std::chrono::duration_cast<std::chrono::seconds>(now - then).count());
}

/// Where the hub has a page, it is this machine's all the same.
constexpr dispatch::PageStates kWaiting = {
    PageState::kReady,    PageState::kClaimed, PageState::kDialling,   PageState::kUnknown,
    PageState::kOffering, PageState::kAtHub,   PageState::kWithdrawing};

void CheckOldest(Report& report, posix::PageQueue& queue, const Limits& limits, Moment now) {
  std::int64_t waiting = 0;
  std::int64_t age = 0;
  for (const QueuedPage& queued : queue.List({.states = kWaiting})) {
    if (queued.page.not_before > now && queued.attempts == 0) continue;  // for later
    ++waiting;
    const Moment since =
        queued.attempts > 0 ? queued.arrived : std::max(queued.arrived, queued.page.not_before);
    age = std::max(age, SecondsSince(since, now));
  }
  report.Say(limits.Above(age),
             waiting == 0 ? "nothing waits"
                          : std::to_string(waiting) + " waiting, the oldest for " + Age(age));
  report.Measure("waiting=" + std::to_string(waiting) + ";;;0");
  report.Measure("oldest=" + std::to_string(age) + "s;" + limits.Text() + ";0");
}

void CheckParked(Report& report, const dispatch::QueueStats& stats, const Limits& limits) {
  const std::int64_t parked = stats.at(static_cast<std::size_t>(PageState::kParked)).pages;
  report.Say(limits.Above(parked), std::to_string(parked) + " parked");
  report.Measure("parked=" + std::to_string(parked) + ";" + limits.Text() + ";0");
}

/// Looked for among those of the last hour first: the pages of years may lie there.
std::optional<Moment> LastAccepted(posix::PageQueue& queue, Moment now) {
  std::optional<Moment> last;
  for (const Moment since : {now - std::chrono::hours(1), now - std::chrono::hours(24), Moment{}}) {
    for (const QueuedPage& queued :
         queue.List({.states = {PageState::kAccepted}, .changed_since = since})) {
      last = std::max(last.value_or(queued.changed), queued.changed);
    }
    if (last) break;
  }
  return last;
}

void CheckAccepted(Report& report, posix::PageQueue& queue, const std::optional<Limits>& limits,
                   Moment now) {
  const std::optional<Moment> last = LastAccepted(queue, now);
  if (!last) {
    return report.Say(limits ? Level::kCritical : Level::kOk, "no page was accepted yet");
  }
  const std::int64_t age = SecondsSince(*last, now);
  report.Say(limits ? limits->Above(age) : Level::kOk, "the last accepted " + Age(age) + " ago");
  report.Measure("accepted_age=" + std::to_string(age) + "s;" + (limits ? limits->Text() : ";") +
                 ";0");
}

void CheckDisk(Report& report, const std::string& home, const Limits& limits) {
  struct statvfs facts{};
  if (statvfs(home.c_str(), &facts) != 0) {
    return report.Say(Level::kCritical, "the folder " + home + " cannot be read");
  }
  const auto free = static_cast<std::int64_t>(facts.f_bavail * facts.f_frsize / 1'000'000);
  report.Say(limits.Below(free), std::to_string(free) + " MB free");
  report.Measure("free=" + std::to_string(free) + "MB;" + std::to_string(limits.warning) + ":;" +
                 std::to_string(limits.critical) + ":;0");
}

struct ModemFinding {
  Level level;
  std::string sentence;
};

/// One that is in use works: whoever has it finds out.
ModemFinding Ask(Context& context, const posix::LineConfig& modem, bool dial_tone) {
  posix::LineTurn turn(context.home, modem.name);
  if (!turn.Look().empty()) return {Level::kOk, "in use"};
  std::string answers;
  const std::string problem = posix::TestLine(modem, answers);
  if (!problem.empty()) return {Level::kCritical, problem};
  if (dial_tone && posix::HearsDialTone(modem) == false) return {Level::kCritical, "no dial tone"};
  return {Level::kOk, "answers"};
}

void CheckModems(Context& context, Report& report, bool dial_tone) {
  int all = 0;
  int good = 0;
  for (const posix::LineConfig& modem : Lines(context).List()) {
    if (modem.kind == posix::LineKind::kPool) continue;
    const auto [level, sentence] = Ask(context, modem, dial_tone);
    ++all;
    good += level == Level::kOk;
    if (level != Level::kOk) report.Say(level, Utf8FromAnsi(modem.name) + ": " + sentence);
  }
  if (all == 0 && !HasHub(context)) report.Say(Level::kCritical, "there is no modem");
  if (all > 0 && good == all) {
    report.Say(Level::kOk, all == 1 ? "the modem answers" : "all modems answer");
  }
  report.Measure("modems=" + std::to_string(good) + ";;;0;" + std::to_string(all));
}

/// As the worker sees it, where one is set.
void CheckHub(Report& report, const Json& hub) {
  if (!hub.is_object()) return;
  const Json& away = hub.at("away_since");
  report.Measure("hub=" + std::to_string(away.is_null() ? 1 : 0) + ";;;0;1");
  if (!away.is_null()) {
    return report.Say(Level::kWarning, "the hub is away since " + away.get<std::string>());
  }
  report.Say(Level::kOk, "the hub answers");
  const auto held = hub.at("held").get<std::string>();
  if (!held.empty()) report.Say(Level::kWarning, "the hub gives nothing out: " + held);
  for (const Json& service : hub.at("unserved")) {
    report.Say(Level::kWarning, "no machine has a modem for " + service.get<std::string>());
  }
}

void CheckWorker(Context& context, Report& report) {
  const Json status = WorkerFile(context.home, context.profile).Read();
  report.Measure("worker=" + std::to_string(status.is_null() ? 0 : 1) + ";;;0;1");
  if (status.is_null()) return report.Say(Level::kCritical, "no worker is running");
  report.Say(Level::kOk, "the worker runs");
  if (!status.is_object()) return;
  for (const Json& line : status.value("lines", Json::array())) {
    if (line.value("state", "") != "resting") continue;
    report.Say(Level::kWarning, line.value("name", "") + " rests: " + line.value("why", ""));
  }
  CheckHub(report, status.value("hub", Json()));
}

Report Check(Context& context, const CheckOptions& options) {
  const Limits oldest = ReadLimits("--oldest", options.oldest, ReadAge);
  const Limits parked = ReadLimits("--parked", options.parked, ReadCount);
  const Limits disk = ReadLimits("--disk", options.disk, ReadCount);
  std::optional<Limits> accepted;
  if (!options.accepted.empty()) accepted = ReadLimits("--accepted", options.accepted, ReadAge);
  CheckReadable(context);
  Report report;
  posix::PageQueue queue(context.home);
  const Moment now = posix::SystemNow();
  CheckWorker(context, report);
  CheckOldest(report, queue, oldest, now);
  CheckParked(report, queue.Stats(), parked);
  CheckAccepted(report, queue, accepted, now);
  CheckDisk(report, context.home, disk);
  if (!options.no_modems) CheckModems(context, report, options.dial_tone);
  return report;
}

void Print(Context& context, Level level, const std::string& line) {
  context.out << "MVSMS " << kLevelNames.at(static_cast<std::size_t>(level)) << ": "
              << Printable(line) << '\n';
  context.exit_code = static_cast<int>(level);
}

void Run(Context& context, const CheckOptions& options) try {
  const Report report = Check(context, options);
  Print(context, report.level(), report.Line());
} catch (const RaisedError& error) {
  Print(context, Level::kUnknown, Utf8FromAnsi(error.description()));
} catch (const std::exception& error) {
  Print(context, Level::kUnknown, error.what());
}

}  // namespace

void AddCheckCommand(Command& app, Context& context) {
  auto options = std::make_shared<CheckOptions>();
  Command* const command = AddCommand(
      app, context, "check", "Tell a monitoring system whether pages go out",
      "  mvsms check\n"
      "  mvsms check --oldest 10m,30m --accepted 25h,49h --dial-tone\n"
      "Prints one line with its figures, as plugins of Nagios and Icinga do. Exit code: 0 OK;\n"
      "1 warning; 2 critical; 3 unknown, for the state cannot be read or an option is wrong.\n"
      "Critical in any case: no worker is running; a modem does not answer. A modem in use is "
      "fine.");
  const auto limits = [&](const char* name, std::string& value, const char* what) {
    command->AddOption(name, value, what)->TypeName("WARNING,CRITICAL")->ShowDefault();
  };
  limits("--oldest", options->oldest, "The oldest page that waits is so old");
  limits("--parked", options->parked, "So many pages are parked");
  limits("--disk", options->disk, "Less than so many megabytes are free");
  command
      ->AddOption("--accepted", options->accepted,
                  "The last accepted page is so old; see 'mvsms heartbeat'")
      ->TypeName("WARNING,CRITICAL");
  Option* const none = command->AddFlag("--no-modems", options->no_modems, "Do not ask the modems");
  command
      ->AddFlag("--dial-tone", options->dial_tone,
                "Listen for a dial tone, too; the line is engaged meanwhile")
      ->Excludes(none);
  command->BeforeParsing([&context] { context.usage_exit = static_cast<int>(Level::kUnknown); });
  command->Callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
