// The face over the parsing library, and the sentences for what it refuses.
#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <utility>

#include "cli/errors.h"

namespace mvsms::cli {
namespace {

// Name of the check that is none: it says what a value is taken for.
constexpr char kReading[] = "reading";

// The innermost command that was named: its name is what "--help" goes behind.
const CLI::App& ChosenCommand(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  return chosen.empty() ? app : ChosenCommand(*chosen.front());
}

std::string FullName(const CLI::App& command) {
  const CLI::App* const parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

// The parser only says that a command is missing, also where a wrong one stands in its place.
std::string Sentence(const CLI::App& app, const CLI::App& command, const CLI::ParseError& error) {
  const std::vector<std::string> rest = app.remaining(true);
  if (command.get_require_subcommand_min() == 0 || rest.empty()) return error.what();
  return "there is no command \"" + FullName(command) + " " + rest.front() + "\"";
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
  if (option.get_positional()) return {option.get_name(true, false)};
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

bool IsPath(CLI::Option& option) {
  try {
    return !option.get_validator(kReading)->get_active();
  } catch (const CLI::OptionNotFound&) {
    return false;  // not a text
  }
}

std::string ValueOf(const CLI::Option& option) {
  if (option.get_items_expected_max() == 0) return "";
  return option.get_option_text().empty() ? option.get_type_name() : option.get_option_text();
}

OptionFacts FactsOf(CLI::Option& option) {
  return {.names = NamesOf(option),
          .value = ValueOf(option),
          .text = option.get_description(),
          .required = option.get_required(),
          .several = option.get_items_expected_max() > 1,
          .is_path = IsPath(option)};
}

CommandFacts FactsOf(CLI::App& app) {
  CommandFacts facts{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
  for (CLI::Option* const option : app.get_options()) facts.options.push_back(FactsOf(*option));
  const std::function<bool(CLI::App*)> all;
  for (CLI::App* const command : app.get_subcommands(all)) {
    facts.commands.push_back(FactsOf(*command));
  }
  return facts;
}

}  // namespace

Option* Option::Required(bool required) {
  option_.required(required);
  return this;
}

Option* Option::Description(const std::string& text) {
  option_.description(text);
  return this;
}

Option* Option::TypeName(const std::string& name) {
  option_.type_name(name);
  return this;
}

Option* Option::OptionText(const std::string& text) {
  option_.option_text(text);
  return this;
}

Option* Option::OneValueEach() {
  option_.allow_extra_args(false);
  return this;
}

Option* Option::Needs(Option* other) {
  option_.needs(&other->option_);
  return this;
}

Option* Option::Excludes(Option* other) {
  option_.excludes(&other->option_);
  return this;
}

Option* Option::ShowDefault() {
  option_.capture_default_str();
  return this;
}

Option* Option::InRange(int low, int high) {
  option_.check(CLI::Range(low, high));
  return this;
}

Option* Option::OneOf(const std::vector<std::string>& values) {
  option_.check(CLI::IsMember(values));
  return this;
}

Option* Option::ExistingFile() {
  option_.check(CLI::ExistingFile);
  return this;
}

Option* Option::CheckedBy(std::function<std::string(const std::string&)> fault) {
  option_.check(
      CLI::Validator([check = std::move(fault)](std::string& value) { return check(value); }, ""));
  return this;
}

std::string Option::Name() const { return option_.get_name(); }

bool Option::TakesValue() const { return option_.get_items_expected_max() > 0; }

bool Option::Given() const { return !option_.empty(); }

Option* Option::Path() {
  option_.get_validator(kReading)->active(false);
  return this;
}

Option* Command::Keep(CLI::Option* option) { return &options_.emplace_back(*option); }

Option* Command::KeepRead(CLI::Option* option) {
  const auto read = [&reading = reading_, option](std::string& value) {
    value = reading(option->get_name(), value);
    return std::string();
  };
  option->transform(CLI::Validator(read, "", kReading));
  return Keep(option);
}

Option* Command::AddOption(const std::string& name, std::string& value, const std::string& what) {
  return KeepRead(app_.add_option(name, value, what));
}

Option* Command::AddOption(const std::string& name, std::optional<std::string>& value,
                           const std::string& what) {
  return KeepRead(app_.add_option(name, value, what));
}

Option* Command::AddOption(const std::string& name, int& value, const std::string& what) {
  return Keep(app_.add_option(name, value, what));
}

Option* Command::AddOption(const std::string& name, std::vector<std::string>& values,
                           const std::string& what) {
  return KeepRead(app_.add_option(name, values, what));
}

Option* Command::AddFlag(const std::string& name, bool& value, const std::string& what) {
  return Keep(app_.add_flag(name, value, what));
}

Option* Command::AddSwitch(const std::string& name, std::optional<bool>& value,
                           const std::string& what) {
  CLI::Option* const on = app_.add_flag_callback("--" + name, [&value] { value = true; }, what);
  app_.add_flag_callback("--no-" + name, [&value] { value = false; }, "The opposite")->excludes(on);
  return Keep(on);
}

Option* Command::Find(const std::string& name) {
  CLI::Option* const option = app_.get_option_no_throw(name);
  return option == nullptr ? nullptr : Keep(option);
}

Command* Command::AddSubcommand(const std::string& name, const std::string& what) {
  return &commands_.emplace_back(*app_.add_subcommand(name, what), reading_);
}

Command* Command::FindSubcommand(const std::string& name) {
  return &commands_.emplace_back(*app_.get_subcommand(name), reading_);
}

void Command::RequireSubcommand() { app_.require_subcommand(1); }

void Command::Footer(const std::string& text) { app_.footer(text); }

void Command::Callback(std::function<void()> run) { app_.callback(std::move(run)); }

void Command::BeforeParsing(std::function<void()> run) {
  app_.preparse_callback([run = std::move(run)](std::size_t) { run(); });
}

Parser::Parser(const std::string& name, const std::string& what, const std::string& version,
               Reading reading)
    : app_(std::make_unique<CLI::App>(what, name)),
      reading_(std::move(reading)),
      root_(*app_, reading_) {
  app_->set_version_flag("--version", version);
  app_->fallthrough();
  // A message may begin with "/" everywhere.
  app_->allow_windows_style_options(false);
}

Parser::~Parser() = default;

CommandFacts Parser::Facts() { return FactsOf(*app_); }

void Parser::Parse(std::vector<std::string> words, std::ostream& out) {
  std::reverse(words.begin(), words.end());  // as the library wants them
  try {
    app_->parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    // Help and version come as "errors" with the exit code 0.
    if (error.get_exit_code() == 0) {
      app_->exit(error, out, out);
      return;
    }
    const CLI::App& command = ChosenCommand(*app_);
    throw UsageError(Sentence(*app_, command, error) + "\nTry '" + FullName(command) + " --help'.");
  }
}

}  // namespace mvsms::cli
