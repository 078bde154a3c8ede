// Time from the system's clocks. There is no system-wide date form on Linux, so the logs get the
// one that sorts.
#include "platform/clock.h"

#include <ctime>

#include "backends/posix/system/backend.h"

namespace mvsms::posix {
namespace {

tm Local() {
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  return local;
}

std::string Rendered(const char* form) {
  const tm local = Local();
  char text[16];
  return std::string(text, strftime(text, sizeof text, form, &local));
}

class PosixClock : public Clock {
 public:
  std::chrono::milliseconds Now() override {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
  }
  std::string ShortDate() override { return Rendered("%Y-%m-%d"); }
  std::string TimeOfDay() override { return Rendered("%H:%M:%S"); }
  CalendarTime LocalTime() override {
    const tm local = Local();
    return {.year = local.tm_year + 1900,
            .month = local.tm_mon + 1,
            .day = local.tm_mday,
            .hour = local.tm_hour,
            .minute = local.tm_min,
            .second = local.tm_sec};
  }
};

}  // namespace

std::unique_ptr<Clock> MakeClock() { return std::make_unique<PosixClock>(); }

}  // namespace mvsms::posix
