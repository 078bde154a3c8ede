// The JSON objects of pages, attempts and lines: what commands print and what the gateway serves is
// the same. Each is made beside the command that prints it.
#pragma once

#include <string>
#include <vector>

#include "backends/posix/store/journal.h"
#include "cli/context.h"
#include "dispatch/hub.h"
#include "dispatch/queue.h"

namespace mvsms::cli {

/// Of mvsms queue: a page; the tries of one, from the journal in `home`; the pages by state.
Json PageJson(const dispatch::QueuedPage& queued);
Json TriesJson(const std::string& home, const dispatch::QueuedPage& queued);
Json StatsJson(const dispatch::QueueStats& stats);

/// Of mvsms journal: an attempt.
Json AttemptJson(const posix::JournalEntry& entry);

/// Of mvsms hub: words of the ANSI code page; a machine.
Json Utf8Words(const std::vector<std::string>& ansi);
Json MachineJson(const dispatch::Machine& machine);

/// Of mvsms lines: what the worker of the context's profile says of its lines; of those that it has
/// not, that nobody works there.
Json LinesJson(Context& context);

}  // namespace mvsms::cli
