// The mvsms command: streams, folder of all state, exit code.
#include <iostream>

#include "cli/commands.h"
#include "backends/posix/posix_platform.h"

int main(int argc, char** argv) {
  mvsms::cli::Context context(mvsms::posix::DefaultHome(), std::cin, std::cout, std::cerr);
  return mvsms::cli::RunCommandLine({argv + 1, argv + argc}, context);
}
