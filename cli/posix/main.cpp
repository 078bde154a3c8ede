// The mvsms command: streams, folder of all state, exit code.
#include <csignal>
#include <exception>
#include <iostream>

#include "backends/posix/system/home.h"
#include "cli/commands.h"

int main(int argc, char** argv) try {
  // A log that may not grow any more is a failed write like others: it must not end a send.
  std::signal(SIGXFSZ, SIG_IGN);
  mvsms::cli::Context context(mvsms::posix::DefaultHome(), std::cin, std::cout, std::cerr);
  return mvsms::cli::RunCommandLine({argv + 1, argv + argc}, context);
} catch (const std::exception& error) {
  std::cerr << "mvsms: " << error.what() << '\n';
  return mvsms::cli::kExitFailed;
}
