// One line of the send log, and where it goes.
#include "engine/send_log.h"

#include "engine/component_file.h"

namespace mvsms::basCommon {

void WriteLog(Platform& platform, const std::string& Text, const std::string& LogFilePath) {
  try {
    const std::string path = LogFilePath.empty() ? DefaultLogPath(platform.locale()) : LogFilePath;
    Clock& clock = platform.clock();
    const std::string stamp = clock.ShortDate() + ' ' + clock.TimeOfDay();
    platform.text_file().Append(path, stamp + '\t' + Text + "\r\n");
  } catch (...) {  // the message counts, not its log
  }
}

// A network path gets back the one of its two leading backslashes that the reduction costs.
std::string DefaultLogPath(Locale& locale) {
  const std::string path = ComponentFile(locale, kDefaultLogName);
  return path.starts_with('\\') ? '\\' + path : path;
}

}  // namespace mvsms::basCommon
