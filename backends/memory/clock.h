// The calendar over virtual time.
#pragma once

#include "backends/memory/machine.h"
#include "platform/clock.h"

namespace mvsms::memory {

class MemoryClock : public Clock {
 public:
  explicit MemoryClock(Machine& machine) : machine_(machine) {}
  std::chrono::milliseconds Now() override;
  std::string ShortDate() override;
  std::string TimeOfDay() override;
  CalendarTime LocalTime() override;

 private:
  Machine& machine_;
};

}  // namespace mvsms::memory
