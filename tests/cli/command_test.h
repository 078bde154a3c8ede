// Runs command lines in the test's own process, each against a fresh folder of all state.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/json.h"
#include "tests/support/exit_codes.h"
#include "tests/support/temp_folder.h"

namespace mvsms::cli {

/// What one command line did.
struct Outcome {
  int exit_code = 0;
  std::string out;
  std::string err;
};

class CommandTest : public ::testing::Test {
 protected:
  Outcome Run(const std::vector<std::string>& arguments, const std::string& input = "",
              Commands commands = AddAllCommands);
  /// Runs a command line that must succeed without a word on the error stream; gives its output.
  std::string Do(const std::vector<std::string>& arguments, const std::string& input = "");
  /// Runs a command line that must succeed and say `sentence` on the error stream.
  void DoWithWarning(const std::vector<std::string>& arguments, const std::string& sentence);
  /// The output of a command line that must succeed, with "--json" added.
  Json Ask(std::vector<std::string> arguments);
  /// Runs a command line that must end with `exit_code`, say `sentence` on the error stream,
  /// nothing on the output, and change nothing.
  void Refuse(const std::vector<std::string>& arguments, const std::string& sentence,
              int exit_code = kExitUsage);
  /// Everything that is stored: the settings of all profiles, and the modems.
  std::string State();
  std::string Path(const std::string& name) const { return (home_ / name).string(); }

  /// A modem on a device that is always there, and a service.
  void AddModem(const std::string& name);
  void AddService(const std::string& name);

  TempFolder folder_;
  std::filesystem::path home_ = folder_.path();
};

}  // namespace mvsms::cli
