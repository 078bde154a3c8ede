// See queue_send.h.
#include "cli/queue_send.h"

#include <algorithm>
#include <ostream>

#include "backends/posix/store/queue.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/json.h"
#include "cli/posix/page_order.h"
#include "cli/posix/worker_file.h"
#include "cli/store.h"

namespace mvsms::cli {
namespace {

using dispatch::Page;

std::string OptionOf(const std::string& field) { return "--" + ReplaceAll(field, "_", "-"); }

void Print(Context& context, const Page& page, bool quiet) {
  if (context.json) {
    context.PrintJson({{"id", Utf8FromAnsi(page.id)},
                       {"recipient", Utf8FromAnsi(page.recipient)},
                       {"service", Utf8FromAnsi(page.service)},
                       {"priority", page.priority}});
  } else if (!quiet) {
    context.out << Utf8FromAnsi(page.id) << '\n';
  }
}

/// False, and told why, when none was taken.
bool Put(Context& context, const std::vector<Page>& pages) try {
  posix::PageQueue(context.home).Put(pages);
  return true;
} catch (const RaisedError& error) {
  context.Warn(Utf8FromAnsi(error.description()));
  context.exit_code = static_cast<int>(dispatch::Exit::kRetry);
  return false;
}

}  // namespace

bool QueueIsHere() { return true; }

void QueuePages(Context& context, const std::vector<std::string>& recipients,
                const SendOptions& options, const QueueOptions& queue) {
  CheckReadable(context);
  std::vector<Obstacle> obstacles;
  const std::vector<Page> pages =
      PagesOf(context,
              {.to = recipients,
               .text = options.text,
               .from = options.from,
               .service = options.service,
               .profile = context.profile,
               .priority = queue.priority,
               .expires = queue.expires,
               .not_before = queue.not_before,
               .id = queue.id,
               .fit = {}},
              options.fit.value_or(false), options.quiet, OptionOf, obstacles);
  for (const Obstacle& obstacle : obstacles) {
    context.Warn(Printable("to " + obstacle.recipient + ": " + obstacle.reason));
    context.exit_code = std::max(context.exit_code, obstacle.exit_code, ByWeight);
  }
  if (pages.empty() || !Put(context, pages)) return;
  context.json_lines = context.json_lines || pages.size() > 1;
  for (const Page& taken : pages) Print(context, taken, options.quiet);
  if (!WorkerFile(context.home, context.profile).IsHeld()) {
    context.Warn("no worker is running: the page waits until there is one, see 'mvsms worker'");
  }
}

}  // namespace mvsms::cli
