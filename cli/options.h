// Commands, their options, and the reading of a command line. This is a narrow face of the parsing
// library, whose templates cost seconds in every file that sees them: options.cpp is the only one.
//
// Commands and options belong to their Parser. The variables that options fill outlive it.
#pragma once

#include <deque>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace mvsms::cli {

/// An option ("--to"), flag or argument ("TEXT") of a command. Each operation gives the option
/// back, so that they can be written one after the other.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(option) {}

  Option* Required(bool required = true);
  Option* Description(const std::string& text);
  /// What the help shows for the value.
  Option* TypeName(const std::string& name);
  /// What the help shows for the value, and in place of all that it says of it by itself.
  Option* OptionText(const std::string& text);
  /// The value is a path: its bytes stay as they are, whatever their encoding.
  Option* Path();
  /// Each value needs the option's name before it; else an option of several takes all that follow.
  Option* OneValueEach();
  Option* Needs(Option* other);
  Option* Excludes(Option* other);
  /// The help shows the value that the variable has now.
  Option* ShowDefault();

  // What the value must be; anything else is wrong usage.
  Option* InRange(int low, int high);
  Option* OneOf(const std::vector<std::string>& values);
  Option* ExistingFile();
  /// `fault` gives the reason why a value is wrong, "" when it is not.
  Option* CheckedBy(std::function<std::string(const std::string&)> fault);

  /// The longest of its names, with its dashes.
  std::string Name() const;
  /// False for a flag.
  bool TakesValue() const;
  /// Whether the command line that was read has the option.
  bool Given() const;

 private:
  CLI::Option& option_;
};

/// What a value on the command line is taken for; `name` is that of its option.
using Reading = std::function<std::string(const std::string& name, const std::string& value)>;

class Command {
 public:
  /// `reading` outlives the command.
  Command(CLI::App& app, const Reading& reading) : app_(app), reading_(reading) {}

  /// An option that begins with "-", or else an argument by its place. Without it on the command
  /// line the variable keeps its value.
  Option* AddOption(const std::string& name, std::string& value, const std::string& what);
  Option* AddOption(const std::string& name, std::optional<std::string>& value,
                    const std::string& what);
  Option* AddOption(const std::string& name, int& value, const std::string& what);
  Option* AddOption(const std::string& name, std::vector<std::string>& values,
                    const std::string& what);
  Option* AddFlag(const std::string& name, bool& value, const std::string& what);
  /// A flag and its opposite, "--fit" and "--no-fit" for "fit"; with neither the variable keeps its
  /// value.
  Option* AddSwitch(const std::string& name, std::optional<bool>& value, const std::string& what);
  /// The option of this name; null when there is none.
  Option* Find(const std::string& name);

  /// A sub-command that was added.
  Command* FindSubcommand(const std::string& name);
  Command* AddSubcommand(const std::string& name, const std::string& what);
  /// Exactly one sub-command must follow; what looks like another one is an argument of it.
  void RequireSubcommand();
  /// What stands at the end of the command's help.
  void Footer(const std::string& text);
  /// What the command does, once the whole command line was read and found right.
  void Callback(std::function<void()> run);
  /// What happens as soon as the command is named, before its words are looked at.
  void BeforeParsing(std::function<void()> run);

 private:
  Option* Keep(CLI::Option* option);

  /// The same for an option with texts as values.
  Option* KeepRead(CLI::Option* option);

  CLI::App& app_;
  const Reading& reading_;
  std::deque<Option> options_;
  std::deque<Command> commands_;
};

/// What the help says of an option.
struct OptionFacts {
  std::vector<std::string> names;  // with their dashes; of an argument the one name, without
  std::string value;               // what stands for the value, empty for a flag
  std::string text;
  bool required = false;
  bool several = false;
  bool is_path = false;
};

/// What the help says of a command, for those who put it into another form.
struct CommandFacts {
  std::string name;
  std::string text;
  std::string footer;
  std::vector<OptionFacts> options;
  std::vector<CommandFacts> commands;
};

class Parser {
 public:
  Parser(const std::string& name, const std::string& what, const std::string& version,
         Reading reading);
  ~Parser();

  Command& root() { return root_; }
  /// Reads the words (without the program's name) and runs the command that they name; a question
  /// for help or version is answered on `out` instead. Throws UsageError, with the command whose
  /// help to ask for, and whatever the command throws.
  void Parse(std::vector<std::string> words, std::ostream& out);
  /// All that was added, in the order of the help.
  CommandFacts Facts();

 private:
  const std::unique_ptr<CLI::App> app_;
  const Reading reading_;
  Command root_;
};

}  // namespace mvsms::cli
