// The dialog window of a form: made from its model, driven by its messages.
#include "backends/win32/form_window.h"

#include <algorithm>

#include "base/raised_error.h"
#include "forms/mnemonics.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kShowChanges = WM_APP + 1;
constexpr WORD kFirstControlId = 100;
constexpr UINT kDpiChanged = 0x02E0;  // winuser.h WM_DPICHANGED
constexpr WORD kManifestId = 2;       // of a DLL (winuser.h ISOLATIONAWARE_MANIFEST_RESOURCE_ID)

HMODULE OwnModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCSTR>(&OwnModule), &module);
  return module;
}

/// The look of the system's current controls, whatever the host's own: the manifest in our
/// resources, while windows are made.
class CurrentLook {
 public:
  CurrentLook() {
    if (Context() != INVALID_HANDLE_VALUE) active_ = ::ActivateActCtx(Context(), &cookie_) != FALSE;
  }
  ~CurrentLook() {
    if (active_) ::DeactivateActCtx(0, cookie_);
  }
  CurrentLook(const CurrentLook&) = delete;
  CurrentLook& operator=(const CurrentLook&) = delete;

 private:
  /// Made once, for the life of the process.
  static HANDLE Context() {
    static const HANDLE context = [] {
      ACTCTXA request = {};
      request.cbSize = sizeof request;
      request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID | ACTCTX_FLAG_HMODULE_VALID;
      request.lpResourceName = MAKEINTRESOURCEA(kManifestId);
      request.hModule = OwnModule();
      return ::CreateActCtxA(&request);
    }();
    return context;
  }

  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

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
  MakeMenu();
  ShowForm(Aspect::kPlace);
  Centre();
  keyboard_.Serve(handle_);
}

FormWindow::~FormWindow() {
  disabled_.reset();
  keyboard_.Forget(handle_);
  if (handle_) {
    ::SetWindowLongPtrA(handle_, DWLP_USER, 0);
    windows_.clear();
    ::DestroyWindow(handle_);
  }
}

void FormWindow::MakeWindow() {
  struct {
    DLGTEMPLATE head;
    WORD menu, window_class, title;
  } empty = {};
  empty.head.style = WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN |
                     (form_.design().resizable ? WS_THICKFRAME | WS_MAXIMIZEBOX : DS_MODALFRAME);
  empty.head.dwExtendedStyle = WS_EX_CONTROLPARENT;
  const auto owner = reinterpret_cast<HWND>(form_.OwnerWindow());
  handle_ = ::CreateDialogIndirectParamA(OwnModule(), &empty.head, nullptr, Procedure, 0);
  if (!handle_) {
    throw RaisedError(static_cast<std::int32_t>(::GetLastError()), "Forms.CreatePeer",
                      "The window of " + form_.Name() + " could not be made");
  }
  if (owner) ::SetWindowLongPtrA(handle_, GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(owner));
  metrics_ = std::make_unique<FormMetrics>(DpiOf(handle_));
  ::SetWindowLongPtrA(handle_, DWLP_USER, reinterpret_cast<LONG_PTR>(this));
  ::SetWindowTextA(handle_, form_.Caption().c_str());
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
  ::SendMessageA(handle_, DM_SETDEFID, ids_.count(IDOK) ? IDOK : 0, 0);
}

void FormWindow::MakeMenu() {
  HMENU bar = nullptr;
  for (const auto& [id, control] : ids_) {
    if (control->Type() != ControlType::kMenu) continue;
    if (!bar) bar = ::CreateMenu();
    ::AppendMenuA(bar, MF_STRING, id, control->Caption().c_str());
  }
  if (bar) ::SetMenu(handle_, bar);
}

void FormWindow::Show() {
  ShowChanges();
  if (!::IsWindowVisible(handle_)) FocusFirst();
  ::ShowWindow(handle_, SW_SHOW);
}

void FormWindow::RunModal() {
  disabled_ =
      std::make_unique<DisabledWindows>(handle_, reinterpret_cast<HWND>(form_.OwnerWindow()));
  Show();
  MSG message;
  while (handle_ && form_.IsVisible()) {
    const BOOL more = ::GetMessageA(&message, nullptr, 0, 0);
    if (more <= 0) {
      // The end of the program is for the host's own loop.
      if (more == 0) ::PostQuitMessage(static_cast<int>(message.wParam));
      form_.Unload();
      break;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageA(&message);
  }
  disabled_.reset();
}

/// The others are enabled first, or the system would bring another program to the front.
void FormWindow::Hide() {
  disabled_.reset();
  ::ShowWindow(handle_, SW_HIDE);
}

void FormWindow::BringToFront() { ::SetForegroundWindow(handle_); }

void FormWindow::Changed(const Control* control, Aspect aspect) {
  changes_.emplace(control, aspect);
  if (!std::exchange(posted_, true)) ::PostMessageA(handle_, kShowChanges, 0, 0);
}

void FormWindow::ShowChanges() {
  posted_ = false;
  for (const auto& [control, aspect] : std::exchange(changes_, {})) {
    if (control == nullptr) {
      ShowForm(aspect);
    } else if (const auto window = windows_.find(control); window != windows_.end()) {
      window->second->Show(aspect);
    }
  }
}

void FormWindow::ShowForm(Aspect aspect) {
  if (aspect == Aspect::kText) ::SetWindowTextA(handle_, form_.Caption().c_str());
  if (aspect != Aspect::kPlace) return;
  const SIZE size = OuterSize(form_.Width(), form_.Height());
  sizing_ = true;
  ::SetWindowPos(handle_, nullptr, 0, 0, size.cx, size.cy,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  sizing_ = false;
}

SIZE FormWindow::OuterSize(int width, int height) const {
  RECT area = {0, 0, metrics_->X(width), metrics_->Y(height)};
  const auto style = static_cast<DWORD>(::GetWindowLongPtrA(handle_, GWL_STYLE));
  const auto extended = static_cast<DWORD>(::GetWindowLongPtrA(handle_, GWL_EXSTYLE));
  ::AdjustWindowRectEx(&area, style, ::GetMenu(handle_) != nullptr, extended);
  return {area.right - area.left, area.bottom - area.top};
}

/// Over its owner, or in the middle of the screen's working area; never beyond that area.
void FormWindow::Centre() {
  RECT own = {};
  RECT area = {};
  ::GetWindowRect(handle_, &own);
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof monitor;
  const auto owner = reinterpret_cast<HWND>(form_.OwnerWindow());
  ::GetMonitorInfoA(::MonitorFromWindow(owner ? owner : handle_, MONITOR_DEFAULTTONEAREST),
                    &monitor);
  const RECT& work = monitor.rcWork;
  if (!owner || !::IsWindowVisible(owner) || !::GetWindowRect(owner, &area)) area = work;
  const LONG width = own.right - own.left;
  const LONG height = own.bottom - own.top;
  const LONG left = (area.left + area.right - width) / 2;
  const LONG top = (area.top + area.bottom - height) / 2;
  ::SetWindowPos(handle_, nullptr, std::max(work.left, std::min(left, work.right - width)),
                 std::max(work.top, std::min(top, work.bottom - height)), 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void FormWindow::FocusFirst() {
  const HWND first = ::GetNextDlgTabItem(handle_, nullptr, FALSE);
  if (first) ::SendMessageA(handle_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(first), TRUE);
}

INT_PTR CALLBACK FormWindow::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* const self = reinterpret_cast<FormWindow*>(::GetWindowLongPtrA(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  const auto alive = self->form_.weak_from_this().lock();
  return self->Handle(message, wparam, lparam);
}

INT_PTR FormWindow::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_COMMAND:
      return OnCommand(LOWORD(wparam), HIWORD(wparam));
    case WM_NOTIFY:
      return OnNotify(*reinterpret_cast<const NMHDR*>(lparam));
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
    case WM_NCDESTROY:  // along with its owner, which was destroyed
      ::SetWindowLongPtrA(handle_, DWLP_USER, 0);
      handle_ = nullptr;
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

bool FormWindow::OnNotify(const NMHDR& notice) {
  for (const auto& [control, window] : windows_) {
    if (window->Handle() != notice.hwndFrom) continue;
    const HWND handle = handle_;
    Contained([&, shown = window.get()] {
      const LRESULT answer = shown->OnNotify(notice);
      ::SetWindowLongPtrA(handle, DWLP_MSGRESULT, answer);
    });
    return true;
  }
  return false;
}

void FormWindow::OnSize() {
  RECT area = {};
  ::GetClientRect(handle_, &area);
  Contained([&] { form_.Resize(metrics_->TwipsX(area.right), metrics_->TwipsY(area.bottom)); });
}

void FormWindow::OnDpiChanged(UINT dpi, const RECT& place) {
  *metrics_ = FormMetrics(dpi);
  for (const auto& [control, window] : windows_) window->Rescale();
  ::SetWindowPos(handle_, nullptr, place.left, place.top, place.right - place.left,
                 place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
}

void FormWindow::LimitSize(MINMAXINFO& limits) const {
  if (!form_.design().resizable) return;
  const SIZE least = OuterSize(form_.design().width, form_.design().height);
  limits.ptMinTrackSize = {least.cx, least.cy};
}

}  // namespace mvsms::win32
