// Time, with date and time as the user's regional settings show them.
#include "backends/win32/backend.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

constexpr int kLongest = 128;  // characters of a date or a time, and the NUL

class Win32Clock : public Clock {
 public:
  std::chrono::milliseconds Now() override {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
  }
  std::string ShortDate() override {
    wchar_t text[kLongest] = L"";
    ::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, nullptr, nullptr, text, kLongest);
    return AnsiFromWide(text);
  }
  std::string TimeOfDay() override {
    wchar_t text[kLongest] = L"";
    ::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, nullptr, nullptr, text, kLongest);
    return AnsiFromWide(text);
  }
  CalendarTime LocalTime() override {
    SYSTEMTIME now = {};
    ::GetLocalTime(&now);
    return {.year = now.wYear,
            .month = now.wMonth,
            .day = now.wDay,
            .hour = now.wHour,
            .minute = now.wMinute,
            .second = now.wSecond};
  }
};

}  // namespace

std::unique_ptr<Clock> MakeClock() { return std::make_unique<Win32Clock>(); }

}  // namespace mvsms::win32
