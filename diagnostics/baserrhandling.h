// basErrHandling: what happens to an error that a procedure of the user interface did not foresee.
// It is written to the error log and shown to the user, whose answer decides how the procedure goes
// on. The sending component has no part in this: it reports through its own events.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace mvsms {

/// "YYYY-MM-DD HH:MM:SS", the form of error logs and reports whatever the user's regional settings.
std::string Timestamp(const CalendarTime& time);

namespace basErrHandling {

/// How the failing procedure goes on.
enum AnswerCode : std::int16_t {
  kRetry = 1,   // executes the failing statement again
  kIgnore = 2,  // continues with the statement after it
  kAbort = 3,   // leaves the procedure
};

/// The error log, in the working folder of the host's process.
inline constexpr char kErrorLog[] = "mvSMSErrors.log";

/// The record of one error: five lines.
std::string ErrorRecord(const CalendarTime& time, const std::string& ModuleName,
                        const std::string& ProcedureName, std::int32_t ErrNumber,
                        const std::string& ErrDescription, std::int32_t LineNumber);

/// Logs the error, shows the error report dialog and returns the user's answer. Never throws: a
/// log that cannot be written is lost, a dialog that cannot be shown counts as kAbort.
/// `LineNumber` is 0 in a procedure without numbered lines.
AnswerCode GlobalErrorHandler(Platform& platform, const std::string& ModuleName,
                              const std::string& ProcedureName, std::int32_t ErrNumber,
                              const std::string& ErrDescription, std::int32_t LineNumber);

}  // namespace basErrHandling
}  // namespace mvsms
