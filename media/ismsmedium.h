// The medium interface: what a protocol session (TAP, UCP) sees of the line.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms {

/// A transmission medium. The class has no state, and its default bodies do nothing.
class ISMSMedium {
 public:
  virtual ~ISMSMedium() = default;
  /// Dials and opens the line. On failure returns false and sets both arguments, except when the
  /// call came up but its port cannot be used: that has been reported already, and they are left as
  /// they were.
  virtual bool Connect([[maybe_unused]] std::int32_t& ErrNumber,
                       [[maybe_unused]] std::string& ErrMsg) {
    return false;
  }
  /// Closes the line and hangs up.
  virtual bool Disconnect([[maybe_unused]] std::int32_t& ErrNumber,
                          [[maybe_unused]] std::string& ErrMsg) {
    return false;
  }
  /// Queues a text for sending; never waits. The bytes of the string go out as they stand.
  virtual bool Send([[maybe_unused]] const std::string& Message) { return false; }
  /// Everything that arrived since the last call, possibly a part of a frame; never waits.
  virtual std::string Receive() { return {}; }
  /// Asks a Connect that is waiting to give up.
  virtual void AbortAction() {}
};

}  // namespace mvsms
