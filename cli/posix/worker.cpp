// See worker.h. Signals are taken by the thread that watches, and by nothing else: SIGTERM and
// SIGINT end the worker, SIGHUP begins anew with the modems as they are then.
#include "cli/posix/worker.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <deque>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>

#include "backends/posix/store/journal.h"
#include "backends/posix/store/line_store.h"
#include "backends/posix/store/queue.h"
#include "backends/posix/system/process.h"
#include "backends/posix/system/service_manager.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/json.h"
#include "cli/posix/courier_thread.h"
#include "cli/posix/hub_access.h"
#include "cli/posix/line_thread.h"
#include "cli/posix/result_hook.h"
#include "cli/posix/service_signals.h"
#include "cli/posix/since.h"
#include "cli/posix/state.h"
#include "cli/posix/views.h"
#include "cli/posix/worker_file.h"
#include "cli/queue_send.h"
#include "cli/store.h"
#include "dispatch/decision.h"
#include "engine/profile.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

using namespace std::chrono_literals;
using dispatch::WorkerLine;
using posix::LineConfig;
using posix::LineKind;
using Ticks = std::chrono::steady_clock;

constexpr auto kLook = 200ms;      // for signals, and for pages that are due
constexpr auto kSweepEvery = 5s;   // pages that their holders have left
constexpr auto kLateResult = 60s;  // for a line to say what became of a page that it has lost
constexpr auto kPruneEvery = 1h;
constexpr auto kKept = std::chrono::days(30);  // pages that are over
constexpr auto kGrace = 20s;    // for the page on the line, when the worker is to end
constexpr auto kSilence = 60s;  // of a line that is held for hung

/// Whether the process of a holder has ended: the first words of its name are its mark.
bool IsGone(const std::string& holder) {
  return !posix::StillRuns(holder.substr(0, holder.find('/')));
}

bool Names(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// The lines that dial, each with the names in whose place it does.
std::vector<WorkerLine> LinesOf(Context& context, const std::vector<std::string>& wanted) {
  const std::vector<LineConfig> all = Lines(context).List();
  for (const std::string& name : wanted) {
    const bool known =
        std::ranges::any_of(all, [&](const auto& line) { return line.name == name; });
    if (!known) {
      throw UsageError("there is no modem \"" + Utf8FromAnsi(name) + "\"; see 'mvsms modem list'");
    }
  }
  std::vector<WorkerLine> lines;
  for (const LineConfig& line : all) {
    if (line.kind == LineKind::kPool) continue;
    WorkerLine worker{.modem = line.name,
                      .names = {line.name},
                      .profile = AnsiFromUtf8(context.profile),
                      .holder = posix::ProcessMark() + "/" + line.name};
    bool taken = wanted.empty() || Names(wanted, line.name);
    for (const LineConfig& pool : all) {
      if (!Names(pool.members, line.name)) continue;
      worker.names.push_back(pool.name);
      taken = taken || Names(wanted, pool.name);
    }
    if (taken) lines.push_back(std::move(worker));
  }
  return lines;
}

class Watch {
 public:
  Watch(Context& context, const WorkerFile& file, bool once, const std::string& on_result)
      : context_(context), file_(file), once_(once), on_result_(on_result), queue_(context.home) {}

  /// Works with these lines until a signal, or with `once` until they have ended; gives the signal.
  int Over(const std::vector<WorkerLine>& lines) {
    WorkFloor floor(context_.out);
    std::optional<ResultHook> hook;
    if (!on_result_.empty()) {
      hook.emplace(context_.home, context_.profile, on_result_,
                   [&floor](const std::string& sentence) { floor.Print(sentence); });
    }
    std::deque<LineThread> threads;
    modems_.clear();
    for (const WorkerLine& line : lines) {
      modems_.insert(modems_.end(), line.names.begin(), line.names.end());
    }
    LookAfterQueue(0s);  // no line is at work: what is unknown stays so
    const std::unique_ptr<HubShare> share = Share();
    std::optional<CourierThread> courier;
    if (share) courier.emplace(floor, *share, context_.home, AnsiFromUtf8(context_.profile), lines);
    courier_ = courier ? &*courier : nullptr;
    // Without it the lines would not know what waits there, and end.
    if (courier && once_) courier->AwaitFirstRound();
    for (const WorkerLine& line : lines) {
      threads.emplace_back(floor, share.get(), context_.home, line, once_);
    }
    posix::TellServiceManager("READY=1");
    int signal = 0;
    const bool waits = lines.empty() && !once_;  // for others to take what is handed over here
    while (signal == 0 && (waits || floor.ended() < lines.size())) {
      signal = signals_.Wait(kLook);
      LookAfterQueue(kLateResult);
      LookAfterLines(floor);
      LookAfterHub();
      if (IsDue()) floor.WakeAll();
    }
    return End(floor, threads, signal);
  }

 private:
  /// The signal that counts: one that comes meanwhile, unless it only wants a new beginning, too.
  int End(WorkFloor& floor, std::deque<LineThread>& threads, int signal) {
    posix::TellServiceManager(signal == SIGHUP ? "RELOADING=1" : "STOPPING=1");
    floor.Finish();
    const auto aborts = Ticks::now() + kGrace;
    const std::size_t all = threads.size();
    while (floor.ended() < all) {
      const int another = signals_.Wait(kLook);
      if (another != 0 && another != SIGHUP) signal = another;
      if (another != 0 || Ticks::now() >= aborts) floor.Abort();
    }
    threads.clear();
    floor.End();
    courier_ = nullptr;
    return signal;
  }

  /// The hub, where one is set and can be spoken to at all. Without it this machine goes on alone.
  std::unique_ptr<HubShare> Share() try {
    alone_since_.reset();
    if (!HasHub(context_)) return nullptr;
    return std::make_unique<HubShare>(HubWireOf(context_), HubWireOf(context_),
                                      HubNameOf(context_));
  } catch (const RaisedError& error) {
    context_.Warn(Utf8FromAnsi(error.description()) + " Own pages go on.");
    alone_since_ = posix::SystemNow();
    return nullptr;
  }

  /// Nothing where none is set.
  std::optional<dispatch::HubSight> Sight() const {
    if (courier_ != nullptr) return courier_->sight();
    if (!alone_since_) return std::nullopt;
    return dispatch::HubSight{.away_since = alone_since_};
  }

  bool HubAnswers() const {
    const auto sight = Sight();
    return sight && !sight->away_since;
  }

  Json HubJson() const {
    const auto sight = Sight();
    if (!sight) return nullptr;
    Json machines = Json::array();
    for (const dispatch::Machine& machine : sight->machines) {
      machines.push_back(MachineJson(machine));
    }
    return {{"machine", Utf8FromAnsi(HubNameOf(context_))},
            {"away_since",
             sight->away_since ? Json(LocalMoment(SecondsOf(*sight->away_since))) : Json(nullptr)},
            {"held", Utf8FromAnsi(sight->held)},
            {"unserved", Utf8Words(sight->unserved)},
            {"machines", machines}};
  }

  /// Whether a page is due that a line might have.
  bool IsDue() try {
    return queue_.NextDue(AnsiFromUtf8(context_.profile)) <= posix::SystemNow();
  } catch (const RaisedError&) {
    return true;  // the lines find out, and say so
  }

  void LookAfterQueue(std::chrono::seconds patience) try {
    const auto now = Ticks::now();
    if (now < sweeps_) return;
    sweeps_ = now + kSweepEvery;
    queue_.Sweep(IsGone);
    std::string profile = AnsiFromUtf8(context_.profile);
    const Profile settings(context_.platform().registry(), BaseKey(profile));
    const dispatch::Moment sweep = posix::SystemNow();
    SettleUnknown(queue_, profile, dispatch::ReadRetryRules(settings), sweep, sweep - patience,
                  [this](const std::string& id, dispatch::Moment since) {
                    return posix::Journal(context_.home).Known(id, since);
                  });
    LookForLostPages(profile);
    if (now < prunes_) return;
    prunes_ = now + kPruneEvery;
    queue_.Prune(posix::SystemNow() - kKept);
  } catch (const RaisedError& error) {
    context_.Warn(Utf8FromAnsi(error.description()));
  }

  /// Pages that none of the lines can carry wait for a person, who is told once.
  void LookForLostPages(const std::string& profile) {
    const auto served = dispatch::ServicesOf(context_.platform().registry(), profile, modems_);
    Json unserved = Json::array();
    const bool others = HubAnswers();  // who may have the modem
    for (const std::string& service : queue_.WaitedFor(profile)) {
      if (!others && !Names(served, service)) unserved.push_back(Utf8FromAnsi(service));
    }
    for (const Json& service : unserved) {
      const bool told = std::find(unserved_.begin(), unserved_.end(), service) != unserved_.end();
      if (!told) context_.Warn(Printable(SentenceOfUnserved(service)));
    }
    unserved_ = unserved;
  }

  /// Pages a person over the modems here, once for each time that the hub is away too long: nobody
  /// else may know.
  void LookAfterHub() {
    const auto sight = Sight();
    const auto away = sight ? sight->away_since : std::nullopt;
    if (!away || away == alarmed_) return;
    std::string profile = AnsiFromUtf8(context_.profile);
    const Profile settings(context_.platform().registry(), BaseKey(profile));
    const std::chrono::seconds after(settings.NumberOrInitial(setting::kHubAlarmAfter));
    if (posix::SystemNow() - *away < after) return;
    alarmed_ = away;
    const std::string to = SettingOrInitial(context_, setting::kHubAlarmTo);
    if (!to.empty()) Alarm(Utf8FromAnsi(to), SecondsOf(*away));
  }

  void Alarm(const std::string& to, std::int64_t away) try {
    SendOptions send;
    send.text = "mvSMS " + Utf8FromAnsi(HubNameOf(context_)) + ": the hub is away since " +
                LocalMoment(away).substr(0, 19);
    send.fit = true;
    send.quiet = true;
    QueueOptions queue;
    queue.id = "hub-away-" + std::to_string(away);
    QueuePages(context_, {to}, send, queue);
    if (std::exchange(context_.exit_code, kExitAccepted) != kExitAccepted) {
      context_.Warn("HubAlarmTo: the page could not be queued");
    }
  } catch (const std::exception& error) {
    context_.Warn(std::string("HubAlarmTo: ") + error.what());
  }

  /// Says how they are, to who asks and, as long as none is hung, to the service manager.
  void LookAfterLines(WorkFloor& floor) {
    Json lines = Json::array();
    bool all_live = true;
    for (const auto& [name, news] : floor.News()) {
      all_live = all_live && Ticks::now() - news.heard < kSilence;
      lines.push_back(
          {{"name", name},
           {"state", NameOf(news.state)},
           {"why", news.why},
           {"since", LocalMoment(news.since)},
           {"last_success",
            news.last_success == 0 ? Json(nullptr) : Json(LocalMoment(news.last_success))}});
    }
    if (all_live) posix::TellServiceManager("WATCHDOG=1");
    const Json status = {{"process", getpid()},
                         {"profile", context_.profile},
                         {"lines", lines},
                         {"unserved", unserved_},
                         {"hub", HubJson()}};
    if (status == told_) return;
    told_ = status;
    file_.Write(status);
  }

  Context& context_;
  const WorkerFile& file_;
  const bool once_;
  const std::string& on_result_;
  const ServiceSignals signals_;
  posix::PageQueue queue_;
  CourierThread* courier_ = nullptr;
  std::optional<dispatch::Moment> alone_since_;  // a hub is set, and there is no way to it
  std::optional<dispatch::Moment> alarmed_;      // that the hub is away since then
  Ticks::time_point sweeps_{};
  Ticks::time_point prunes_{};
  std::vector<std::string> modems_;  // by all names that the lines stand for
  Json unserved_ = Json::array();    // services that pages wait for, and no line has
  Json told_;
};

void CheckCommand(const std::string& command) {
  const std::vector<std::string> words = gateway::CommandWords(command);
  if (command.empty() || (!words.empty() && access(words.front().c_str(), X_OK) == 0)) return;
  throw UsageError("--on-result: \"" + command + "\" names no program with its path");
}

void Announce(Context& context, const std::vector<WorkerLine>& lines) {
  std::string modems;
  for (const WorkerLine& line : lines) modems += (modems.empty() ? "" : ", ") + line.modem;
  const std::string over = lines.empty() ? "the hub" : Utf8FromAnsi(modems);
  context.out << Printable("Working for the profile " + context.profile + " over " + over + ".")
              << std::endl;
}

}  // namespace

void RunWorker(Context& context, const std::vector<std::string>& modems, bool once,
               const std::string& on_result) {
  CheckCommand(on_result);
  WorkerFile file(context.home, context.profile);
  if (!file.Take()) throw Failure("a worker is on the profile " + context.profile + " already");
  Watch watch(context, file, once, on_result);
  int signal = SIGHUP;
  while (signal == SIGHUP) {
    const std::vector<WorkerLine> lines = LinesOf(context, modems);
    if (lines.empty() && !HasHub(context))
      throw Failure("there is no modem to work with; see 'mvsms modem add'");
    if (!once) Announce(context, lines);
    signal = watch.Over(lines);
  }
}

}  // namespace mvsms::cli
