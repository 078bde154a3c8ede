// mvsms log: the send log, as it stands or as it grows.
#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/system.h"

namespace mvsms::cli {
namespace {

constexpr std::chrono::milliseconds kLookAgain{200};

struct LogOptions {
  std::string file;
  bool follow = false;
};

// One line of the file, without its end. A stamp and a text, with a TAB between them, except for
// the further lines of a text that holds line ends itself.
void PrintLine(Context& context, std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (!context.json) {
    const std::size_t tab = line.find('\t');
    const std::size_t text = tab == std::string::npos ? 0 : tab + 1;
    context.out << Utf8FromAnsi(line.substr(0, text) + Printable(line.substr(text))) << '\n';
    return;
  }
  const std::size_t tab = line.find('\t');
  const bool stamped = tab != std::string::npos;
  const Json entry{{"time", Utf8FromAnsi(stamped ? line.substr(0, tab) : "")},
                   {"text", Utf8FromAnsi(stamped ? line.substr(tab + 1) : line)}};
  context.out << entry.dump() << '\n';
}

// Prints the whole lines of the file from `position` on and returns where the next one begins.
std::streamoff PrintFrom(Context& context, const std::string& path, std::streamoff position) {
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

void Run(Context& context, const LogOptions& options) {
  const std::string path = options.file.empty() ? DefaultLog(context) : options.file;
  const bool readable = !is_directory(FilePath(path)) && std::ifstream(FilePath(path));
  if (!options.follow && !readable) {
    throw Failure("there is no send log at " + path +
                  "; 'mvsms config set WriteLogfile 1' makes every send write one");
  }
  const std::streamoff position = PrintFrom(context, path, 0);
  if (options.follow) Follow(context, path, position);
}

}  // namespace

void AddLogCommand(CLI::App& app, Context& context) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* const command =
      AddCommand(app, context, "log", "Print the send log; with --json one object a line",
                 "  mvsms log\n"
                 "  mvsms log --follow\n"
                 "  mvsms log --file /var/log/pages.log --json");
  command->add_option("--file", options->file, "The log that 'mvsms send --log FILE' wrote");
  command->add_flag("-f,--follow", options->follow, "Go on printing what is added, until Ctrl-C");
  command->callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
