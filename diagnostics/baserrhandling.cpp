// Log first, ask second: whatever happens to the dialog, the record is on the disk.
#include "diagnostics/baserrhandling.h"

#include <array>
#include <cstdio>
#include <exception>
#include <memory>

#include "diagnostics/frmerror.h"

namespace mvsms {

std::string Timestamp(const CalendarTime& time) {
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text.data();
}

namespace basErrHandling {
namespace {

std::string FiveDigits(std::int32_t number) {
  std::array<char, 16> text{};
  const long long magnitude = number < 0 ? -static_cast<long long>(number) : number;
  std::snprintf(text.data(), text.size(), "%s%05lld", number < 0 ? "-" : "", magnitude);
  return text.data();
}

std::string AskUser(Platform& platform, const ErrorDetails& details) {
  const auto dialog = std::make_shared<frmError>(platform, details);
  dialog->SetOwnerWindow(platform.forms().ActiveWindow());
  dialog->ShowModal();
  return dialog->Answer();
}

}  // namespace

std::string ErrorRecord(const CalendarTime& time, const std::string& ModuleName,
                        const std::string& ProcedureName, std::int32_t ErrNumber,
                        const std::string& ErrDescription, std::int32_t LineNumber) {
  return "***** Error " + FiveDigits(ErrNumber) + " at: " + Timestamp(time) + "\r\n" +
         "  *** Module:         " + ModuleName + "\r\n" +                  //
         "  *** Procedure:      " + ProcedureName + "\r\n" +               //
         "  *** Line Number:    " + std::to_string(LineNumber) + "\r\n" +  //
         "  *** Description:    " + ErrDescription + "\r\n";
}

AnswerCode GlobalErrorHandler(Platform& platform, const std::string& ModuleName,
                              const std::string& ProcedureName, std::int32_t ErrNumber,
                              const std::string& ErrDescription, std::int32_t LineNumber) {
  try {
    platform.text_file().Append(
        kErrorLog, ErrorRecord(platform.clock().LocalTime(), ModuleName, ProcedureName, ErrNumber,
                               ErrDescription, LineNumber));
  } catch (const std::exception&) {
    // The user is told all the same.
  }
  try {
    const std::string answer =
        AskUser(platform, {ModuleName, ProcedureName, ErrNumber, ErrDescription, LineNumber});
    if (answer == frmError::kIgnore) return kIgnore;
    if (answer == frmError::kRetry) return kRetry;
  } catch (const std::exception&) {
    // Nobody answered.
  }
  return kAbort;
}

}  // namespace basErrHandling
}  // namespace mvsms
