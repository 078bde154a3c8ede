// The sub-commands of `mvsms`, one source file each, and the pieces their help is made of.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/options.h"

namespace mvsms::cli {

void AddSendCommand(Command& app, Context& context);
void AddProfileCommand(Command& app, Context& context);
void AddConfigCommand(Command& app, Context& context);
void AddServiceCommand(Command& app, Context& context);
void AddRouteCommand(Command& app, Context& context);
void AddGroupCommand(Command& app, Context& context);
void AddCheckCommand(Command& app, Context& context);
void AddHeartbeatCommand(Command& app, Context& context);
void AddModemCommand(Command& app, Context& context);
void AddJournalCommand(Command& app, Context& context);
void AddQueueCommand(Command& app, Context& context);
void AddWorkerCommand(Command& app, Context& context);
void AddLinesCommand(Command& app, Context& context);
void AddHubCommand(Command& app, Context& context);
void AddExplainCommand(Command& app, Context& context);
void AddLogCommand(Command& app, Context& context);
void AddCatalogueCommand(Command& app, Context& context);
void AddRegistryCommand(Command& app, Context& context);
void AddApplyCommand(Command& app, Context& context);
void AddSetupCommand(Command& app, Context& context);
void AddDemoCommand(Command& app, Context& context);
void AddDialogCommand(Command& app, Context& context);

/// A command of its own: what it does, examples for the end of its help, and the options that
/// every command takes.
Command* AddCommand(Command& parent, Context& context, const std::string& name,
                    const std::string& what, const std::string& examples);

/// A command that only groups others; one of them must follow.
Command* AddGroup(Command& parent, const std::string& name, const std::string& what);

/// What the help says of every command.
CommandFacts DescribeCommandLine(Context& context);

/// Adds its commands to a program.
using Commands = void (*)(Command& root, Context& context);

/// Those of `mvsms`.
void AddAllCommands(Command& root, Context& context);

/// Runs one command line (without the program's name) and returns its exit code. Everything that
/// goes wrong becomes one sentence on the error stream.
int RunCommandLine(std::vector<std::string> arguments, Context& context,
                   Commands commands = AddAllCommands);

}  // namespace mvsms::cli
