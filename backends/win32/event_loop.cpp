// The message loop of the thread and its windowless timers.
#include <map>
#include <memory>
#include <set>

#include "backends/win32/backend.h"
#include "backends/win32/per_thread.h"

namespace mvsms::win32 {
namespace {

/// Longest time for one round of messages, in milliseconds. A host that posts to itself would never
/// let a round end.
constexpr ULONGLONG kLongestRound = 100;

/// A WM_QUIT is for the host's own loop. It is kept out of the queue during a round, for the timers
/// come after it and would stand still, and posted again at the end.
class KeptQuit {
 public:
  KeptQuit() = default;
  KeptQuit(const KeptQuit&) = delete;
  KeptQuit& operator=(const KeptQuit&) = delete;
  ~KeptQuit() {
    if (kept_) ::PostQuitMessage(code_);
  }
  void Keep(int code) {
    kept_ = true;
    code_ = code;
  }

 private:
  bool kept_ = false;
  int code_ = 0;
};

class Win32EventLoop : public EventLoop {
 public:
  void Sleep(std::chrono::milliseconds duration) override {
    if (duration.count() > 0) ::Sleep(static_cast<DWORD>(duration.count()));
  }

  void DoEvents() override {
    KeptQuit quit;
    Round(0, 0, quit);
    Round(WM_TIMER, WM_TIMER, quit);  // timers come last, and a round that was cut short had none
  }

 private:
  /// Hands on the messages from `first` to `last` (0, 0: all). The functions for Unicode lose no
  /// character, and the system converts for windows that want the code page.
  static void Round(UINT first, UINT last, KeptQuit& quit) {
    const ULONGLONG end = ::GetTickCount64() + kLongestRound;
    MSG message;
    while (::PeekMessageW(&message, nullptr, first, last, PM_REMOVE)) {
      if (message.message == WM_QUIT) {
        quit.Keep(static_cast<int>(message.wParam));
      } else {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
      }
      if (::GetTickCount64() >= end) return;
    }
  }
};

// The timers of the thread: the system's callback has no argument of its own to find them by.
// Shared with those who set them, for they may outlive the thread.
using RunningTimers = std::map<TimerId, Timers::TimerProc>;
struct ThreadTimers {
  std::shared_ptr<RunningTimers> running = std::make_shared<RunningTimers>();
};
PerThread<ThreadTimers>& AllTimers() {
  static auto& timers = *new PerThread<ThreadTimers>;
  return timers;
}

void Tick(TimerId id) {
  ThreadTimers* const own = AllTimers().Find();
  if (!own) return;
  const auto found = own->running->find(id);
  if (found == own->running->end()) return;      // queued before the timer was stopped
  const Timers::TimerProc proc = found->second;  // the tick may stop its own timer
  proc(id);
}

void CALLBACK TimerCallback(HWND, UINT, UINT_PTR id, DWORD) {
  try {
    Tick(id);
  } catch (...) {
    // Above stands the system's code, which no exception may pass. Every user of a timer reports
    // its own failures.
  }
}

class Win32Timers : public Timers {
 public:
  ~Win32Timers() override {
    while (!own_.empty()) KillTimer(*own_.begin());
  }
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override {
    const TimerId id = ::SetTimer(nullptr, 0, interval_ms, TimerCallback);
    if (id == 0) return 0;
    (*running_)[id] = std::move(proc);
    own_.insert(id);
    return id;
  }
  bool KillTimer(TimerId id) override {
    if (own_.erase(id) == 0) return false;
    running_->erase(id);
    return !IsOwnThread() || ::KillTimer(nullptr, id) != FALSE;
  }

 private:
  /// False after the end of the thread: its timers ended with it, and the number may by now be that
  /// of a timer of the calling thread.
  bool IsOwnThread() const {
    const ThreadTimers* const own = AllTimers().Find();
    return own && own->running == running_;
  }

  const std::shared_ptr<RunningTimers> running_ = AllTimers().Get().running;
  std::set<TimerId> own_;
};

}  // namespace

std::unique_ptr<EventLoop> MakeEventLoop() { return std::make_unique<Win32EventLoop>(); }
std::unique_ptr<Timers> MakeTimers() { return std::make_unique<Win32Timers>(); }

}  // namespace mvsms::win32
