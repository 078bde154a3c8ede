// mvsms send --queue: a page is handed over to this machine's queue, and the worker sends it.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/send_run.h"

namespace mvsms::cli {

/// What a command line asks of the queue; UTF-8, empty where it asks for nothing.
struct QueueOptions {
  bool queue = false;
  std::string id;
  std::string priority;
  std::string expires;  // minutes from now
  std::string not_before;
};

/// Puts a page for each recipient into the queue, all or none of those that can be sent, and prints
/// their ids. The exit code of the context is 0 when they are on stable storage; 65 or 78 when one
/// cannot be sent; 75 when the queue took none. UsageError where the system has no queue.
void QueuePages(Context& context, const std::vector<std::string>& recipients,
                const SendOptions& options, const QueueOptions& queue);

}  // namespace mvsms::cli
