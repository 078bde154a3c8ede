// One pending action that can be postponed or cancelled. What was given to Line::After cannot be
// taken back, so a deadline keeps a ticket: an action whose ticket was replaced, cleared or
// destroyed does nothing.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "centre/line.h"

namespace mvsms::centre {

class Deadline {
 public:
  /// Replaces whatever was pending.
  void Set(Line& line, Millis delay, std::function<void()> action) {
    ticket_ = std::make_shared<char>();
    line.After(delay, [this, ticket = std::weak_ptr(ticket_), act = std::move(action)] {
      if (ticket.expired()) return;
      Clear();
      act();
    });
  }
  void Clear() { ticket_.reset(); }

 private:
  std::shared_ptr<char> ticket_;
};

}  // namespace mvsms::centre
