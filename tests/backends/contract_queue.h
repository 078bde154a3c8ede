// The contract of the queue over every store of pages that this system has.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "dispatch/queue.h"

namespace mvsms {

/// A fresh store of pages, and everything that looks at it.
class QueueHouse {
 public:
  virtual ~QueueHouse() = default;
  /// Another one who uses the same pages; where the store allows it, an object of his own.
  virtual dispatch::Queue& Another() = 0;
};

struct NamedQueue {
  std::string name;
  std::function<std::unique_ptr<QueueHouse>(std::function<dispatch::Moment()> now)> make;
  bool is_hub = false;  // which hands nothing to a hub itself
};
inline void PrintTo(const NamedQueue& queue, std::ostream* out) { *out << queue.name; }

NamedQueue MemoryQueueHouse();
/// Those of the system that the tests run on.
std::vector<NamedQueue> SystemQueues();

}  // namespace mvsms
