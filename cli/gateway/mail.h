// A mail becomes a page: whom it is for, what it says, and what the mail system is told.
#pragma once

#include "cli/context.h"
#include "cli/posix/doors.h"

namespace mvsms::cli {

/// Queues the mail on `context.in` for each of the recipients; the exit code is the mail system's.
void PageMail(Context& context, MailOptions& options);

}  // namespace mvsms::cli
