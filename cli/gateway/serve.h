// The gateway at work: its sockets, its threads, and the desks behind them.
#pragma once

#include "cli/context.h"
#include "cli/posix/doors.h"

namespace mvsms::cli {

/// Serves until a signal ends it. Throws Failure when it cannot begin.
void Serve(Context& context, const ServeOptions& options);

}  // namespace mvsms::cli
