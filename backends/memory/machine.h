// What the services of one memory platform share: the virtual time with the hardware events that
// lie ahead, the record of calls, and the fault hook.
#pragma once

#include <functional>
#include <map>
#include <string_view>

#include "backends/memory/memory_platform.h"

namespace mvsms::memory {

class Machine {
 public:
  explicit Machine(MemoryPlatform& arranged) : platform(arranged) {}
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  /// Virtual time since the start.
  Millis now() const { return now_; }
  /// Runs `action` when a Sleep reaches `delay` from now; a negative delay counts as none.
  void After(Millis delay, std::function<void()> action);
  /// Advances the time, running everything that falls due on the way with the clock set to its
  /// time. An action may itself sleep; time never goes back.
  void Sleep(Millis duration);

  /// Records a seam operation (a literal, kept by reference) and tells whether the test wants it
  /// to fail.
  bool Refuses(std::string_view operation);

  /// The machine as the test arranged it, and its records.
  MemoryPlatform& platform;

 private:
  Millis now_{0};
  std::multimap<Millis, std::function<void()>> ahead_;  // equal times keep their order
};

/// Records an operation that reports a failure by throwing, and throws when the test wants it to
/// fail. `operation` is a literal.
void Begin(Machine& machine, const char* operation);

}  // namespace mvsms::memory
