// The sub-commands of `mvsms`, one source file each, and the pieces their help is made of.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "cli/context.h"

namespace mvsms::cli {

void AddSendCommand(CLI::App& app, Context& context);
void AddConfigCommand(CLI::App& app, Context& context);
void AddServiceCommand(CLI::App& app, Context& context);
void AddRouteCommand(CLI::App& app, Context& context);
void AddModemCommand(CLI::App& app, Context& context);
void AddExplainCommand(CLI::App& app, Context& context);
void AddLogCommand(CLI::App& app, Context& context);
void AddRegistryCommand(CLI::App& app, Context& context);
void AddDemoCommand(CLI::App& app, Context& context);

/// A command of its own: what it does, examples for the end of its help, and the options that
/// every command takes.
CLI::App* AddCommand(CLI::App& parent, Context& context, const std::string& name,
                     const std::string& what, const std::string& examples);

/// A command that only groups others; one of them must follow.
CLI::App* AddGroup(CLI::App& parent, const std::string& name, const std::string& what);

/// Runs one command line (without the program's name) and returns its exit code. Everything that
/// goes wrong becomes one sentence on the error stream.
int RunCommandLine(std::vector<std::string> arguments, Context& context);

}  // namespace mvsms::cli
