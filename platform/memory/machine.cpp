// Virtual time, see machine.h.
#include "platform/memory/machine.h"

#include <algorithm>

namespace mvsms::memory {

bool Machine::Refuses(std::string_view operation) {
  platform_.calls.push_back(operation);
  return platform_.fail && platform_.fail(std::string(operation));
}

void Machine::After(Millis delay, std::function<void()> action) {
  due_.emplace(now_ + delay, std::move(action));
}

void Machine::AdvanceBy(Millis duration) {
  const Millis target = now_ + std::max(duration, Millis{0});
  while (!due_.empty() && due_.begin()->first <= target) {
    now_ = std::max(now_, due_.begin()->first);
    const std::function<void()> action = std::move(due_.begin()->second);
    due_.erase(due_.begin());
    action();
  }
  now_ = target;
}

void Machine::DeliverMessages() {
  // What a message posts waits for the next delivery; a message may itself deliver the rest.
  for (std::size_t count = messages_.size(); count > 0 && !messages_.empty(); --count) {
    const std::function<void()> message = std::move(messages_.front());
    messages_.pop_front();
    message();
  }
}

}  // namespace mvsms::memory
