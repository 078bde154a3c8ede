// The mvsms command: streams and exit code.
#include <iostream>

#include "cli/commands.h"
#include "backends/win32/console.h"

int main() {
  const mvsms::win32::Console console;
  mvsms::cli::Context context("", std::cin, std::cout, std::cerr);
  return mvsms::cli::RunCommandLine(console.Arguments(), context);
}
