// The machine behind the services of one MemoryPlatform: its time, its pending messages, and the
// record of what was asked of it. Time moves only in AdvanceBy.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/memory/memory_platform.h"

namespace mvsms::memory {

class Machine {
 public:
  explicit Machine(MemoryPlatform& platform) : platform_(platform) {}

  MemoryPlatform& platform() { return platform_; }
  Millis now() const { return now_; }

  /// Records a seam operation; true when the test wants it to fail. `operation` is a literal.
  bool Refuses(std::string_view operation);

  /// Runs `action` when time has moved on by `delay`, like hardware would.
  void After(Millis delay, std::function<void()> action);
  /// Lets time pass, with everything that falls due, in order.
  void AdvanceBy(Millis duration);

  /// Queues a message for the next delivery.
  void Post(std::function<void()> message) { messages_.push_back(std::move(message)); }
  /// Delivers the messages that are queued now.
  void DeliverMessages();

 private:
  MemoryPlatform& platform_;
  Millis now_{0};
  std::multimap<Millis, std::function<void()>> due_;
  std::deque<std::function<void()>> messages_;
};

}  // namespace mvsms::memory
