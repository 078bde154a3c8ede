// See machine.h.
#include "backends/memory/machine.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/raised_error.h"

namespace mvsms::memory {

void Machine::After(Millis delay, std::function<void()> action) {
  ahead_.emplace(now_ + std::max(delay, Millis::zero()), std::move(action));
}

void Machine::Sleep(Millis duration) {
  const Millis end = now_ + std::max(duration, Millis::zero());
  while (!ahead_.empty() && ahead_.begin()->first <= end) {
    auto next = ahead_.extract(ahead_.begin());
    now_ = std::max(now_, next.key());
    next.mapped()();
  }
  now_ = std::max(now_, end);
}

bool Machine::Refuses(std::string_view operation) {
  platform.calls.push_back(operation);
  if (!platform.fail) return false;
  const auto hook = platform.fail;  // a hook may replace itself
  return hook(std::string(operation));
}

void Begin(Machine& machine, const char* operation) {
  if (machine.Refuses(operation)) {
    throw RaisedError(kRefusedByTelephony, operation,
                      std::string("Operation failed: ") + operation);
  }
}

}  // namespace mvsms::memory
