// Date and time, always in the same form.
#include "diagnostics/timestamp.h"

#include <array>
#include <cstdio>

namespace mvsms {

std::string Timestamp(const CalendarTime& time) {
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text.data();
}

}  // namespace mvsms
