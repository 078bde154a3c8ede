// What a send would do, found out without a call: the way a message takes, the text fitted to it,
// and the whole report of `mvsms send --dry-run`.
#pragma once

#include <string>

#include "cli/context.h"
#include "dispatch/way.h"

namespace mvsms::cli {

/// With `why` and `obstacle` in UTF-8, and in the words of the command line.
using Way = dispatch::Way;

struct DryRun {
  std::string to;
  std::string from;
  std::string service;
  std::string text;  // UTF-8, like the others
  bool fit = false;
  bool quiet = false;  // nothing is said of what was fitted
};

/// The way of such a message in these words.
Way InWords(Way way, const DryRun& run);

/// The way of a message with whatever it is known to fail at, the text included.
Way Foresee(Context& context, const DryRun& run);

/// Prints what would be sent and gives the exit code that a send would have for what can be known
/// without a call.
int PrintDryRun(Context& context, const DryRun& run);

/// The text, in UTF-8, fitted to the service that will carry it, after one line that says what was
/// changed. The text as it is where no service can be found: the send says why.
std::string FitForSend(Context& context, const DryRun& run);

}  // namespace mvsms::cli
