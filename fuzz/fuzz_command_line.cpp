// The command line with all its checks against a store of its own, but without anything that dials,
// waits or leaves that store: one argument a line, then a NUL, then the standard input.
#include <unistd.h>

#include <array>
#include <filesystem>
#include <sstream>

#include "cli/commands.h"
#include "fuzz/fuzz.h"

namespace mvsms::fuzz {
namespace {

/// In memory where the system has such a folder: the store synchronises every write.
std::string MakeHome() {
  const std::filesystem::path shared = "/dev/shm";
  const auto base =
      std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path();
  std::string path = (base / "mvsms-fuzz-XXXXXX").string();
  Require(mkdtemp(path.data()) != nullptr, "a folder for the store");
  return path;
}

struct Home {
  const std::string path = MakeHome();
  ~Home() { std::filesystem::remove_all(path); }
};

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
  static const Home home;
  const std::string words = input.Rest();
  const std::size_t end = std::min(words.find('\0'), words.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
  const std::vector<std::string> arguments = Input(bytes, end).Pieces('\n');
  if (std::any_of(arguments.begin(), arguments.end(), IsForbidden) || TouchesFiles(arguments)) {
    return;
  }
  std::filesystem::remove(home.path + "/settings.db");
  std::istringstream in(end < words.size() ? words.substr(end + 1) : "");
  std::ostringstream out, err;
  cli::Context context(home.path, in, out, err);
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
