// The mvsms command: streams and exit code.
#include <exception>
#include <iostream>

#include "backends/win32/console.h"
#include "backends/win32/redirected_profiles.h"
#include "base/ansi.h"
#include "cli/commands.h"

int main() try {
  const mvsms::win32::Console console;
  mvsms::cli::Context context("", std::cin, std::cout, std::cerr);
  for (const std::string& sentence : mvsms::win32::TakeOverRedirectedProfiles()) {
    context.Warn(mvsms::Utf8FromAnsi(sentence));
  }
  return mvsms::cli::RunCommandLine(console.Arguments(), context);
} catch (const std::exception& error) {
  std::cerr << "mvsms: " << error.what() << '\n';
  return mvsms::cli::kExitFailed;
}
