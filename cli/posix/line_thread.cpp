// See line_thread.h.
#include "cli/posix/line_thread.h"

#include <ctime>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>

#include "backends/posix/hub/hub.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/line_turn.h"
#include "backends/posix/store/hub_record.h"
#include "backends/posix/store/journal.h"
#include "backends/posix/store/queue.h"
#include "backends/posix/system/system_log.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/send_record.h"
#include "cli/system.h"
#include "engine/profile.h"

namespace mvsms::cli {
namespace {

using namespace std::chrono_literals;
using dispatch::JournalRow;
using dispatch::LineState;

constexpr auto kLongestWait = 5s;       // without being woken
constexpr auto kAfterTrouble = 5s;      // of the queue
constexpr std::uint32_t kLookMs = 200;  // whether to end, during a call

/// One line at work. Everything in it is of its thread.
class Line : private dispatch::WorkerHost {
 public:
  Line(WorkFloor& floor, HubShare* share, const std::string& home, dispatch::WorkerLine line)
      : floor_(floor),
        home_(home),
        modem_(line.modem),
        name_(Utf8FromAnsi(line.modem)),
        profile_(line.profile),
        platform_(MakePlatform(home)),
        queue_(home),
        journal_(home),
        record_(home),
        worker_(*platform_, PagesFrom(share), *this, std::move(line), posix::SystemNow) {
    platform_->timers().SetTimer(kLookMs, [this](TimerId) {
      floor_.Heartbeat(name_);
      if (floor_.finishing()) worker_.Finish();
      if (floor_.aborting()) worker_.Stop();
    });
  }

  void Work(bool once) {
    std::uint64_t seen = 0;
    floor_.Tell(name_, LineState::kIdle, "");
    while (!floor_.finishing()) {
      const bool worked = WorkOnce();
      turn_.reset();
      if (worked) {
        floor_.WakeAll();  // whoever waited for the end of this page's try
      } else if (once && state_ != LineState::kWaiting) {
        return;
      } else {
        floor_.WaitForWork(seen);
      }
      floor_.Heartbeat(name_);
    }
  }

 private:
  dispatch::PageSource& PagesFrom(HubShare* share) {
    if (share == nullptr) return queue_;
    hub_.emplace(share->wire);
    return shared_.emplace(queue_, *hub_, record_, share->hints, share->machine, posix::SystemNow);
  }

  bool WorkOnce() try { return worker_.Work(); } catch (const RaisedError& error) {
    Tell(error.description());
    platform_->loop().Sleep(kAfterTrouble);
    return false;
  }

  void Record(const JournalRow& row) override {
    if (!row.outcome.empty()) {
      floor_.Print(name_ + ": " + SystemLogLine(row));
      if (row.outcome == NameOf(dispatch::Outcome::kAccepted)) floor_.Succeeded(name_);
      TellSystem(row);
    }
    journal_.Put(row);
  }

  void TellSystem(const JournalRow& row) {
    std::string profile = profile_;
    const Profile settings(platform_->registry(), BaseKey(profile));
    if (settings.NumberOrInitial(setting::kSyslog) != 1) return;
    WriteSystemLog(row.outcome == NameOf(dispatch::Outcome::kAccepted), SystemLogLine(row));
  }

  std::string TakeModem(const std::string& modem) override {
    turn_.emplace(home_, modem);
    return AnsiFromUtf8(turn_->Look());
  }

  bool NothingDialled(const std::string& modem) override { return posix::NothingWasDialled(modem); }

  void Entered(LineState state, const std::string& why) override {
    const bool told_before = state == state_ && why == why_;
    state_ = state;
    why_ = why;
    floor_.Tell(name_, state, Utf8FromAnsi(why));
    if (why.empty() || told_before) return;
    floor_.Print(name_ + ": " + std::string(NameOf(state)) + ": " + Utf8FromAnsi(why));
  }

  void Tell(const std::string& sentence) override {
    floor_.Print(name_ + ": " + Utf8FromAnsi(sentence));
  }

  WorkFloor& floor_;
  const std::string home_;
  const std::string modem_;
  const std::string name_;  // UTF-8
  const std::string profile_;
  std::unique_ptr<Platform> platform_;
  posix::PageQueue queue_;
  posix::Journal journal_;
  posix::HubFile record_;
  std::optional<posix::ServerHub> hub_;
  std::optional<dispatch::SharedQueue> shared_;
  std::optional<posix::LineTurn> turn_;
  LineState state_ = LineState::kIdle;
  std::string why_;
  dispatch::LineWorker worker_;
};

}  // namespace

void WorkFloor::WakeAll() {
  const std::lock_guard guard(mutex_);
  ++wakings_;
  wake_.notify_all();
}

std::map<std::string, WorkFloor::LineNews> WorkFloor::News() {
  const std::lock_guard guard(mutex_);
  return news_;
}

void WorkFloor::WaitForWork(std::uint64_t& seen) {
  std::unique_lock guard(mutex_);
  wake_.wait_for(guard, kLongestWait, [&] { return wakings_ != seen || finishing_; });
  seen = wakings_;
}

bool WorkFloor::WaitForEnd(std::chrono::milliseconds longest) {
  std::unique_lock guard(mutex_);
  return end_.wait_for(guard, longest, [this] { return over_; });
}

void WorkFloor::End() {
  const std::lock_guard guard(mutex_);
  over_ = true;
  end_.notify_all();
}

void WorkFloor::Print(const std::string& line) {
  const std::lock_guard guard(mutex_);
  out_ << Printable(line) << std::endl;
}

void WorkFloor::Tell(const std::string& line, LineState state, const std::string& why) {
  const std::lock_guard guard(mutex_);
  LineNews& news = news_[line];
  news.heard = std::chrono::steady_clock::now();
  if (news.since != 0 && news.state == state && news.why == why) return;
  news.state = state;
  news.why = why;
  news.since = std::time(nullptr);
}

void WorkFloor::Heartbeat(const std::string& line) {
  const std::lock_guard guard(mutex_);
  news_[line].heard = std::chrono::steady_clock::now();
}

void WorkFloor::Succeeded(const std::string& line) {
  const std::lock_guard guard(mutex_);
  news_[line].last_success = std::time(nullptr);
}

LineThread::LineThread(WorkFloor& floor, HubShare* share, std::string home,
                       dispatch::WorkerLine line, bool once)
    : thread_([&floor, share, home = std::move(home), line = std::move(line), once] {
        try {
          Line(floor, share, home, line).Work(once);
        } catch (const std::exception& error) {
          floor.Print(Utf8FromAnsi(line.modem) + ": the line has ended: " + error.what());
        }
        floor.Ended();
      }) {}

}  // namespace mvsms::cli
