// What the objects of one telephony session share: whether it is open, what the program registered
// for, and the way of its events.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
//
#include <tapi3.h>

namespace mvsms::fake_tapi {

/// Belongs to a session and to its addresses and calls, of which some outlive it. Thread: the
/// session's, but for Fire and what it reads.
class EventHub : public std::enable_shared_from_this<EventHub> {
 public:
  std::atomic<bool> open = false;  // from Initialize to Shutdown
  std::atomic<long> filter = 0;
  std::set<long> registrations;

  DWORD Add(win32::ComPtr<::ITTAPIEventNotification> sink);
  bool Remove(DWORD cookie);
  bool HasListener();

  /// Calls the listeners, on the calling thread; none when the session is closed or the filter
  /// holds the event back.
  void Fire(::TAPI_EVENT event, const win32::ComPtr<IDispatch>& object);
  /// The same through the message loop.
  void FireLater(::TAPI_EVENT event, win32::ComPtr<IDispatch> object);
  /// The same on the service's thread: a listener that goes meanwhile may be called once more.
  void FireElsewhere(::TAPI_EVENT event, win32::ComPtr<IDispatch> object);

 private:
  using Sinks = std::map<DWORD, win32::ComPtr<::ITTAPIEventNotification>>;
  Sinks Listeners();

  const std::unique_ptr<Timers> timers_ = win32::MakeTimers();
  std::mutex mutex_;
  Sinks sinks_;
  DWORD last_cookie_ = 0;
};

/// Events that were delivered, and those that a filter held back.
long Delivered();
long Filtered();

}  // namespace mvsms::fake_tapi
