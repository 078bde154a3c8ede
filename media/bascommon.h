// basCommon: the routines that every layer above the seam shares, waiting and the send log.
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

}  // namespace basCommon
}  // namespace mvsms
