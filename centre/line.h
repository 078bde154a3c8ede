// The message centre's view of time and of a line. Everything in the centre is a state machine
// over bytes and time behind these two interfaces, so that the same centre answers in memory under
// a virtual clock, on a pseudo-terminal behind the modem emulator, and on a TCP socket.
#pragma once

#include <chrono>
#include <functional>
#include <string_view>

namespace mvsms::centre {

using Millis = std::chrono::milliseconds;

/// The line towards the caller.
class Line {
 public:
  virtual ~Line() = default;
  /// Sends bytes; they arrive in order. Never calls the answerer back.
  virtual void Write(std::string_view bytes) = 0;
  /// Drops the call once everything written has been sent. The answerer hears nothing more: no
  /// bytes, no action, no HungUp; it must not use the line again.
  virtual void HangUp() = 0;
  /// Runs `action` after `delay`, unless the line has gone by then. Never from within this call,
  /// not even for a delay of zero.
  virtual void After(Millis delay, std::function<void()> action) = 0;
  /// The time, from an origin that the line chooses; the servers count from 1970 (UTC).
  virtual Millis Now() = 0;
};

/// Told whenever the carrier (DCD) of a modem comes or goes.
using CarrierWatch = std::function<void(bool up)>;

/// Whatever answers on a line: a TAP centre, a UCP centre, a scripted dialogue, the modem emulator.
class Answerer {
 public:
  virtual ~Answerer() = default;
  /// The caller is connected. `line` stays valid until HungUp, or until the answerer hangs up.
  virtual void Connected(Line& line) = 0;
  /// Bytes from the caller, cut anywhere.
  virtual void Received(std::string_view bytes) = 0;
  /// The caller has gone.
  virtual void HungUp() = 0;
};

}  // namespace mvsms::centre
