// Waiting and the send log.
#include "media/bascommon.h"

#include <chrono>
#include <string_view>

namespace mvsms::basCommon {
namespace {

constexpr int kPauseRounds = 10;
constexpr std::string_view kDefaultLogName = "SMSLog.txt";

std::string WithSingleSeparators(const std::string& path, char separator) {
  std::string single;
  for (std::size_t i = 0; i < path.size(); ++i) {
    single += path[i];
    if (path[i] == separator && i + 1 < path.size() && path[i + 1] == separator) ++i;
  }
  return single;
}

/// A component in a drive's root has a folder that ends in a separator already, hence the
/// reduction; a network path must get back the one of its two leading backslashes that it costs.
std::string DefaultLogPath(Locale& locale) {
  const std::string folder = locale.ComponentFolder();
  const char separator = locale.PathSeparator();
  const std::string path =
      WithSingleSeparators(folder + separator + std::string(kDefaultLogName), separator);
  return folder.starts_with('\\') ? '\\' + path : path;
}

}  // namespace

void Pause(EventLoop& loop, std::int32_t Milliseconds) {
  const std::chrono::milliseconds slice(Milliseconds / kPauseRounds);
  for (int round = 0; round < kPauseRounds; ++round) {
    loop.Sleep(slice);
    loop.DoEvents();
  }
}

void WriteLog(Platform& platform, const std::string& Text, const std::string& LogFilePath) {
  try {
    const std::string path = LogFilePath.empty() ? DefaultLogPath(platform.locale()) : LogFilePath;
    Clock& clock = platform.clock();
    const std::string stamp = clock.ShortDate() + ' ' + clock.TimeOfDay();
    platform.text_file().Append(path, stamp + '\t' + Text + "\r\n");
  } catch (...) {  // the message counts, not its log
  }
}

}  // namespace mvsms::basCommon
