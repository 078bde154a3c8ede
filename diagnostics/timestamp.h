// The one form of date and time in error logs and reports, whatever the user's regional settings.
#pragma once

#include <string>

#include "platform/clock.h"

namespace mvsms {

/// "YYYY-MM-DD HH:MM:SS".
std::string Timestamp(const CalendarTime& time);

}  // namespace mvsms
