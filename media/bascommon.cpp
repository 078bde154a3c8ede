// Waiting, the send log, and what the shell says.
#include "media/bascommon.h"

#include <chrono>

namespace mvsms::basCommon {
namespace {

constexpr int kPauseRounds = 10;

std::string WithSingleSeparators(const std::string& path, char separator) {
  std::string single;
  for (std::size_t i = 0; i < path.size(); ++i) {
    single += path[i];
    if (path[i] == separator && i + 1 < path.size() && path[i + 1] == separator) ++i;
  }
  return single;
}

struct ShellError {
  std::int32_t code;  // shellapi.h SE_ERR_*
  const char* text;
};
constexpr ShellError kShellErrors[] = {
    {2, "The file does not exist!"},
    {3, "Path not found"},
    {5, "Access denied"},
    {8, "Out of memory"},
    {11, "Invalid EXE file or error in EXE image"},
    {26, "A sharing violation occurred"},
    {27, "Incomplete or invalid file association"},
    {28, "DDE Time out"},
    {29, "DDE transaction failed"},
    {30, "DDE busy"},
    {31, "No association for file extension"},
    {32, "DLL not found"},
};

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

std::string ComponentFile(Locale& locale, const std::string& name) {
  const char separator = locale.PathSeparator();
  return WithSingleSeparators(locale.ComponentFolder() + separator + name, separator);
}

/// A network path gets back the one of its two leading backslashes that the reduction costs.
std::string DefaultLogPath(Locale& locale) {
  const std::string path = ComponentFile(locale, kDefaultLogName);
  return path.starts_with('\\') ? '\\' + path : path;
}

std::int32_t OpenDocument(Shell& shell, const std::string& path) {
  return shell.Execute("Open", path, "", "C:\\", kShowNormal);
}

std::string OpenDocumentError(std::int32_t result) {
  for (const ShellError& error : kShellErrors) {
    if (error.code == result) return error.text;
  }
  return "Unknown error (hr=" + std::to_string(result) + ")";
}

}  // namespace mvsms::basCommon
