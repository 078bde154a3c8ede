// What every sub-command of `mvsms` gets: the folder of all state, the options that all commands
// share, the streams, and the ways to print and to fail. Streams and home are handed in, so that a
// test runs a command line in its own process and reads what it printed.
//
// Text: arguments and output are UTF-8, everything behind this edge is in the ANSI code page. A
// sub-command converts where it takes an argument and where it prints, nowhere else.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "cli/errors.h"
#include "engine/settings.h"
#include "platform/platform.h"

namespace mvsms::cli {

/// Objects keep the order in which their members were added. Making one takes cli/json.h.
using Json = nlohmann::ordered_json;

class Option;

class Context {
 public:
  /// `home_folder` is a UTF-8 path. The streams outlive the context. Without a `platform`, this
  /// system's own is made on first use.
  Context(std::string home_folder, std::istream& input, std::ostream& output, std::ostream& errors,
          std::shared_ptr<Platform> platform = nullptr);

  const std::string home;
  std::istream& in;
  std::ostream& out;
  std::ostream& err;

  /// The command line as it was given, without the program's name.
  std::vector<std::string> arguments;
  /// Name of the settings profile, UTF-8.
  std::string profile = kStandardProfile;
  /// The options that name it: the command line's, and each command's own.
  std::vector<const Option*> profile_options;
  bool json = false;
  /// Each document of PrintJson on one line of its own.
  bool json_lines = false;
  int exit_code = kExitAccepted;
  /// The exit code for a wrong command line; that of plugins differs.
  int usage_exit = kExitUsage;
  /// Whether changes of the settings that belong together are being made just now.
  bool writing = false;

  /// The services of this process's one thread.
  Platform& platform();

  void PrintJson(const Json& document);
  /// Rows of UTF-8 cells, made Printable, padded to columns; the first row is the heading.
  void PrintTable(const std::vector<std::vector<std::string>>& rows);
  /// One sentence on the error stream: "mvsms: …".
  void Warn(const std::string& sentence);

 private:
  std::shared_ptr<Platform> platform_;
};

/// A path given on the command line, for the operations on files: those take a narrow text for one
/// in the code page of the system.
std::filesystem::path FilePath(const std::string& utf8);

/// Whether the text is well-formed UTF-8.
bool IsUtf8(const std::string& text);

/// `text` itself when it is UTF-8; else it comes from a program or terminal in Windows-1252 and is
/// taken as that, with a word on the error stream. `what` it is stands in that sentence.
std::string TakenAsUtf8(Context& context, const std::string& what, const std::string& text);

/// What stands for a password in all output that was not asked to show it.
inline constexpr char kHiddenPassword[] = "(set)";

/// The text with every control character made visible ("<CR>", "<STX>"; "<80>" to "<9F>" for the
/// second set), so that what a message centre sent cannot steer the terminal that shows it. UTF-8.
std::string Printable(const std::string& text);

/// The same for a text of several lines, whose ends stay.
std::string PrintableLines(const std::string& text);

/// Whether the whole of `text` is a decimal number, which may begin with "-".
bool IsWholeNumber(const std::string& text);

/// The whole of `text` as a decimal number from `low` to `high`; otherwise a UsageError that names
/// `what`.
long long ParseNumber(const std::string& what, const std::string& text, long long low,
                      long long high);

}  // namespace mvsms::cli
