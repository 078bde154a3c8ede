// Time, for deadlines and for what the logs show.
#pragma once

#include <chrono>
#include <string>

namespace mvsms {

/// A moment in the local calendar.
struct CalendarTime {
  int year = 0;
  int month = 0;  // 1 to 12
  int day = 0;    // 1 to 31
  int hour = 0;   // 0 to 23
  int minute = 0;
  int second = 0;
};

class Clock {
 public:
  virtual ~Clock() = default;
  /// Time since an arbitrary start; it never runs backwards.
  virtual std::chrono::milliseconds Now() = 0;
  /// The current date in the system's short form (ISO 8601 where the system has none).
  virtual std::string ShortDate() = 0;
  /// The current time of day in the system's form ("HH:MM:SS" where the system has none).
  virtual std::string TimeOfDay() = 0;
  /// The current local date and time, for records whose form does not depend on the user.
  virtual CalendarTime LocalTime() = 0;
};

}  // namespace mvsms
