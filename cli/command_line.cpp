// The command line as a whole: the list of sub-commands, the parser's settings, and the one place
// where an exception becomes a sentence and an exit code.
#include <algorithm>

#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/commands.h"
#include "cli/last_argument.h"
#include "cli/system.h"

namespace mvsms::cli {
namespace {

constexpr char kOverview[] =
    "Sends short text messages (SMS, pager): dials a message centre with a modem,\n"
    "speaks TAP or UCP to it, and hangs up.";

void AddSharedOptions(CLI::App& command, Context& context) {
  command.add_option("--profile", context.profile, "Settings profile (default: Standard)");
  command.add_flag("--json", context.json, "Print JSON");
}

void AddAllCommands(CLI::App& app, Context& context) {
  AddSendCommand(app, context);
  AddConfigCommand(app, context);
  AddServiceCommand(app, context);
  AddRouteCommand(app, context);
  AddLogCommand(app, context);
  AddExplainCommand(app, context);
  AddRegistryCommand(app, context);
  AddSystemCommands(app, context);
}

// What was printed before comes first, unless it is the output that broke.
int Fail(Context& context, const std::string& sentence, int exit_code) {
  try {
    context.out.flush();
  } catch (const std::exception&) {
    // The sentence says what happened.
  }
  context.Warn(sentence);
  return exit_code;
}

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

int HandleParseError(const CLI::App& app, const CLI::ParseError& error, Context& context) {
  // Help and version come as "errors" with the exit code 0.
  if (error.get_exit_code() == 0) return app.exit(error, context.out, context.err);
  const CLI::App& command = ChosenCommand(app);
  return Fail(context, Sentence(app, command, error) + "\nTry '" + FullName(command) + " --help'.",
              kExitUsage);
}

int Parse(CLI::App& app, std::vector<std::string> arguments, Context& context) {
  arguments = WithTextMarked(app, std::move(arguments));
  // The parser wants them last first.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(std::move(arguments));
    return context.exit_code;
  } catch (const CLI::ParseError& error) {
    return HandleParseError(app, error, context);
  }
}

int BuildAndParse(std::vector<std::string> arguments, Context& context) {
  CLI::App app(kOverview, "mvsms");
  AddSharedOptions(app, context);
  app.set_version_flag("--version", "mvsms " MVSMS_VERSION);
  // Exactly one: a message text that equals the name of a command stays a message text.
  app.require_subcommand(1);
  app.fallthrough();
  // No system's own writing of options: a message may begin with "/" everywhere.
  app.allow_windows_style_options(false);
  AddAllCommands(app, context);
  // Last, for the commands added after a footer would take it over.
  app.footer(FirstSteps());
  return Parse(app, std::move(arguments), context);
}

}  // namespace

CLI::App* AddCommand(CLI::App& parent, Context& context, const std::string& name,
                     const std::string& what, const std::string& examples) {
  CLI::App* const command = parent.add_subcommand(name, what);
  AddSharedOptions(*command, context);
  command->footer("Examples:\n" + examples);
  return command;
}

CLI::App* AddGroup(CLI::App& parent, const std::string& name, const std::string& what) {
  CLI::App* const group = parent.add_subcommand(name, what);
  group->require_subcommand(1);
  return group;
}

int RunCommandLine(std::vector<std::string> arguments, Context& context) {
  try {
    return BuildAndParse(std::move(arguments), context);
  } catch (const UsageError& error) {
    return Fail(context, error.what(), kExitUsage);
  } catch (const RaisedError& error) {
    return Fail(context, Utf8FromAnsi(error.description()), kExitFailed);
  } catch (const std::exception& error) {
    return Fail(context, error.what(), kExitFailed);
  }
}

}  // namespace mvsms::cli
