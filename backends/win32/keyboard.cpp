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

bool IsDown(int key) { return ::GetKeyState(key) < 0; }

/// Ctrl+Tab and Ctrl+Page Down: one page on; with Shift, and Ctrl+Page Up: one back.
int PagesTurned(const MSG& message) {
  if (message.message != WM_KEYDOWN || !IsDown(VK_CONTROL) || IsDown(VK_MENU)) return 0;
  switch (message.wParam) {
    case VK_TAB:
      return IsDown(VK_SHIFT) ? -1 : 1;
    case VK_NEXT:
      return 1;
    case VK_PRIOR:
      return -1;
    default:
      return 0;
  }
}

/// A list with a selected row takes Enter like a double click.
bool ActivatesRow(const MSG& message) {
  if (message.message != WM_KEYDOWN || message.wParam != VK_RETURN) return false;
  wchar_t type[32] = L"";
  ::GetClassNameW(message.hwnd, type, 32);
  return ::lstrcmpiW(type, WC_LISTVIEWW) == 0 &&
         ::SendMessageW(message.hwnd, LVM_GETSELECTEDCOUNT, 0, 0) > 0;
}

/// True when the message was for the form as a whole.
bool TakenBy(HWND form, MSG& message) {
  const int pages = PagesTurned(message);
  if (pages != 0 && ::SendMessageW(form, kTurnPage, 0, pages)) return true;
  return !ActivatesRow(message) && ::IsDialogMessageW(form, &message);
}

LRESULT CALLBACK OnMessage(int code, WPARAM removed, LPARAM lparam) {
  auto* const message = reinterpret_cast<MSG*>(lparam);
  if (code == HC_ACTION && removed == PM_REMOVE && IsKey(message->message)) {
    const HWND root = ::GetAncestor(message->hwnd, GA_ROOT);
    if (Keyboard().windows.count(root) != 0 && TakenBy(root, *message)) {
      message->message = WM_NULL;
    }
  }
  return ::CallNextHookEx(nullptr, code, removed, lparam);
}

}  // namespace

KeyboardHook::KeyboardHook() {
  ThreadKeyboard& keyboard = Keyboard();
  if (keyboard.users++ == 0) {
    keyboard.hook = ::SetWindowsHookExW(WH_GETMESSAGE, OnMessage, nullptr, ::GetCurrentThreadId());
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
