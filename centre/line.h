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
  virtual void Write(std::string_view bytes) = 0;
  virtual void HangUp() = 0;
  /// Runs `action` after `delay`, unless the line has gone by then.
  virtual void After(Millis delay, std::function<void()> action) = 0;
  virtual Millis Now() = 0;
};

/// Whatever answers on a line: a TAP centre, a UCP centre, a scripted dialogue, the modem emulator.
class Answerer {
 public:
  virtual ~Answerer() = default;
  /// The caller is connected. `line` stays valid until HungUp.
  virtual void Connected(Line& line) = 0;
  virtual void Received(std::string_view bytes) = 0;
  /// The caller has gone.
  virtual void HungUp() = 0;
};

}  // namespace mvsms::centre
