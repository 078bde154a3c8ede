// The events of one telephony session: who listens, and what the filter lets through.
#pragma once

#include <map>
#include <memory>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
//
#include <tapi3.h>

namespace mvsms::fake_tapi {

/// Belongs to a session and to its calls, of which some outlive it. Thread: the session's.
class EventHub {
 public:
  long filter = 0;

  DWORD Add(win32::ComPtr<::ITTAPIEventNotification> sink) {
    sinks_[++last_cookie_] = std::move(sink);
    return last_cookie_;
  }
  bool Remove(DWORD cookie) { return sinks_.erase(cookie) != 0; }
  void Fire(::TAPI_EVENT event, IDispatch* object);
  /// The same through the message loop; never when the session ends before.
  void FireLater(::TAPI_EVENT event, win32::ComPtr<IDispatch> object);

 private:
  const std::unique_ptr<Timers> timers_ = win32::MakeTimers();
  std::map<DWORD, win32::ComPtr<::ITTAPIEventNotification>> sinks_;
  DWORD last_cookie_ = 0;
};

}  // namespace mvsms::fake_tapi
