// basCommon: the routines that every layer above the seam shares: waiting, the send log, files
// beside the component, and documents that the shell opens.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/platform.h"

namespace mvsms {

/// Receives one line for the send log, or drops it when logging is off. Never throws.
using LogSink = std::function<void(const std::string& text)>;

namespace basCommon {

/// The one waiting routine: ten rounds, each sleeping for the integer part of Milliseconds / 10 and
/// then processing all pending events. A value below 10 (also a negative one) only processes
/// events, ten times. Incoming data, timers and an abort request are taken in meanwhile.
void Pause(EventLoop& loop, std::int32_t Milliseconds);

/// Appends one line to the send log: date, blank, time, TAB, `Text`, CR LF. An empty `LogFilePath`
/// means "SMSLog.txt" in the component's folder. Every failure is swallowed: a log that cannot be
/// written must never stop a page from going out.
void WriteLog(Platform& platform, const std::string& Text, const std::string& LogFilePath);

/// The send log's name where no other is set.
inline constexpr char kDefaultLogName[] = "SMSLog.txt";
/// The send log's path where no other is set: that name in the component's folder.
std::string DefaultLogPath(Locale& locale);
/// Path of a file of this name in the component's folder, with single separators throughout: a
/// component in a drive's root has a folder that ends in one.
std::string ComponentFile(Locale& locale, const std::string& name);

/// Asks the shell to open a document with its own program; 33 and more is success.
std::int32_t OpenDocument(Shell& shell, const std::string& path);
/// What a user is told about a result of OpenDocument below 33.
std::string OpenDocumentError(std::int32_t result);

}  // namespace basCommon
}  // namespace mvsms
