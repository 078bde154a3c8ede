// See clock.h. Every field of the start time is a different number, so that a test notices when two
// of them are swapped.
#include "backends/memory/clock.h"

#include <array>
#include <cstdio>

namespace mvsms::memory {
namespace {

using std::chrono::days;
using std::chrono::floor;
using namespace std::chrono_literals;

using TimePoint = std::chrono::sys_time<Millis>;

constexpr TimePoint kStart =
    std::chrono::sys_days{std::chrono::year{2026} / 1 / 2} + 3h + 4min + 5s;

template <typename... Numbers>
std::string Print(const char* format, Numbers... numbers) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, numbers...);
  return text.data();
}

CalendarTime At(TimePoint moment) {
  const auto midnight = floor<days>(moment);
  const std::chrono::year_month_day date{midnight};
  const std::chrono::hh_mm_ss time{moment - midnight};
  return {.year = static_cast<int>(date.year()),
          .month = static_cast<int>(static_cast<unsigned>(date.month())),
          .day = static_cast<int>(static_cast<unsigned>(date.day())),
          .hour = static_cast<int>(time.hours().count()),
          .minute = static_cast<int>(time.minutes().count()),
          .second = static_cast<int>(time.seconds().count())};
}

}  // namespace

std::chrono::milliseconds MemoryClock::Now() {
  machine_.Refuses("Clock.Now");
  return machine_.now();
}

CalendarTime MemoryClock::LocalTime() {
  machine_.Refuses("Clock.LocalTime");
  return At(kStart + machine_.now());
}

std::string MemoryClock::ShortDate() {
  machine_.Refuses("Clock.ShortDate");
  const CalendarTime now = At(kStart + machine_.now());
  return Print("%04d-%02d-%02d", now.year, now.month, now.day);
}

std::string MemoryClock::TimeOfDay() {
  machine_.Refuses("Clock.TimeOfDay");
  const CalendarTime now = At(kStart + machine_.now());
  return Print("%02d:%02d:%02d", now.hour, now.minute, now.second);
}

}  // namespace mvsms::memory
