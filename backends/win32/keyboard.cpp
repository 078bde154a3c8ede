// A message hook per thread, for as long as the thread shows forms.
#include "backends/win32/keyboard.h"

#include <set>

#include "backends/win32/per_thread.h"

namespace mvsms::win32 {
namespace {

struct ThreadKeyboard {
  HHOOK hook = nullptr;
  int users = 0;
  std::set<HWND> windows;
};

ThreadKeyboard& Keyboard() {
  static auto& keyboards = *new PerThread<ThreadKeyboard>;
  return keyboards.Get();
}

bool IsKey(UINT message) { return message >= WM_KEYFIRST && message <= WM_KEYLAST; }

LRESULT CALLBACK OnMessage(int code, WPARAM removed, LPARAM lparam) {
  auto* const message = reinterpret_cast<MSG*>(lparam);
  if (code == HC_ACTION && removed == PM_REMOVE && IsKey(message->message)) {
    const HWND root = ::GetAncestor(message->hwnd, GA_ROOT);
    if (Keyboard().windows.count(root) != 0 && ::IsDialogMessageA(root, message)) {
      message->message = WM_NULL;
    }
  }
  return ::CallNextHookEx(nullptr, code, removed, lparam);
}

}  // namespace

KeyboardHook::KeyboardHook() {
  ThreadKeyboard& keyboard = Keyboard();
  if (keyboard.users++ == 0) {
    keyboard.hook = ::SetWindowsHookExA(WH_GETMESSAGE, OnMessage, nullptr, ::GetCurrentThreadId());
  }
}

KeyboardHook::~KeyboardHook() {
  if (thread_ != ::GetCurrentThreadId()) return;  // the form outlived its thread, the hook did not
  ThreadKeyboard& keyboard = Keyboard();
  if (--keyboard.users == 0 && keyboard.hook) ::UnhookWindowsHookEx(keyboard.hook);
}

void KeyboardHook::Serve(HWND window) { Keyboard().windows.insert(window); }

void KeyboardHook::Forget(HWND window) { Keyboard().windows.erase(window); }

}  // namespace mvsms::win32
