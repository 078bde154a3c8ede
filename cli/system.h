// What of the command differs between the systems it runs on. One of the folders beside this header
// implements it.
#pragma once

#include <memory>
#include <string>

#include "cli/context.h"

namespace CLI {
class App;
}

namespace mvsms::cli {

/// The services of this process's one thread; `home` as in Context.
std::unique_ptr<Platform> MakePlatform(const std::string& home);

/// Why the settings cannot be read, and why they cannot be changed, as a sentence; empty when they
/// can.
std::string StoreProblem(const std::string& home);
std::string WriteProblem(const std::string& home);

/// Whether there is a modem of this name (ANSI).
bool ModemExists(Context& context, const std::string& modem);

/// Where a send log lies when nobody says where, in UTF-8.
std::string DefaultLog(Context& context);

/// Who holds the device of a modem, as a sentence; empty when nobody does or nobody can tell.
std::string ModemInUse(Context& context, const std::string& modem);

/// The end of the command's own help: the first steps, and where its state lies.
std::string FirstSteps();

/// Adds the sub-commands about the system's modems, and those that only this system has.
void AddSystemCommands(CLI::App& app, Context& context);

}  // namespace mvsms::cli
