// mvsms send --queue: a page is handed over to the queue of this machine, or of the one that this
// machine's pages go to, and the worker there sends it.
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

/// The longest --expires: a year.
inline constexpr long long kLongestExpiry = 525600;

/// Whether this machine has a queue, and knows the services of its pages; else another one does.
bool QueueIsHere();

/// Puts a page for each recipient into the queue, all or none of those that can be sent, and prints
/// their ids. The exit code of the context is 0 when they are on stable storage; 65 or 78 when one
/// cannot be sent, or the other machine is not set or does not let this one in; 75 when the queue
/// took none.
void QueuePages(Context& context, const std::vector<std::string>& recipients,
                const SendOptions& options, const QueueOptions& queue);

}  // namespace mvsms::cli
