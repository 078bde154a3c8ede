// Events, see event_hub.h.
#include "tests/com/fake_tapi/event_hub.h"

#include <utility>

#include "tests/com/fake_tapi/service_thread.h"

namespace mvsms::fake_tapi {
namespace {

using win32::ComPtr;

std::atomic<long> delivered = 0;
std::atomic<long> filtered = 0;

}  // namespace

long Delivered() { return delivered; }
long Filtered() { return filtered; }

DWORD EventHub::Add(ComPtr<::ITTAPIEventNotification> sink) {
  const std::lock_guard lock(mutex_);
  sinks_[++last_cookie_] = std::move(sink);
  return last_cookie_;
}

bool EventHub::Remove(DWORD cookie) {
  Sinks::node_type removed;  // released outside the lock
  const std::lock_guard lock(mutex_);
  removed = sinks_.extract(cookie);
  return !removed.empty();
}

bool EventHub::HasListener() { return !Listeners().empty(); }

EventHub::Sinks EventHub::Listeners() {
  const std::lock_guard lock(mutex_);
  return sinks_;
}

void EventHub::Fire(::TAPI_EVENT event, const ComPtr<IDispatch>& object) {
  if (!open) return;
  if ((filter & event) == 0) {
    ++filtered;
    return;
  }
  for (const auto& [cookie, sink] : Listeners()) {
    sink->Event(event, object.Get());
    ++delivered;
  }
}

void EventHub::FireLater(::TAPI_EVENT event, ComPtr<IDispatch> object) {
  timers_->SetTimer(1, [this, event, object](TimerId timer) {
    timers_->KillTimer(timer);
    Fire(event, object);
  });
}

void EventHub::FireElsewhere(::TAPI_EVENT event, ComPtr<IDispatch> object) {
  OnServiceThread([hub = shared_from_this(), event, object] { hub->Fire(event, object); });
}

}  // namespace mvsms::fake_tapi
