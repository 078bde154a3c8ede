// The dialog window of a form: made from its model, driven by its messages.
#include "backends/win32/form_window.h"

#include <algorithm>
#include <iterator>

#include "backends/win32/handles.h"
#include "backends/win32/text.h"
#include "base/raised_error.h"
#include "forms/accessibility.h"
#include "forms/mnemonics.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kShowChanges = WM_APP + 1;
constexpr WORD kFirstControlId = 100;
constexpr int kTipWidth = 4500;       // twips
constexpr UINT kDpiChanged = 0x02E0;  // winuser.h WM_DPICHANGED

void PrepareControls() {
  static const bool prepared = [] {
    INITCOMMONCONTROLSEX wanted = {sizeof wanted, ICC_LISTVIEW_CLASSES | ICC_TAB_CLASSES |
                                                      ICC_BAR_CLASSES | ICC_STANDARD_CLASSES |
                                                      ICC_LINK_CLASS};
    if (::InitCommonControlsEx(&wanted)) return true;
    wanted.dwICC = ICC_LISTVIEW_CLASSES | ICC_TAB_CLASSES | ICC_BAR_CLASSES;
    return ::InitCommonControlsEx(&wanted) != FALSE;
  }();
  static_cast<void>(prepared);
}

/// Lets a message loop of this thread look at its condition again.
void WakeLoop() { ::PostThreadMessageW(::GetCurrentThreadId(), WM_NULL, 0, 0); }

/// Of the screen that shows most of a window.
RECT WorkingArea(HWND window) {
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof monitor;
  ::GetMonitorInfoW(::MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &monitor);
  return monitor.rcWork;
}

/// Runs what belongs to the form. Nothing may escape into the system's window code.
template <class Action>
void Contained(Action action) {
  try {
    action();
  } catch (...) {
    // A form's own procedures have told the user already.
  }
}

}  // namespace

DisabledWindows::DisabledWindows(HWND except, HWND owner) : except_(except) {
  ::EnumThreadWindows(::GetCurrentThreadId(), DisableNext, reinterpret_cast<LPARAM>(this));
  if (owner) Disable(::GetAncestor(owner, GA_ROOT));
}

BOOL CALLBACK DisabledWindows::DisableNext(HWND window, LPARAM self) {
  auto& disabled = *reinterpret_cast<DisabledWindows*>(self);
  if (window != disabled.except_ && ::IsWindowVisible(window)) disabled.Disable(window);
  return TRUE;
}

DisabledWindows::~DisabledWindows() {
  for (const HWND window : windows_) ::EnableWindow(window, TRUE);
}

void DisabledWindows::Disable(HWND window) {
  if (!::IsWindowEnabled(window)) return;
  ::EnableWindow(window, FALSE);
  windows_.push_back(window);
}

FormWindow::FormWindow(Form& form) : form_(form) {
  PrepareControls();
  const CurrentLook look;
  MakeWindow();
  MakeControls();
  NameControls();
  MakeToolTips();
  MakeMenu();
  ShowForm(Aspect::kPlace);
  form_.design().passive ? MoveToCorner() : Centre();
  keyboard_.Serve(handle_);
}

FormWindow::~FormWindow() {
  disabled_.reset();
  keyboard_.Forget(handle_);
  if (handle_) {
    ::SetWindowLongPtrW(handle_, DWLP_USER, 0);
    TakeNamesBack(names_);
    windows_.clear();
    ::DestroyWindow(handle_);
  }
}

void FormWindow::MakeWindow() {
  struct {
    DLGTEMPLATE head;
    WORD menu, window_class, title;
  } empty = {};
  const auto owner = reinterpret_cast<HWND>(form_.OwnerWindow());
  // A window of its own can go to the task bar and fill the screen; one that has an owner belongs
  // to it.
  const DWORD boxes = owner ? 0 : WS_MINIMIZEBOX | WS_MAXIMIZEBOX;
  empty.head.style = WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN |
                     (form_.design().resizable ? WS_THICKFRAME | boxes : DS_MODALFRAME);
  empty.head.dwExtendedStyle = WS_EX_CONTROLPARENT;
  handle_ = ::CreateDialogIndirectParamW(OwnModule(), &empty.head, nullptr, Procedure, 0);
  if (!handle_) {
    throw RaisedError(static_cast<std::int32_t>(::GetLastError()), "Forms.CreatePeer",
                      "The window of " + form_.Name() + " could not be made");
  }
  if (owner) ::SetWindowLongPtrW(handle_, GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(owner));
  metrics_ = std::make_unique<FormMetrics>(DpiOf(handle_));
  ::SetWindowLongPtrW(handle_, DWLP_USER, reinterpret_cast<LONG_PTR>(this));
  ::SetWindowTextW(handle_, WideFromAnsi(form_.Caption()).c_str());
  ShowIcon();
}

/// Dialogs with a fixed frame have none, as everywhere in the system.
void FormWindow::ShowIcon() {
  if (!form_.design().resizable) return;
  const auto show = [this](WPARAM which, int metric, UniqueIcon& icon) {
    UniqueIcon next = OwnIcon(SystemMetric(metric, metrics_->Dpi()));
    ::SendMessageW(handle_, WM_SETICON, which, reinterpret_cast<LPARAM>(next.get()));
    icon = std::move(next);
  };
  show(ICON_SMALL, SM_CXSMICON, small_icon_);
  show(ICON_BIG, SM_CXICON, big_icon_);
}

/// The controls in their order, which is that of the Tab key. Tab strips lie behind their pages,
/// and so come last, as in the system's own property sheets.
void FormWindow::MakeControls() {
  const auto mnemonics = AssignMnemonics(form_);
  WORD next_id = kFirstControlId;
  const Control* before = nullptr;
  for (Control* control : form_.Controls()) {
    WORD id = next_id++;
    if (control->Type() == ControlType::kCommandButton) {
      const auto key = static_cast<CommandButton*>(control)->key();
      if (key == CommandButton::Key::kEnter) id = IDOK;
      if (key == CommandButton::Key::kEscape) id = IDCANCEL;
    }
    const auto page = windows_.find(control->Container());
    const auto mnemonic = mnemonics.find(control);
    ControlSite site;
    site.parent = page == windows_.end() ? handle_ : page->second->Handle();
    site.id = id;
    site.metrics = metrics_.get();
    if (mnemonic != mnemonics.end()) site.mnemonic = mnemonic->second;
    site.starts_group = control->Type() != ControlType::kOptionButton || before == nullptr ||
                        before->Type() != ControlType::kOptionButton;
    before = control;
    auto window = MakeControlWindow(*control, site);
    ids_[id] = control;
    if (!window) continue;
    windows_[control] = std::move(window);
  }
  for (const auto& [control, window] : windows_) {
    if (control->Type() != ControlType::kTabStrip) continue;
    ::SetWindowPos(window->Handle(), HWND_BOTTOM, 0, 0, 0, 0,
                   SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  }
  ::SendMessageW(handle_, DM_SETDEFID, ids_.count(IDOK) ? IDOK : 0, 0);
}

/// What shows its own caption has its name already.
void FormWindow::NameControls() {
  constexpr ControlType kNameless[] = {ControlType::kTextBox, ControlType::kComboBox,
                                       ControlType::kListView, ControlType::kTabStrip,
                                       ControlType::kToolbar};
  for (const auto& [control, window] : windows_) {
    if (std::count(std::begin(kNameless), std::end(kNameless), control->Type()) == 0) continue;
    names_[window->Handle()] = AccessibleName(*control);
  }
  GiveNames(names_);
}

/// One window shows the tips of all controls; it goes with the form's.
void FormWindow::MakeToolTips() {
  const HWND tips = ::CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr,
                                      WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX, 0, 0, 0, 0, handle_,
                                      nullptr, nullptr, nullptr);
  if (!tips) return;
  ::SendMessageW(tips, TTM_SETMAXTIPWIDTH, 0, metrics_->X(kTipWidth));  // with it, long ones wrap
  for (const auto& [control, window] : windows_) {
    TTTOOLINFOW tool = {};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = handle_;
    tool.uId = reinterpret_cast<UINT_PTR>(window->Handle());
    tool.lpszText = LPSTR_TEXTCALLBACKW;
    ::SendMessageW(tips, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
  }
}

void FormWindow::MakeMenu() {
  HMENU bar = nullptr;
  for (const auto& [id, control] : ids_) {
    if (control->Type() != ControlType::kMenu) continue;
    if (!bar) bar = ::CreateMenu();
    ::AppendMenuW(bar, MF_STRING, id, WideFromAnsi(control->Caption()).c_str());
  }
  if (bar) ::SetMenu(handle_, bar);
}

void FormWindow::Show() {
  ShowChanges();
  if (form_.design().passive) {
    ::ShowWindow(handle_, SW_SHOWNOACTIVATE);
    return;
  }
  if (!::IsWindowVisible(handle_)) FocusFirst();
  ::ShowWindow(handle_, SW_SHOW);
}

void FormWindow::RunModal() {
  disabled_ =
      std::make_unique<DisabledWindows>(handle_, reinterpret_cast<HWND>(form_.OwnerWindow()));
  Show();
  MSG message;
  while (handle_ && form_.IsVisible()) {
    const BOOL more = ::GetMessageW(&message, nullptr, 0, 0);
    if (more <= 0) {
      // The end of the program is for the host's own loop.
      if (more == 0) ::PostQuitMessage(static_cast<int>(message.wParam));
      form_.Unload();
      break;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  disabled_.reset();
}

/// The others are enabled first, or the system would bring another program to the front. A sent
/// message may be what hides the form, which the loop of RunModal would not notice.
void FormWindow::Hide() {
  disabled_.reset();
  ::ShowWindow(handle_, SW_HIDE);
  WakeLoop();
}

void FormWindow::BringToFront() { ::SetForegroundWindow(handle_); }

void FormWindow::Changed(const Control* control, Aspect aspect) {
  changes_.emplace(control, aspect);
  if (!std::exchange(posted_, true)) ::PostMessageW(handle_, kShowChanges, 0, 0);
}

void FormWindow::ShowChanges() {
  posted_ = false;
  const HWND focus = ::GetFocus();
  for (const auto& [control, aspect] : std::exchange(changes_, {})) {
    if (control == nullptr) {
      ShowForm(aspect);
    } else if (const auto window = windows_.find(control); window != windows_.end()) {
      window->second->Show(aspect);
    }
  }
  if (focus && ::IsWindowVisible(handle_) && ::IsChild(handle_, focus)) KeepFocus(focus);
}

void FormWindow::ShowForm(Aspect aspect) {
  if (aspect == Aspect::kText) {
    ::SetWindowTextW(handle_, WideFromAnsi(form_.Caption()).c_str());
  }
  if (aspect != Aspect::kPlace) return;
  const SIZE size = OuterSize(form_.Width(), form_.Height());
  sizing_ = true;
  ::SetWindowPos(handle_, nullptr, 0, 0, size.cx, size.cy,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  sizing_ = false;
}

SIZE FormWindow::OuterSize(int width, int height) const {
  RECT area = {0, 0, metrics_->X(width), metrics_->Y(height)};
  AddFrame(area, handle_, metrics_->Dpi());
  return {area.right - area.left, area.bottom - area.top};
}

void FormWindow::MoveTo(LONG left, LONG top, const RECT& work) {
  RECT own = {};
  ::GetWindowRect(handle_, &own);
  const LONG right_most = work.right - (own.right - own.left);
  const LONG lowest = work.bottom - (own.bottom - own.top);
  ::SetWindowPos(handle_, nullptr, std::max(work.left, std::min(left, right_most)),
                 std::max(work.top, std::min(top, lowest)), 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

/// Over its owner, or in the middle of the screen's working area.
void FormWindow::Centre() {
  const auto owner = reinterpret_cast<HWND>(form_.OwnerWindow());
  const RECT work = WorkingArea(owner ? owner : handle_);
  RECT own = {};
  RECT area = {};
  ::GetWindowRect(handle_, &own);
  if (!owner || !::IsWindowVisible(owner) || !::GetWindowRect(owner, &area)) area = work;
  MoveTo((area.left + area.right - (own.right - own.left)) / 2,
         (area.top + area.bottom - (own.bottom - own.top)) / 2, work);
}

/// Where notices of the system appear.
void FormWindow::MoveToCorner() {
  const RECT work = WorkingArea(handle_);
  MoveTo(work.right, work.bottom, work);
}

void FormWindow::Focus(HWND control) {
  ::SendMessageW(handle_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(control), TRUE);
}

void FormWindow::FocusFirst() {
  const auto wanted = windows_.find(form_.FirstFocus());
  if (wanted != windows_.end() && wanted->first->Enabled()) return Focus(wanted->second->Handle());
  if (const HWND first = ::GetNextDlgTabItem(handle_, nullptr, FALSE)) Focus(first);
}

/// Not to the button that closes the form, which is where a second press of a key would go.
void FormWindow::KeepFocus(HWND focus) {
  const bool visible = ::IsWindowVisible(focus) != FALSE;
  if (visible && ::IsWindowEnabled(focus)) return;
  const HWND next = ::GetNextDlgTabItem(handle_, visible ? focus : nullptr, FALSE);
  const bool closes = next && ::GetDlgCtrlID(next) == IDCANCEL;
  if (const HWND to = closes ? ::GetNextDlgTabItem(handle_, nullptr, FALSE) : next) Focus(to);
}

INT_PTR CALLBACK FormWindow::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* const self = reinterpret_cast<FormWindow*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  const auto alive = self->form_.weak_from_this().lock();
  return self->Handle(message, wparam, lparam);
}

INT_PTR FormWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_COMMAND:
      return OnCommand(LOWORD(wparam), HIWORD(wparam));
    case WM_NOTIFY:
      return OnNotify(*reinterpret_cast<NMHDR*>(lparam));
    case WM_CLOSE:
      Contained([&] { form_.Close(); });
      return TRUE;
    case WM_SIZE:
      if (wparam != SIZE_MINIMIZED && !sizing_) OnSize();
      return FALSE;
    case WM_GETMINMAXINFO:
      LimitSize(*reinterpret_cast<MINMAXINFO*>(lparam));
      return TRUE;
    case WM_PAINT:
      Contained([&] { form_.Paint(); });
      return FALSE;
    case kDpiChanged:
      Contained([&] { OnDpiChanged(HIWORD(wparam), *reinterpret_cast<const RECT*>(lparam)); });
      return TRUE;
    case kShowChanges:
      Contained([&] { ShowChanges(); });
      return TRUE;
    case kTurnPage:
      Contained([&, form = handle_] {
        ::SetWindowLongPtrW(form, DWLP_MSGRESULT, form_.TurnPage(static_cast<int>(lparam)));
      });
      return TRUE;
    case WM_NCDESTROY:  // along with its owner, which was destroyed
      ::SetWindowLongPtrW(handle_, DWLP_USER, 0);
      handle_ = nullptr;
      WakeLoop();
      return FALSE;
    default:
      return FALSE;
  }
}

bool FormWindow::OnCommand(WORD id, WORD code) {
  const auto found = ids_.find(id);
  if (found == ids_.end()) {
    if (id == IDCANCEL) Contained([&] { form_.Close(); });
    return id == IDCANCEL;
  }
  Control* const control = found->second;
  if (control->Type() == ControlType::kMenu) {
    Contained([&] { static_cast<Menu*>(control)->Click(); });
    return true;
  }
  const auto window = windows_.find(control);
  if (window != windows_.end()) Contained([&] { window->second->OnCommand(code); });
  return true;
}

bool FormWindow::OnNotify(NMHDR& notice) {
  if (notice.code == TTN_GETDISPINFOW) {
    ShowTip(reinterpret_cast<NMTTDISPINFOW&>(notice));
    return true;
  }
  for (const auto& [control, window] : windows_) {
    if (window->Handle() != notice.hwndFrom) continue;
    const HWND handle = handle_;
    Contained([&, shown = window.get()] {
      const LRESULT answer = shown->OnNotify(notice);
      ::SetWindowLongPtrW(handle, DWLP_MSGRESULT, answer);
    });
    return true;
  }
  return false;
}

/// The text for the control that the pointer rests on.
void FormWindow::ShowTip(NMTTDISPINFOW& tip) {
  tip_.clear();
  for (const auto& [control, window] : windows_) {
    if (reinterpret_cast<UINT_PTR>(window->Handle()) != tip.hdr.idFrom) continue;
    Contained([&, shown = control] { tip_ = WideFromAnsi(shown->ToolTipText()); });
    tip.lpszText = tip_.data();
  }
}

void FormWindow::OnSize() {
  RECT area = {};
  ::GetClientRect(handle_, &area);
  Contained([&] { form_.Resize(metrics_->TwipsX(area.right), metrics_->TwipsY(area.bottom)); });
}

/// The suggested place, but the form's own size: the system scales the window evenly, the controls
/// grow with the font, by whole pixels of a character.
void FormWindow::OnDpiChanged(UINT dpi, const RECT& suggested) {
  *metrics_ = FormMetrics(dpi);
  for (const auto& [control, window] : windows_) window->Rescale();
  ShowIcon();
  ShowForm(Aspect::kPlace);
  ::SetWindowPos(handle_, nullptr, suggested.left, suggested.top, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
  ::RedrawWindow(handle_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void FormWindow::LimitSize(MINMAXINFO& limits) const {
  if (!form_.design().resizable) return;
  const SIZE least = OuterSize(form_.design().width, form_.design().height);
  limits.ptMinTrackSize = {least.cx, least.cy};
}

}  // namespace mvsms::win32
