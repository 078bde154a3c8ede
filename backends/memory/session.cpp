// See session.h.
#include "backends/memory/session.h"

#include <algorithm>

#include "backends/memory/call.h"

namespace mvsms::memory {
namespace {

class MemoryCallStateEvent : public ITCallStateEvent {
 public:
  MemoryCallStateEvent(Machine& machine, const StateChange& change)
      : machine_(machine), change_(change) {}

  CallState State() override {
    Begin(machine_, "ITCallStateEvent.State");
    return change_.first;
  }
  CallCause Cause() override {
    Begin(machine_, "ITCallStateEvent.Cause");
    return change_.second;
  }

 private:
  Machine& machine_;
  StateChange change_;
};

}  // namespace

void Session::ShutDown() {
  initialized = false;
  registrations.clear();
  const auto dropping = calls;
  for (const auto& call : dropping) call->Drop();
}

bool Session::IsBusy(std::size_t line) const {
  return std::any_of(calls.begin(), calls.end(),
                     [line](const auto& call) { return call->line() == line; });
}

void Session::Post(std::int32_t tapi_event, StateChange change) {
  loop.Post([weak = weak_from_this(), tapi_event, change] {
    if (const auto session = weak.lock()) session->Deliver(tapi_event, change);
  });
}

void Session::Deliver(std::int32_t tapi_event, StateChange change) {
  if (!initialized || !sink) return;
  if ((filter & tapi_event) == 0) return;
  const auto bound = sink;  // it may unbind itself
  MemoryCallStateEvent event(machine, change);
  bound(tapi_event, &event);
}

std::shared_ptr<Session> Begin(const std::weak_ptr<Session>& session, Machine& machine,
                               const char* operation) {
  Begin(machine, operation);
  auto locked = session.lock();
  if (!locked || !locked->initialized) {
    throw RaisedError(kNotInitialized, operation, "The telephony session is not initialized");
  }
  return locked;
}

const Line& LineAt(const Machine& machine, std::size_t index) {
  if (index < machine.platform.lines.size()) return machine.platform.lines[index];
  throw RaisedError(kInvalidArgument, "ITAddress", "The line has been taken away");
}

}  // namespace mvsms::memory
