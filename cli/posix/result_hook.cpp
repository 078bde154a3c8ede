// See result_hook.h. The queue is asked what changed: whatever ends a page, a line, a sweep or an
// operator, is told by one way, and no line waits for a command.
#include "cli/posix/result_hook.h"

#include <chrono>
#include <deque>
#include <set>
#include <utility>
#include <vector>

#include "backends/posix/store/queue.h"
#include "backends/posix/system/program.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/json.h"
#include "cli/posix/views.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

using namespace std::chrono_literals;
using dispatch::Moment;
using dispatch::PageState;
using dispatch::QueuedPage;
using Ticks = std::chrono::steady_clock;

constexpr auto kLook = 500ms;
constexpr auto kOverlap = 5s;  // a change may be seen so long after its moment
constexpr auto kLongestRun = 30s;
constexpr auto kLastRuns = 5s;  // when the worker ends

constexpr dispatch::PageStates kEnded = {PageState::kReady, PageState::kAccepted,
                                         PageState::kParked, PageState::kExpired,
                                         PageState::kJoined};

/// A page that nobody has tried yet has no result.
bool HasEnded(const QueuedPage& queued) {
  return queued.state != PageState::kReady || queued.attempts > 0;
}

class Teller {
 public:
  Teller(const std::string& home, const std::string& profile, const std::string& command,
         const std::function<void(const std::string&)>& tell, const std::atomic<bool>& ending)
      : queue_(home),
        profile_(AnsiFromUtf8(profile)),
        words_(gateway::CommandWords(command)),
        tell_(tell),
        ending_(ending) {}

  void Work() {
    while (!ending_) {
      Look();
      if (waiting_.empty()) {
        std::this_thread::sleep_for(kLook);
      } else {
        RunNext(kLongestRun);
      }
    }
    Look();
    const auto until = Ticks::now() + kLastRuns;
    while (!waiting_.empty() && Ticks::now() < until) RunNext(kLastRuns);
    if (waiting_.empty()) return;
    tell_("--on-result was not run for " + std::to_string(waiting_.size()) +
          " pages, because the worker ends");
  }

 private:
  /// Notes whatever ended since the last look, once.
  void Look() try {
    const Moment now = posix::SystemNow();
    std::set<std::pair<std::string, Moment>> seen;
    for (const QueuedPage& queued : queue_.List({.states = kEnded, .changed_since = since_})) {
      if (queued.page.profile != profile_ || !HasEnded(queued) || queued.changed < begun_) continue;
      const auto event = std::make_pair(queued.page.id, queued.changed);
      seen.insert(event);
      if (!seen_.contains(event)) waiting_.push_back(PageJson(queued));
    }
    seen_ = std::move(seen);
    since_ = now - kOverlap;
  } catch (const RaisedError& error) {
    tell_("--on-result: " + Utf8FromAnsi(error.description()));
    std::this_thread::sleep_for(kOverlap);
  }

  void RunNext(std::chrono::milliseconds most) try {
    const Json page = std::move(waiting_.front());
    waiting_.pop_front();
    const auto begun = Ticks::now();
    const auto end = posix::RunProgram(words_, JsonText(page) + "\n", most, [&] {
      return ending_ && Ticks::now() - begun >= kLastRuns;
    });
    const std::string id = page.at("id").get<std::string>();
    if (!end.exit_code)
      return tell_("--on-result took too long for page " + id + ", and was ended");
    if (*end.exit_code == 0) return;
    tell_("--on-result ended with exit code " + std::to_string(*end.exit_code) + " for page " + id);
  } catch (const RaisedError& error) {
    tell_("--on-result: " + Utf8FromAnsi(error.description()));
  }

  posix::PageQueue queue_;
  const std::string profile_;
  const std::vector<std::string> words_;
  const std::function<void(const std::string&)>& tell_;
  const std::atomic<bool>& ending_;
  const Moment begun_ = posix::SystemNow();
  Moment since_ = begun_;
  std::set<std::pair<std::string, Moment>> seen_;
  std::deque<Json> waiting_;
};

}  // namespace

ResultHook::ResultHook(const std::string& home, const std::string& profile,
                       const std::string& command,
                       std::function<void(const std::string& sentence)> tell)
    : thread_([this, home, profile, command, tell = std::move(tell)] {
        try {
          Teller(home, profile, command, tell, ending_).Work();
        } catch (const std::exception& error) {
          tell("--on-result: " + std::string(error.what()));
        }
      }) {}

ResultHook::~ResultHook() {
  ending_ = true;
  thread_.join();
}

}  // namespace mvsms::cli
