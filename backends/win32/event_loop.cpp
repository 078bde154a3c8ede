// The message loop of the thread and its windowless timers.
#include <map>
#include <set>

#include "backends/win32/backend.h"
#include "backends/win32/per_thread.h"

namespace mvsms::win32 {
namespace {

class Win32EventLoop : public EventLoop {
 public:
  void Sleep(std::chrono::milliseconds duration) override {
    if (duration.count() > 0) ::Sleep(static_cast<DWORD>(duration.count()));
  }

  void DoEvents() override {
    MSG message;
    while (::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) {
        // It is for the host's own loop: hand it on and stop, or it would come back for ever.
        ::PostQuitMessage(static_cast<int>(message.wParam));
        return;
      }
      ::TranslateMessage(&message);
      ::DispatchMessageA(&message);
    }
  }
};

// The timers of the thread: the system's callback has no argument of its own to find them by.
using RunningTimers = std::map<TimerId, Timers::TimerProc>;
RunningTimers& Running() {
  static auto& timers = *new PerThread<RunningTimers>;
  return timers.Get();
}

void CALLBACK TimerCallback(HWND, UINT, UINT_PTR id, DWORD) {
  RunningTimers& running = Running();
  const auto found = running.find(id);
  if (found == running.end()) return;  // a tick that was queued before the timer was stopped
  const Timers::TimerProc proc = found->second;  // the tick may stop its own timer
  proc(id);
}

class Win32Timers : public Timers {
 public:
  ~Win32Timers() override {
    while (!own_.empty()) KillTimer(*own_.begin());
  }
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override {
    const TimerId id = ::SetTimer(nullptr, 0, interval_ms, TimerCallback);
    if (id == 0) return 0;
    Running()[id] = std::move(proc);
    own_.insert(id);
    return id;
  }
  bool KillTimer(TimerId id) override {
    if (own_.erase(id) == 0) return false;
    Running().erase(id);
    return ::KillTimer(nullptr, id) != FALSE;
  }

 private:
  std::set<TimerId> own_;
};

}  // namespace

std::unique_ptr<EventLoop> MakeEventLoop() { return std::make_unique<Win32EventLoop>(); }
std::unique_ptr<Timers> MakeTimers() { return std::make_unique<Win32Timers>(); }

}  // namespace mvsms::win32
