// Events, see tapi_sink.h. They wait in a queue of ours; the message to the window only says that
// there are some, so one that comes too late, or from anybody else, does no harm.
#include "backends/win32/tapi_sink.h"

#include <utility>

#include "backends/win32/handles.h"
#include "backends/win32/tapi_ids.h"
#include "base/raised_error.h"

namespace mvsms::win32 {
namespace {

constexpr UINT kArrived = WM_APP + 1;
constexpr wchar_t kWindowClass[] = L"mvSMS telephony events";

}  // namespace

void TapiSink::Bind(Listener listener) {
  const HWND window = MakeWindow();
  listener_ = std::move(listener);
  const std::lock_guard lock(mutex_);
  window_ = window;
}

void TapiSink::Unbind() {
  HWND window = nullptr;
  std::deque<Arrived> dropped;  // released outside the lock: they are the service's
  {
    const std::lock_guard lock(mutex_);
    window = std::exchange(window_, nullptr);
    dropped.swap(arrived_);
    announced_ = false;
  }
  if (window) ::DestroyWindow(window);
  listener_ = nullptr;
}

/// A window that is never seen: unlike a thread's own messages, those to a window arrive in every
/// message loop, the host's and a dialog's as well.
HWND TapiSink::MakeWindow() {
  static const bool registered = [] {
    WNDCLASSEXW made = {};
    made.cbSize = sizeof made;
    made.lpfnWndProc = &WindowProc;
    made.hInstance = OwnModule();
    made.lpszClassName = kWindowClass;
    return ::RegisterClassExW(&made) != 0;
  }();
  const HWND window = registered ? ::CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0,
                                                     HWND_MESSAGE, nullptr, OwnModule(), nullptr)
                                 : nullptr;
  if (!window) {
    throw RaisedError(static_cast<std::int32_t>(::GetLastError()), "TAPI",
                      "No window can be made to receive the telephony service's events");
  }
  ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  return window;
}

LRESULT CALLBACK TapiSink::WindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* const sink = reinterpret_cast<TapiSink*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message != kArrived || !sink) return ::DefWindowProcW(window, message, wparam, lparam);
  sink->Deliver();
  return 0;
}

HRESULT TapiSink::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  const bool known = iid == IID_IUnknown || iid == tapi::kIID_ITTAPIEventNotification;
  *object = known ? static_cast<::ITTAPIEventNotification*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG TapiSink::AddRef() { return static_cast<ULONG>(::InterlockedIncrement(&references_)); }

ULONG TapiSink::Release() {
  const LONG left = ::InterlockedDecrement(&references_);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT TapiSink::Event(::TAPI_EVENT event, IDispatch* object) {
  if (object) object->AddRef();
  ComPtr<IDispatch> kept(object);
  try {
    if (Keep(event, std::move(kept))) Deliver();
  } catch (...) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

/// True on the listener's own thread; otherwise that thread is told of the event.
bool TapiSink::Keep(::TAPI_EVENT event, ComPtr<IDispatch> object) {
  const std::lock_guard lock(mutex_);
  if (!window_) return false;
  arrived_.push_back({event, std::move(object)});
  if (::GetWindowThreadProcessId(window_, nullptr) == ::GetCurrentThreadId()) return true;
  if (!announced_) announced_ = ::PostMessageW(window_, kArrived, 0, 0) != FALSE;
  return false;
}

/// Only what waits now: a service that talks without a pause shall not hold up the message loop.
void TapiSink::Deliver() {
  AddRef();
  const ComPtr<TapiSink> alive(this);  // the listener may end the session
  for (std::size_t waiting = Waiting(); waiting > 0; --waiting) {
    const auto event = Next();
    if (!event) return;
    const Listener listener = listener_;  // it may unbind itself meanwhile
    listener(event->type, event->object.Get());
  }
}

std::size_t TapiSink::Waiting() {
  const std::lock_guard lock(mutex_);
  announced_ = false;
  return arrived_.size();
}

std::optional<TapiSink::Arrived> TapiSink::Next() {
  const std::lock_guard lock(mutex_);
  if (arrived_.empty()) return std::nullopt;
  Arrived event = std::move(arrived_.front());
  arrived_.pop_front();
  return event;
}

}  // namespace mvsms::win32
