// basCommon's send log: a text file that gets a line for each step of a send.
#pragma once

#include <string>

#include "platform/platform.h"

namespace mvsms::basCommon {

/// Appends one line to the send log: date, blank, time, TAB, `Text`, CR LF. An empty `LogFilePath`
/// means "SMSLog.txt" in the component's folder. Every failure is swallowed: a log that cannot be
/// written must never stop a page from going out.
void WriteLog(Platform& platform, const std::string& Text, const std::string& LogFilePath);

/// The send log's name where no other is set.
inline constexpr char kDefaultLogName[] = "SMSLog.txt";
/// The send log's path where no other is set: that name in the component's folder.
std::string DefaultLogPath(Locale& locale);

}  // namespace mvsms::basCommon
