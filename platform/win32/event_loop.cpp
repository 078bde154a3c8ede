// The message loop of the thread and its windowless timers.
#include <map>
#include <set>
#include <utility>

#include "platform/win32/backend.h"
#include "platform/win32/win.h"

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
thread_local std::map<TimerId, Timers::TimerProc> running;

void CALLBACK TimerCallback(HWND, UINT, UINT_PTR id, DWORD) {
  const auto found = running.find(id);
  if (found == running.end()) return;  // a tick that was queued before the timer was stopped
  const Timers::TimerProc proc = found->second;  // the tick may stop its own timer
  proc(id);
}

class Win32Timers : public Timers {
 public:
  Win32Timers() { running.size(); }  // so that the table outlives this object when a thread ends
  Win32Timers(const Win32Timers&) = delete;
  Win32Timers& operator=(const Win32Timers&) = delete;
  /// Stops what still runs: the callbacks belong to the thread's own objects.
  ~Win32Timers() override {
    for (const TimerId id : std::exchange(started_, {})) KillTimer(id);
  }

  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override {
    const TimerId id = ::SetTimer(nullptr, 0, interval_ms, TimerCallback);
    if (id == 0) return 0;
    running[id] = std::move(proc);
    started_.insert(id);
    return id;
  }
  bool KillTimer(TimerId id) override {
    started_.erase(id);
    if (running.erase(id) == 0) return false;
    return ::KillTimer(nullptr, id) != FALSE;
  }

 private:
  std::set<TimerId> started_;
};

}  // namespace

std::unique_ptr<EventLoop> MakeEventLoop() { return std::make_unique<Win32EventLoop>(); }
std::unique_ptr<Timers> MakeTimers() { return std::make_unique<Win32Timers>(); }

}  // namespace mvsms::win32
