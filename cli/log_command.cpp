// mvsms log: the send log, as it stands or as it grows.
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/system.h"

namespace mvsms::cli {
namespace {

constexpr std::chrono::milliseconds kLookAgain{200};

struct LogOptions {
  std::string file;
  bool follow = false;
};

struct Entry {
  std::string stamp;  // "" when the line has none
  std::string text;
};

// A date and a time, in whatever order and with whatever marks this system writes them.
bool IsStamp(std::string_view text) {
  constexpr std::size_t kLongest = 32;
  return !text.empty() && text.size() <= kLongest && IsDigit(text.front()) &&
         text.find(':') != text.npos && text.find_first_not_of("0123456789.:/- APM") == text.npos;
}

// The port logs where its buffer lies in memory, which is nobody's business.
std::string WithoutAddress(const std::string& text) {
  constexpr std::string_view kWrite = "WriteFile: ";
  const bool address = text.starts_with(kWrite) &&
                       text.find_first_not_of("0123456789", kWrite.size()) == std::string::npos;
  return address ? "WriteFile" : text;
}

// One line of the file, without its end. A stamp and a text, with a TAB between them, except for
// the further lines of a text that holds line ends itself; those may hold TABs of the centre's.
Entry EntryOf(const std::string& line) {
  const std::size_t tab = line.find('\t');
  if (tab == std::string::npos || !IsStamp(std::string_view(line).substr(0, tab))) {
    return {"", Utf8FromAnsi(line)};
  }
  return {line.substr(0, tab), WithoutAddress(Utf8FromAnsi(line.substr(tab + 1)))};
}

void PrintLine(Context& context, std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  const Entry entry = EntryOf(line);
  if (context.json) {
    context.out << JsonText(Json{{"time", entry.stamp}, {"text", entry.text}}) << '\n';
  } else {
    context.out << entry.stamp << (entry.stamp.empty() ? "" : "\t") << Printable(entry.text)
                << '\n';
  }
}

// Anything but a file is not opened: that may wait for ever for somebody to write into it.
bool IsReadable(const std::string& path) {
  std::error_code error;
  return is_regular_file(FilePath(path), error) && std::ifstream(FilePath(path));
}

// Prints the whole lines of the file from `position` on and returns where the next one begins.
std::streamoff PrintFrom(Context& context, const std::string& path, std::streamoff position) {
  if (!IsReadable(path)) return 0;
  std::ifstream file(FilePath(path), std::ios::binary);
  file.seekg(0, std::ios::end);
  if (!file) return 0;
  // A shorter file is a new one: the log was moved away or emptied.
  if (file.tellg() < position) position = 0;
  file.seekg(position);
  std::string line;
  while (std::getline(file, line) && !file.eof()) {
    position = file.tellg();
    PrintLine(context, line);
  }
  context.out.flush();
  return position;
}

void Follow(Context& context, const std::string& path, std::streamoff position) {
  const InterruptWatch watch;
  while (!watch.Interrupted() && context.out) {
    context.platform().loop().Sleep(kLookAgain);
    position = PrintFrom(context, path, position);
  }
}

void RequireReadable(const std::string& path) {
  if (IsReadable(path)) return;
  std::error_code error;
  if (exists(FilePath(path), error) || error) {
    throw Failure("cannot read the send log " + path +
                  "; check that it is a file, and yours to read");
  }
  throw Failure("there is no send log at " + path +
                "; 'mvsms config set WriteLogfile 1' makes every send write one");
}

void Run(Context& context, const LogOptions& options) {
  const std::string path = options.file.empty() ? DefaultLog(context) : options.file;
  if (!options.follow) RequireReadable(path);
  const std::streamoff position = PrintFrom(context, path, 0);
  if (options.follow) Follow(context, path, position);
}

}  // namespace

void AddLogCommand(Command& app, Context& context) {
  auto options = std::make_shared<LogOptions>();
  Command* const command =
      AddCommand(app, context, "log", "Print the send log; with --json one object a line",
                 "  mvsms log\n"
                 "  mvsms log --follow\n"
                 "  mvsms log --file /var/log/pages.log --json");
  command->AddOption("--file", options->file, "The log that 'mvsms send --log FILE' wrote")->Path();
  command->AddFlag("-f,--follow", options->follow, "Go on printing what is added, until Ctrl-C");
  command->Callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
