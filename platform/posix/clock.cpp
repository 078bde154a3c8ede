// Time from the system's clocks. There is no system-wide date form on Linux, so the logs get the
// one that sorts.
#include "platform/clock.h"

#include <ctime>

#include "platform/posix/backend.h"

namespace mvsms::posix {
namespace {

std::string LocalTime(const char* form) {
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  char text[16];
  return std::string(text, strftime(text, sizeof text, form, &local));
}

class PosixClock : public Clock {
 public:
  std::chrono::milliseconds Now() override {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
  }
  std::string ShortDate() override { return LocalTime("%Y-%m-%d"); }
  std::string TimeOfDay() override { return LocalTime("%H:%M:%S"); }
};

}  // namespace

std::unique_ptr<Clock> MakeClock() { return std::make_unique<PosixClock>(); }

}  // namespace mvsms::posix
