// See worker.h. Signals are taken by the thread that watches, and by nothing else: SIGTERM and
// SIGINT end the worker, SIGHUP begins anew with the modems as they are then.
#include "cli/posix/worker.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <deque>
#include <ostream>
#include <utility>

#include "backends/posix/store/line_store.h"
#include "backends/posix/store/queue.h"
#include "backends/posix/system/process.h"
#include "backends/posix/system/service_manager.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/json.h"
#include "cli/posix/line_thread.h"
#include "cli/posix/since.h"
#include "cli/posix/state.h"
#include "cli/posix/worker_file.h"
#include "dispatch/decision.h"
#include "engine/profile.h"

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

/// Blocks the worker's signals, for this thread and those that it starts, until its end.
class WorkerSignals {
 public:
  WorkerSignals() {
    sigemptyset(&set_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set_, signal);
    pthread_sigmask(SIG_BLOCK, &set_, &before_);
    std::signal(SIGPIPE, SIG_IGN);
  }
  ~WorkerSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  WorkerSignals(const WorkerSignals&) = delete;
  WorkerSignals& operator=(const WorkerSignals&) = delete;

  /// The next signal; 0 when none came for a moment.
  int Wait() const {
    const timespec moment{0, std::chrono::nanoseconds(kLook).count()};
    return std::max(sigtimedwait(&set_, nullptr, &moment), 0);
  }

 private:
  sigset_t set_{};
  sigset_t before_{};
};

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
  Watch(Context& context, const WorkerFile& file, bool once)
      : context_(context), file_(file), once_(once), queue_(context.home) {}

  /// Works with these lines until a signal, or with `once` until they have ended; gives the signal.
  int Over(const std::vector<WorkerLine>& lines) {
    WorkFloor floor(context_.out);
    std::deque<LineThread> threads;
    LookAfterQueue(0s);  // no line is at work: what is unknown stays so
    for (const WorkerLine& line : lines) threads.emplace_back(floor, context_.home, line, once_);
    posix::TellServiceManager("READY=1");
    int signal = 0;
    while (signal == 0 && floor.ended() < lines.size()) {
      signal = signals_.Wait();
      LookAfterQueue(kLateResult);
      LookAfterLines(floor);
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
      const int another = signals_.Wait();
      if (another != 0 && another != SIGHUP) signal = another;
      if (another != 0 || Ticks::now() >= aborts) floor.Abort();
    }
    threads.clear();
    return signal;
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
    SettleUnknown(queue_, profile, dispatch::ReadRetryRules(settings), sweep, sweep - patience);
    if (now < prunes_) return;
    prunes_ = now + kPruneEvery;
    queue_.Prune(posix::SystemNow() - kKept);
  } catch (const RaisedError& error) {
    context_.Warn(Utf8FromAnsi(error.description()));
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
    if (lines == told_) return;
    told_ = lines;
    file_.Write({{"process", getpid()}, {"profile", context_.profile}, {"lines", lines}});
  }

  Context& context_;
  const WorkerFile& file_;
  const bool once_;
  const WorkerSignals signals_;
  posix::PageQueue queue_;
  Ticks::time_point sweeps_{};
  Ticks::time_point prunes_{};
  Json told_;
};

void Announce(Context& context, const std::vector<WorkerLine>& lines) {
  std::string modems;
  for (const WorkerLine& line : lines) modems += (modems.empty() ? "" : ", ") + line.modem;
  context.out << Printable("Working for the profile " + context.profile + " over " +
                           Utf8FromAnsi(modems) + ".")
              << std::endl;
}

}  // namespace

void RunWorker(Context& context, const std::vector<std::string>& modems, bool once) {
  WorkerFile file(context.home, context.profile);
  if (!file.Take()) throw Failure("a worker is on the profile " + context.profile + " already");
  Watch watch(context, file, once);
  int signal = SIGHUP;
  while (signal == SIGHUP) {
    const std::vector<WorkerLine> lines = LinesOf(context, modems);
    if (lines.empty()) throw Failure("there is no modem to work with; see 'mvsms modem add'");
    if (!once) Announce(context, lines);
    signal = watch.Over(lines);
  }
}

}  // namespace mvsms::cli
