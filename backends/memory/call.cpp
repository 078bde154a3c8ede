// See call.h.
#include "backends/memory/call.h"

#include <algorithm>
#include <utility>

namespace mvsms::memory {

MemoryCall::MemoryCall(const std::shared_ptr<Session>& session, std::size_t line,
                       std::string number)
    : machine_(session->machine),
      session_(session),
      line_index_(line),
      number_(std::move(number)) {}

CallState MemoryCall::GetCallState() {
  Begin(machine_, "ITCallInfo.GetCallState");
  return state_;
}

void MemoryCall::Connect(bool synchronous) {
  static constexpr char kOperation[] = "ITBasicCallControl.Connect";
  const auto session = Begin(session_, machine_, kOperation);
  if (state_ != CallState::kIdle) {
    throw RaisedError(kInvalidCallState, kOperation, "The call was started before");
  }
  if (session->IsBusy(line_index_)) {
    throw RaisedError(kCallUnavailable, kOperation, "The line has a call already");
  }
  line_ = LineAt(machine_, line_index_);
  session->calls.push_back(shared_from_this());
  state_ = CallState::kInProgress;
  machine_.After(line_.ring_time, [weak = weak_from_this()] {
    if (const auto call = weak.lock()) call->ReachOutcome();
  });
  if (synchronous) machine_.Sleep(line_.ring_time);
}

void MemoryCall::ReachOutcome() {
  if (state_ != CallState::kInProgress || line_.outcome == CallState::kInProgress) return;
  Change(line_.outcome, line_.cause);
  if (state_ == CallState::kConnected) Answered();
}

void MemoryCall::Answered() {
  port_ = std::make_shared<MemoryPort>(machine_, line_.port);
  machine_.platform.ports.push_back(port_);
  port_->Connect(line_.far_end ? line_.far_end(number_) : nullptr, [weak = weak_from_this()] {
    if (const auto call = weak.lock()) {
      call->Change(CallState::kDisconnected, CallCause::kDisconnectNormal);
    }
  });
}

void MemoryCall::Disconnect(std::int32_t) {
  Begin(machine_, "ITBasicCallControl.Disconnect");
  if (line_.hang_up_fails) {
    throw RaisedError(kRefusedByTelephony, "ITBasicCallControl.Disconnect",
                      "The line does not hang up");
  }
  Drop();
}

void MemoryCall::Drop() {
  if (!active()) return;
  const auto self = shared_from_this();
  Change(CallState::kDisconnected, CallCause::kDisconnectNormal);
  if (port_) port_->HangUp();
}

void MemoryCall::Change(CallState state, CallCause cause) {
  state_ = state;
  const auto session = session_.lock();
  if (!session) return;
  if (!active()) {
    const auto self = shared_from_this();
    std::erase(session->calls, self);
  }
  session->Post(kTeCallState, StateChange{state, cause});
}

}  // namespace mvsms::memory
