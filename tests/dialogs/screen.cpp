// See screen.h. Messages that carry pointers reach windows of this process only.
#include "tests/dialogs/screen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>

#include "backends/memory/memory_platform.h"
#include "backends/win32/text.h"
#include "resources/string_table.h"

namespace mvsms::screen {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPatience{10'000};
constexpr UINT kDpiChanged = 0x02E0;  // winuser.h WM_DPICHANGED
constexpr int kCellMargins = 12;      // pixels left and right of a text in a list

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = L"";
  ::GetClassNameW(window, name, 64);
  return name;
}

bool IsOfClass(HWND window, const wchar_t* type) {
  return ::lstrcmpiW(ClassOf(window).c_str(), type) == 0;
}

std::string WithoutKeys(std::string caption) {
  std::string plain;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&' && i + 1 < caption.size()) ++i;
    plain += caption[i];
  }
  return plain;
}

SIZE SizeOf(HWND window, const std::string& text, UINT format) {
  const HDC dc = ::GetDC(window);
  const auto font = ::SendMessageW(window, WM_GETFONT, 0, 0);
  const HGDIOBJ before = ::SelectObject(dc, reinterpret_cast<HGDIOBJ>(font));
  RECT area = {};
  ::GetClientRect(window, &area);
  area.bottom = 0;
  ::DrawTextW(dc, win32::WideFromAnsi(text).c_str(), -1, &area, DT_CALCRECT | format);
  ::SelectObject(dc, before);
  ::ReleaseDC(window, dc);
  return {area.right - area.left, area.bottom - area.top};
}

}  // namespace

std::vector<HWND> VisibleControls(HWND form) {
  std::vector<HWND> controls;
  ::EnumChildWindows(
      form,
      [](HWND window, LPARAM list) CALLBACK -> BOOL {
        if (::IsWindowVisible(window))
          reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&controls));
  return controls;
}

std::string TextOf(HWND window) {
  const auto room = static_cast<std::size_t>(::SendMessageW(window, WM_GETTEXTLENGTH, 0, 0)) + 1;
  std::wstring text(room, L'\0');
  const LRESULT length =
      ::SendMessageW(window, WM_GETTEXT, room, reinterpret_cast<LPARAM>(text.data()));
  text.resize(static_cast<std::size_t>(length));
  return win32::AnsiFromWide(text);
}

bool IsGerman() { return (::GetUserDefaultUILanguage() & 0x3FF) == 7; }

std::string Text(int id) {
  static memory::MemoryPlatform platform;
  platform.language = IsGerman() ? kLanguageGerman : kLanguageEnglish;
  return LoadResString(platform.locale(), static_cast<std::uint16_t>(id));
}

bool WaitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(10));
  }
  return true;
}

HWND Window(const std::string& title) {
  struct Search {
    std::string title;
    HWND found = nullptr;
  } search{title};
  const auto look = [&] {
    search.found = nullptr;
    ::EnumWindows(
        [](HWND window, LPARAM parameter) CALLBACK -> BOOL {
          auto& wanted = *reinterpret_cast<Search*>(parameter);
          DWORD process = 0;
          ::GetWindowThreadProcessId(window, &process);
          if (process != ::GetCurrentProcessId() || !::IsWindowVisible(window)) return TRUE;
          if (!::IsWindowEnabled(window) || TextOf(window) != wanted.title) return TRUE;
          wanted.found = window;
          return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found != nullptr;
  };
  if (!WaitUntil(look)) ADD_FAILURE() << "no window \"" << title << "\"";
  if (search.found) Settle(search.found);
  return search.found;
}

void WaitForEnd(HWND window) {
  EXPECT_TRUE(WaitUntil([&] { return !::IsWindow(window) || !::IsWindowVisible(window); }))
      << "the window stays";
}

void Settle(HWND form) {
  for (int i = 0; i < 3; ++i) ::SendMessageW(form, WM_NULL, 0, 0);
  std::this_thread::sleep_for(milliseconds(30));
  ::SendMessageW(form, WM_NULL, 0, 0);
}

HWND Captioned(HWND form, const std::string& caption) {
  for (const HWND control : VisibleControls(form)) {
    if (WithoutKeys(TextOf(control)) == caption) return control;
  }
  ADD_FAILURE() << "no control \"" << caption << "\"";
  return nullptr;
}

HWND After(HWND form, const std::string& label) {
  return ::GetWindow(Captioned(form, label), GW_HWNDNEXT);
}

HWND OfClass(HWND form, const wchar_t* window_class, int n) {
  for (const HWND control : VisibleControls(form)) {
    if (IsOfClass(control, window_class) && n-- == 0) return control;
  }
  ADD_FAILURE() << "no control of class " << win32::AnsiFromWide(window_class);
  return nullptr;
}

std::string CaptionOf(HWND window) { return WithoutKeys(TextOf(window)); }

void Click(HWND button) {
  ::PostMessageW(button, BM_CLICK, 0, 0);
  Settle(::GetAncestor(button, GA_ROOT));
}

void Type(HWND box, const std::string& text) {
  ::SendMessageW(box, EM_SETSEL, 0, -1);
  if (text.empty()) ::SendMessageW(box, WM_CLEAR, 0, 0);
  for (const wchar_t letter : win32::WideFromAnsi(text)) ::SendMessageW(box, WM_CHAR, letter, 0);
  Settle(::GetAncestor(box, GA_ROOT));
}

std::vector<std::string> EntriesOf(HWND combo) {
  std::vector<std::string> entries;
  const LRESULT count = ::SendMessageW(combo, CB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    wchar_t text[512] = L"";
    ::SendMessageW(combo, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
    entries.push_back(win32::AnsiFromWide(text));
  }
  return entries;
}

void Choose(HWND combo, const std::string& entry) {
  const auto entries = EntriesOf(combo);
  const auto wanted = std::find(entries.begin(), entries.end(), entry) - entries.begin();
  ASSERT_LT(wanted, static_cast<std::ptrdiff_t>(entries.size())) << entry;
  for (std::size_t i = 0; i <= entries.size(); ++i) {
    const LRESULT now = ::SendMessageW(combo, CB_GETCURSEL, 0, 0);
    if (now == wanted) break;
    ::SendMessageW(combo, WM_KEYDOWN, now < wanted ? VK_DOWN : VK_UP, 0);
  }
  Settle(::GetAncestor(combo, GA_ROOT));
}

void SelectTab(HWND form, int index) {
  const HWND strip = OfClass(form, WC_TABCONTROLW);
  ::SendMessageW(strip, TCM_SETCURFOCUS, static_cast<WPARAM>(index), 0);
  Settle(form);
}

void SelectRow(HWND list, int row) {
  LVITEMW item = {};
  item.stateMask = item.state = LVIS_SELECTED | LVIS_FOCUSED;
  ::SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
  Settle(::GetAncestor(list, GA_ROOT));
}

void DoubleClickRow(HWND list, int row) {
  RECT place = {};
  place.left = LVIR_LABEL;
  ::SendMessageW(list, LVM_GETITEMRECT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&place));
  const LPARAM point = MAKELPARAM(place.left + 5, (place.top + place.bottom) / 2);
  for (const UINT message :
       {UINT{WM_LBUTTONDOWN}, UINT{WM_LBUTTONUP}, UINT{WM_LBUTTONDBLCLK}, UINT{WM_LBUTTONUP}}) {
    ::PostMessageW(list, message, message == WM_LBUTTONUP ? 0 : MK_LBUTTON, point);
  }
  Settle(::GetAncestor(list, GA_ROOT));
}

std::vector<std::string> RowsOf(HWND list) {
  const auto head = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
  const LRESULT columns = ::SendMessageW(head, HDM_GETITEMCOUNT, 0, 0);
  const LRESULT count = ::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0);
  std::vector<std::string> rows;
  for (LRESULT row = 0; row < count; ++row) {
    std::string texts;
    for (int column = 0; column < columns; ++column) {
      wchar_t text[256] = L"";
      LVITEMW item = {};
      item.iSubItem = column;
      item.pszText = text;
      item.cchTextMax = 256;
      ::SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                     reinterpret_cast<LPARAM>(&item));
      texts += (column == 0 ? "" : "|") + win32::AnsiFromWide(text);
    }
    rows.push_back(texts);
  }
  return rows;
}

HWND FocusOf(HWND form) {
  GUITHREADINFO info = {};
  info.cbSize = sizeof info;
  ::GetGUIThreadInfo(::GetWindowThreadProcessId(form, nullptr), &info);
  return info.hwndFocus;
}

void Press(HWND form, WORD key) {
  HWND target = FocusOf(form);
  if (!target) target = form;
  ::PostMessageW(target, WM_KEYDOWN, key, 1);
  ::PostMessageW(target, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
  Settle(form);
}

void PressAlt(HWND form, char letter) {
  HWND target = FocusOf(form);
  if (!target) target = form;
  ::PostMessageW(target, WM_SYSCHAR, static_cast<WPARAM>(letter), 0x20000001);
  Settle(form);
}

void TakePicture(HWND window, const std::string& name) {
  char folder[MAX_PATH] = "";
  if (::GetEnvironmentVariableA("MVSMS_SCREENSHOTS", folder, sizeof folder) == 0) return;
  ::RedrawWindow(window, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
  Settle(window);
  RECT place = {};
  ::GetWindowRect(window, &place);
  const int width = place.right - place.left;
  const int height = place.bottom - place.top;
  const HDC screen = ::GetDC(nullptr);
  const HDC copy = ::CreateCompatibleDC(screen);
  BITMAPINFO info = {};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, height, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  const HBITMAP bitmap = ::CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  const HGDIOBJ before = ::SelectObject(copy, bitmap);
  ::BitBlt(copy, 0, 0, width, height, screen, place.left, place.top, SRCCOPY);
  ::GdiFlush();
  const auto size = static_cast<DWORD>((width * 3 + 3) / 4 * 4 * height);  // lines of whole words
  BITMAPFILEHEADER head = {
      0x4D42, static_cast<DWORD>(sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)) + size, 0, 0,
      sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)};
  std::ofstream file(
      "Z:" + std::string(folder) + "/" + name + (IsGerman() ? "-de" : "-en") + ".bmp",
      std::ios::binary);
  file.write(reinterpret_cast<const char*>(&head), sizeof head);
  file.write(reinterpret_cast<const char*>(&info.bmiHeader), sizeof info.bmiHeader);
  file.write(static_cast<const char*>(bits), static_cast<std::streamsize>(size));
  ::SelectObject(copy, before);
  ::DeleteObject(bitmap);
  ::DeleteDC(copy);
  ::ReleaseDC(nullptr, screen);
}

void PressCtrl(HWND form, WORD key) {
  const DWORD own = ::GetCurrentThreadId();
  const DWORD thread = ::GetWindowThreadProcessId(form, nullptr);
  ::AttachThreadInput(own, thread, TRUE);  // shares the state of the keys
  BYTE keys[256] = {};
  keys[VK_CONTROL] = 0x80;
  ::SetKeyboardState(keys);
  Press(form, key);
  keys[VK_CONTROL] = 0;
  ::SetKeyboardState(keys);
  ::AttachThreadInput(own, thread, FALSE);
}

void ChangeDpi(HWND form, UINT dpi) {
  RECT place = {};  // where all of the grown window is on the screen
  ::SendMessageW(form, kDpiChanged, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&place));
  Settle(form);
}

RECT PlaceIn(HWND form, HWND control) {
  RECT place = {};
  ::GetWindowRect(control, &place);
  ::MapWindowPoints(nullptr, form, reinterpret_cast<POINT*>(&place), 2);
  return place;
}

std::vector<std::string> CutOffControls(HWND form) {
  RECT area = {};
  ::GetClientRect(form, &area);
  std::vector<std::string> cut_off;
  for (const HWND control : VisibleControls(form)) {
    if (::GetParent(control) != form && ::GetParent(::GetParent(control)) != form) continue;
    const RECT place = PlaceIn(form, control);
    if (place.left >= 0 && place.top >= 0 && place.right <= area.right &&
        place.bottom <= area.bottom) {
      continue;
    }
    cut_off.push_back(win32::AnsiFromWide(ClassOf(control)) + " \"" + TextOf(control) + "\"");
  }
  return cut_off;
}

std::vector<std::string> CutOffCells(HWND list) {
  std::vector<std::string> cut_off;
  const auto header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
  const LRESULT columns = ::SendMessageW(header, HDM_GETITEMCOUNT, 0, 0);
  const LRESULT rows = ::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0);
  for (LRESULT column = 0; column < columns; ++column) {
    wchar_t text[256] = L"";
    const LRESULT room = ::SendMessageW(list, LVM_GETCOLUMNWIDTH, static_cast<WPARAM>(column), 0);
    LVCOLUMNW title = {};
    title.mask = LVCF_TEXT;
    title.pszText = text;
    title.cchTextMax = 256;
    ::SendMessageW(list, LVM_GETCOLUMNW, static_cast<WPARAM>(column),
                   reinterpret_cast<LPARAM>(&title));
    for (LRESULT row = -1; row < rows; ++row) {
      if (row >= 0) {
        LVITEMW item = {};
        item.iSubItem = static_cast<int>(column);
        item.pszText = text;
        item.cchTextMax = 256;
        ::SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                       reinterpret_cast<LPARAM>(&item));
      }
      const std::string shown = win32::AnsiFromWide(text);
      if (SizeOf(list, shown, DT_SINGLELINE).cx + kCellMargins > room) cut_off.push_back(shown);
    }
  }
  return cut_off;
}

std::vector<std::string> ClippedCaptions(HWND form) {
  std::vector<std::string> clipped;
  for (const HWND control : VisibleControls(form)) {
    const bool button = IsOfClass(control, WC_BUTTONW);
    if (!button && !IsOfClass(control, WC_STATICW)) continue;
    RECT area = {};
    ::GetClientRect(control, &area);
    const auto kind = ::GetWindowLongPtrW(control, GWL_STYLE) & BS_TYPEMASK;
    const bool push = button && (kind == BS_PUSHBUTTON || kind == BS_DEFPUSHBUTTON);
    const int margin = !button ? 0 : push ? 8 : 20;  // frame, or check mark and gap
    const std::string text = WithoutKeys(TextOf(control));
    const SIZE size = SizeOf(control, text, button ? DT_SINGLELINE : DT_WORDBREAK);
    if (size.cx + margin > area.right || size.cy > area.bottom) clipped.push_back(text);
  }
  return clipped;
}

}  // namespace mvsms::screen
