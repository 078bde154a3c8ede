// See courier_thread.h.
#include "cli/posix/courier_thread.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <utility>

#include "backends/posix/store/hub_record.h"
#include "backends/posix/store/journal.h"
#include "backends/posix/store/queue.h"
#include "backends/posix/system/process.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/system.h"
#include "cli/version.h"
#include "engine/profile.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

using dispatch::LineState;
using dispatch::MachineState;

using Ticks = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// Rounds are polls of the hub: a machine that has nothing to do asks it less than once a second.
constexpr auto kRound = 5s;
/// When there is something to do, a round begins early. Not at once after the one before: what
/// comes in a burst is one round's work, and a hundred machines hear of the same page.
constexpr auto kShortestRound = 1s;
constexpr auto kLook = 200ms;

/// The courier at work. Everything in it is of its thread.
class Rounds : private dispatch::CourierHost {
 public:
  Rounds(WorkFloor& floor, HubShare& share, const std::string& home, const std::string& profile,
         std::vector<dispatch::WorkerLine> lines)
      : floor_(floor),
        share_(share),
        profile_(profile),
        lines_(std::move(lines)),
        platform_(MakePlatform(home)),
        queue_(home),
        record_(home),
        journal_(home),
        hub_(share.wire),
        courier_(queue_, hub_, record_, share.hints, *this, share.machine, profile,
                 std::string(kVersion), posix::SystemNow) {}

  void Round() try {
    if (!checked_) hub_.CheckVersion();
    checked_ = true;
    looked_ = posix::SystemNow();
    courier_.Work();
    told_.clear();
    Listen();
    if (share_.hints.Any()) floor_.WakeAll();
  } catch (const RaisedError& error) {
    if (std::exchange(told_, error.description()) != told_) Tell(told_);
  }

  /// Waits until a round is due: for some seconds, or less when there is something to do. True when
  /// it is the last one.
  bool Wait() {
    const auto begun = Ticks::now();
    bool news = false;
    while (Ticks::now() < begun + (news ? kShortestRound : kRound)) {
      const auto notices = share_.ear->Hear(kLook);
      if (floor_.WaitForEnd(notices ? 0ms : kLook)) return true;
      if (!news) news = (notices && Concerns(*notices)) || HasWork();
    }
    return false;
  }

  /// One whose version was not seen yet does not answer.
  dispatch::HubSight sight() const {
    dispatch::HubSight sight = courier_.sight();
    if (!checked_ && !sight.away_since) sight.away_since = began_;
    return sight;
  }

 private:
  MachineState Look() override {
    MachineState state;
    const auto news = floor_.News();
    std::vector<std::string> all, working;
    for (const dispatch::WorkerLine& line : lines_) {
      all.insert(all.end(), line.names.begin(), line.names.end());
      const auto known = news.find(Utf8FromAnsi(line.modem));
      const LineState now = known == news.end() ? LineState::kIdle : known->second.state;
      if (now == LineState::kResting) continue;
      working.insert(working.end(), line.names.begin(), line.names.end());
      if (now == LineState::kIdle) ++state.free;
    }
    state.modems = static_cast<std::int32_t>(lines_.size());
    state.served = dispatch::ServicesOf(platform_->registry(), profile_, all);
    state.working = dispatch::ServicesOf(platform_->registry(), profile_, working);
    working_ = {state.working.begin(), state.working.end()};
    std::string name = profile_;
    const Profile settings(platform_->registry(), BaseKey(name));
    state.rules = dispatch::ReadRetryRules(settings);
    state.spill_after =
        std::chrono::seconds(std::max(settings.NumberOrInitial(setting::kSpillAfter), 0));
    return state;
  }

  void Listen() {
    if (courier_.sight().away_since || share_.ear->Hear(0ms)) return;
    share_.ear->Ask("LISTEN mvsms_ready; LISTEN mvsms_result", {});
  }

  bool Concerns(const std::vector<posix::HubNotice>& notices) const {
    return std::ranges::any_of(notices, [this](const posix::HubNotice& notice) {
      const std::string words = AnsiFromUtf8(notice.words);
      return notice.channel == "mvsms_result" ? words == share_.machine : working_.contains(words);
    });
  }

  /// A page that has come since the last round, and no line here is for it; or a result to tell.
  bool HasWork() try {
    if (courier_.sight().away_since) return false;
    const auto fresh =
        queue_.List({.states = {dispatch::PageState::kReady}, .changed_since = looked_});
    const auto open = record_.Open();
    return std::ranges::any_of(fresh,
                               [this](const auto& queued) {
                                 return queued.page.profile == profile_ &&
                                        !working_.contains(queued.page.service);
                               }) ||
           std::ranges::any_of(
               open, [](const auto& row) { return row.step >= dispatch::HubStep::kReturned; });
  } catch (const RaisedError&) {
    return false;  // the round says what is the matter
  }

  bool IsGone(const std::string& holder) override {
    return !posix::StillRuns(holder.substr(0, holder.find('/')));
  }

  void Record(const dispatch::JournalRow& row) override { journal_.Put(row); }

  std::optional<dispatch::JournalRow> Recorded(const std::string& id,
                                               dispatch::Moment since) override {
    return journal_.Known(id, since);
  }

  void Tell(const std::string& sentence) override {
    floor_.Print("hub: " + Utf8FromAnsi(sentence));
  }

  WorkFloor& floor_;
  HubShare& share_;
  const std::string profile_;
  const std::vector<dispatch::WorkerLine> lines_;
  const dispatch::Moment began_ = posix::SystemNow();
  std::unique_ptr<Platform> platform_;
  posix::PageQueue queue_;
  posix::HubFile record_;
  posix::Journal journal_;
  posix::ServerHub hub_;
  dispatch::Courier courier_;
  std::set<std::string> working_;  // the services that lines here carry, as of the last round
  dispatch::Moment looked_{};      // when that was
  bool checked_ = false;
  std::string told_;
};

}  // namespace

CourierThread::CourierThread(WorkFloor& floor, HubShare& share, std::string home,
                             std::string profile, std::vector<dispatch::WorkerLine> lines)
    : thread_([this, &floor, &share, home = std::move(home), profile = std::move(profile),
               lines = std::move(lines)] {
        try {
          Rounds rounds(floor, share, home, profile, lines);
          const auto look = [&] {
            rounds.Round();
            See(rounds.sight());
          };
          for (look(); !rounds.Wait();) look();
          if (!sight().away_since) look();  // or whoever ends the worker would wait for the network
        } catch (const std::exception& error) {
          floor.Print(std::string("hub: the courier has ended: ") + error.what());
          See({.away_since = posix::SystemNow()});
        }
      }) {}

dispatch::HubSight CourierThread::sight() {
  const std::lock_guard guard(mutex_);
  return sight_;
}

void CourierThread::See(const dispatch::HubSight& sight) {
  {
    const std::lock_guard guard(mutex_);
    sight_ = sight;
  }
  first_round_ = true;
  first_round_.notify_all();
}

}  // namespace mvsms::cli
