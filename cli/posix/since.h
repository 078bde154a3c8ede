// Moments as a command line names them, and moments as JSON and lists show them.
#pragma once

#include <cstdint>
#include <string>

#include "dispatch/queue.h"

namespace mvsms::cli {

/// Seconds since 1970 of a moment given as a time before `now` ("90s", "15m", "2h", "7d", "4w") or
/// as local date with or without time ("2026-11-22", "2026-11-22 03:12", "2026-11-22T03:12:04"), or
/// with its distance from UTC ("2026-11-22T03:12:04+01:00", "2026-11-22T02:12Z").
/// Anything else is a UsageError that names `option`.
std::int64_t ParseSince(const std::string& option, const std::string& text, std::int64_t now);

/// The same of a moment to come: a time from `now` on, or a date.
std::int64_t ParseAhead(const std::string& option, const std::string& text, std::int64_t now);

std::int64_t SecondsOf(dispatch::Moment moment);

/// The moment in local time with its distance from UTC: "2026-11-22T03:12:04+01:00".
std::string LocalMoment(std::int64_t seconds);

}  // namespace mvsms::cli
