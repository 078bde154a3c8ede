// The command line with all its checks against a store of its own, but without anything that dials,
// waits or leaves that store: one argument a line, then a NUL, then the standard input.
#include <array>
#include <filesystem>
#include <sstream>

#include "cli/commands.h"
#include "fuzz/fuzz.h"
#include "tests/support/temp_folder.h"

namespace mvsms::fuzz {
namespace {

bool IsForbidden(const std::string& argument) {
  static constexpr std::array kForbidden = {"send", "centre", "demo", "test", "log"};
  return std::find(kForbidden.begin(), kForbidden.end(), argument) != kForbidden.end();
}

/// Files other than the standard input and output are somebody else's.
bool TouchesFiles(const std::vector<std::string>& arguments) {
  const auto named = [&](const char* name) {
    return std::find(arguments.begin(), arguments.end(), name) != arguments.end();
  };
  return named("export") && std::any_of(arguments.begin(), arguments.end(), [](const auto& word) {
           return word != "registry" && word != "export" && word != "-" &&
                  word != "--show-passwords";
         });
}

void Run(Input input) {
  static const TempFolder home;
  const std::string words = input.Rest();
  const std::size_t end = std::min(words.find('\0'), words.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
  const std::vector<std::string> arguments = Input(bytes, end).Pieces('\n');
  if (std::any_of(arguments.begin(), arguments.end(), IsForbidden) || TouchesFiles(arguments)) {
    return;
  }
  std::filesystem::remove(home / "settings.db");
  std::istringstream in(end < words.size() ? words.substr(end + 1) : "");
  std::ostringstream out, err;
  cli::Context context(home.path(), in, out, err);
  const int code = cli::RunCommandLine(arguments, context);
  Require(code == cli::kExitAccepted || code == cli::kExitFailed || code == cli::kExitUsage,
          "a documented exit code");
  Require(code == cli::kExitAccepted || !err.str().empty(), "a failure is told");
  Require(code != cli::kExitUsage || out.str().empty(), "wrong usage prints no result");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4096) mvsms::fuzz::Run({data, size});
  return 0;
}
