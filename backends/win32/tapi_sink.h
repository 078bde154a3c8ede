// The receiver of a telephony session's events. The service calls it on a thread of its own or,
// where COM carries the call over, on the session's; the listener hears of everything on the
// session's thread.
#pragma once

#include "backends/win32/handles.h"
//
#include <tapi3.h>

#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace mvsms::win32 {

/// Counted by COM: the service may hold it longer than the session lives, and may call it still.
/// What comes while nobody listens is dropped.
class TapiSink final : public ::ITTAPIEventNotification {
 public:
  /// `object` is borrowed for the time of the call. Must not throw.
  using Listener = std::function<void(::TAPI_EVENT event, IDispatch* object)>;

  /// From now until Unbind the listener hears of the events on the calling thread: at once those
  /// that come on it, and the others from its message loop. Throws RaisedError when the thread can
  /// have no window.
  void Bind(Listener listener);
  /// Drops the events that wait. Thread: that of Bind; also inside an event.
  void Unbind();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  /// Thread: any.
  HRESULT STDMETHODCALLTYPE Event(::TAPI_EVENT event, IDispatch* object) override;

 private:
  struct Arrived {
    ::TAPI_EVENT type;
    ComPtr<IDispatch> object;
  };

  ~TapiSink() = default;
  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  HWND MakeWindow();
  bool Keep(::TAPI_EVENT event, ComPtr<IDispatch> object);
  void Deliver();
  std::size_t Waiting();
  std::optional<Arrived> Next();

  LONG references_ = 1;
  Listener listener_;  // used on its own thread only

  std::mutex mutex_;        // guards what follows
  HWND window_ = nullptr;   // of the listener's thread; null when nobody listens
  bool announced_ = false;  // a message to the window is on its way
  std::deque<Arrived> arrived_;
};

}  // namespace mvsms::win32
