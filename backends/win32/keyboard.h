// Tab, Enter, Escape, access keys and the keys that turn pages, for forms that are shown without a
// message loop of ours: the host's loop knows nothing of them, so the keys are picked out of the
// thread's messages.
#pragma once

#include "backends/win32/win.h"

namespace mvsms::win32 {

/// Sent to a form's window when the user turns to another of its pages: how many pages on. The
/// answer is whether there was one to turn to.
inline constexpr UINT kTurnPage = WM_APP + 2;

/// Active on the thread that made it, for as long as one exists there.
class KeyboardHook {
 public:
  KeyboardHook();
  ~KeyboardHook();
  KeyboardHook(const KeyboardHook&) = delete;
  KeyboardHook& operator=(const KeyboardHook&) = delete;

  /// Gives the keys of this top-level window dialog behaviour, or takes it back.
  void Serve(HWND window);
  void Forget(HWND window);

 private:
  const DWORD thread_ = ::GetCurrentThreadId();
};

}  // namespace mvsms::win32
