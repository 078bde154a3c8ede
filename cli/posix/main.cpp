// The mvsms command: streams, folder of all state, exit code.
#include <iostream>

#include "backends/posix/system/home.h"
#include "cli/commands.h"

int main(int argc, char** argv) {
  mvsms::cli::Context context(mvsms::posix::DefaultHome(), std::cin, std::cout, std::cerr);
  return mvsms::cli::RunCommandLine({argv + 1, argv + argc}, context);
}
