// The command line as a whole: the list of sub-commands, the parser's settings, and the one place
// where an exception becomes a sentence and an exit code.
#include <exception>
#include <string>
#include <utility>

#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/commands.h"
#include "cli/last_argument.h"
#include "cli/system.h"
#include "cli/version.h"

namespace mvsms::cli {
namespace {

constexpr char kOverview[] =
    "Sends short text messages (SMS, pager): dials a message centre with a modem,\n"
    "speaks TAP or UCP to it, and hangs up.";

void AddSharedOptions(Command& command, Context& context) {
  context.profile_options.push_back(
      command.AddOption("--profile", context.profile, "Settings profile (default: Standard)"));
  command.AddFlag("--json", context.json, "Print JSON");
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

Parser WholeParser(Context& context) {
  return {"mvsms", kOverview, "mvsms " + std::string(kVersion),
          [&context](const std::string& name, const std::string& value) {
            return TakenAsUtf8(context, name, value);
          }};
}

void AddAll(Command& root, Context& context, Commands commands) {
  AddSharedOptions(root, context);
  // Exactly one: a message text that equals the name of a command stays a message text.
  root.RequireSubcommand();
  commands(root, context);
  // Last, for the commands added after a footer would take it over.
  root.Footer(FirstSteps(context.home));
}

int BuildAndParse(std::vector<std::string> arguments, Context& context, Commands commands) {
  Parser parser = WholeParser(context);
  AddAll(parser.root(), context, commands);
  parser.Parse(WithTextMarked(parser.root(), std::move(arguments)), context.out);
  return context.exit_code;
}

}  // namespace

void AddAllCommands(Command& app, Context& context) {
  AddSendCommand(app, context);
  AddConfigCommand(app, context);
  AddProfileCommand(app, context);
  AddServiceCommand(app, context);
  AddRouteCommand(app, context);
  AddLogCommand(app, context);
  AddExplainCommand(app, context);
  AddRegistryCommand(app, context);
  AddCatalogueCommand(app, context);
  AddSystemCommands(app, context);
}

Command* AddCommand(Command& parent, Context& context, const std::string& name,
                    const std::string& what, const std::string& examples) {
  Command* const command = parent.AddSubcommand(name, what);
  AddSharedOptions(*command, context);
  command->Footer("Examples:\n" + examples);
  return command;
}

Command* AddGroup(Command& parent, const std::string& name, const std::string& what) {
  Command* const group = parent.AddSubcommand(name, what);
  group->RequireSubcommand();
  return group;
}

CommandFacts DescribeCommandLine(Context& context) {
  Parser parser = WholeParser(context);
  AddAll(parser.root(), context, AddAllCommands);
  return parser.Facts();
}

int RunCommandLine(std::vector<std::string> arguments, Context& context, Commands commands) {
  try {
    context.arguments = arguments;
    return BuildAndParse(std::move(arguments), context, commands);
  } catch (const UsageError& error) {
    return Fail(context, error.what(), context.usage_exit);
  } catch (const RaisedError& error) {
    return Fail(context, Utf8FromAnsi(error.description()), kExitFailed);
  } catch (const std::exception& error) {
    return Fail(context, error.what(), kExitFailed);
  }
}

}  // namespace mvsms::cli
