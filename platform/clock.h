// Time, for deadlines and for what the logs show.
#pragma once

#include <chrono>
#include <string>

namespace mvsms {

class Clock {
 public:
  virtual ~Clock() = default;
  /// Time since an arbitrary start; it never runs backwards.
  virtual std::chrono::milliseconds Now() = 0;
  /// The current date in the system's short form (ISO 8601 where the system has none).
  virtual std::string ShortDate() = 0;
  /// The current time of day in the system's form ("HH:MM:SS" where the system has none).
  virtual std::string TimeOfDay() = 0;
};

}  // namespace mvsms
