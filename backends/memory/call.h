// A call on a line of the machine, from dialling to its end.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "backends/memory/machine.h"
#include "backends/memory/port.h"
#include "backends/memory/session.h"

namespace mvsms::memory {

class MemoryCall : public ITBasicCallControl, public std::enable_shared_from_this<MemoryCall> {
 public:
  /// `line` is the index of the line in the machine.
  MemoryCall(const std::shared_ptr<Session>& session, std::size_t line, std::string number);

  CallState GetCallState() override;
  void Connect(bool synchronous) override;
  void Disconnect(std::int32_t code) override;

  /// Ends the call from the near side; does nothing when it is not active.
  void Drop();
  std::size_t line() const { return line_index_; }
  CallState state() const { return state_; }
  /// The line as it was when the call was started.
  const Line& settings() const { return line_; }
  /// The serial port; none before the call was connected.
  const std::shared_ptr<MemoryPort>& port() const { return port_; }

 private:
  bool active() const {
    return state_ == CallState::kInProgress || state_ == CallState::kConnected;
  }
  void ReachOutcome();
  void Answered();
  /// Enters `state`, leaves the session's active calls when that is a final one, and posts the
  /// event.
  void Change(CallState state, CallCause cause);

  Machine& machine_;
  std::weak_ptr<Session> session_;
  std::size_t line_index_;
  std::string number_;
  Line line_;
  CallState state_ = CallState::kIdle;
  std::shared_ptr<MemoryPort> port_;
};

}  // namespace mvsms::memory
