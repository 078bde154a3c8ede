// mvsms-gateway: `mvsms serve` and `mvsms mail` at work. `mvsms` starts it, and has looked at the
// command line before.
#include <csignal>
#include <exception>
#include <iostream>

#include "backends/posix/system/home.h"
#include "cli/gateway/gateway_commands.h"

int main(int argc, char** argv) try {
  // A file that may not grow any more is a failed write like others.
  std::signal(SIGXFSZ, SIG_IGN);
  mvsms::cli::Context context(mvsms::posix::DefaultHome(), std::cin, std::cout, std::cerr);
  return mvsms::cli::RunCommandLine({argv + 1, argv + argc}, context,
                                    mvsms::cli::AddGatewayCommands);
} catch (const std::exception& error) {
  std::cerr << "mvsms: " << error.what() << '\n';
  return mvsms::cli::kExitFailed;
}
