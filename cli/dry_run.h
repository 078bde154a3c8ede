// What a send would do, found out without a call: the way a message takes, the text fitted to it,
// and the whole report of `mvsms send --dry-run`.
#pragma once

#include <string>

#include "cli/context.h"
#include "protocols/service_record.h"

namespace mvsms::cli {

/// The way from a recipient to a message centre. All texts but the reasons are in the code page.
struct Way {
  std::string number;             // as it goes into the frame; empty when it cannot be sent to
  ServiceRecord service;          // without a name when none was found
  std::string why;                // what chose the service, in UTF-8
  std::string obstacle;           // why nothing can be sent this way, in UTF-8; empty when it can
  int exit_code = kExitAccepted;  // that the obstacle means
};

/// `to` and `service` as on the command line.
Way FindWay(Context& context, const std::string& to, const std::string& service);

struct DryRun {
  std::string to;
  std::string from;
  std::string service;
  std::string text;  // UTF-8, like the others
  bool fit = false;
  bool quiet = false;  // nothing is said of what was fitted
};

/// The way of a message with whatever it is known to fail at, the text included.
Way Foresee(Context& context, const DryRun& run);

/// Prints what would be sent and gives the exit code that a send would have for what can be known
/// without a call.
int PrintDryRun(Context& context, const DryRun& run);

/// The text, in UTF-8, fitted to the service that will carry it, after one line that says what was
/// changed. The text as it is where no service can be found: the send says why.
std::string FitForSend(Context& context, const DryRun& run);

}  // namespace mvsms::cli
