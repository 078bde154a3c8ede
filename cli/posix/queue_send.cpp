// See queue_send.h. What is known to fail is told at once, while somebody listens; the rest is the
// worker's.
#include "cli/queue_send.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <ostream>
#include <utility>

#include "backends/posix/store/queue.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/dry_run.h"
#include "cli/json.h"
#include "cli/posix/since.h"
#include "cli/posix/worker_file.h"
#include "cli/send_record.h"

namespace mvsms::cli {
namespace {

using dispatch::Moment;
using dispatch::Page;

constexpr long long kLongestExpiry = 525600;  // minutes: a year
constexpr std::size_t kLongestId = 100;

/// An id is typed, and stands in lists, logs and file names.
std::string CheckedId(const std::string& id) {
  constexpr char kTaken[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.:@+";
  if (id.size() > kLongestId || id.find_first_not_of(kTaken) != id.npos) {
    throw UsageError("--id must be at most " + std::to_string(kLongestId) +
                     " letters, digits and - _ . : @ +, not \"" + Printable(id) + "\"");
  }
  return id;
}

Moment InSeconds(std::int64_t seconds) { return Moment(std::chrono::seconds(seconds)); }

/// The page without its recipient.
Page PageFor(const Context& context, const SendOptions& options, const QueueOptions& queue) {
  Page page;
  page.id = queue.id.empty() ? FreshId() : CheckedId(queue.id);
  page.profile = AnsiFromUtf8(context.profile);
  page.originator = AnsiFromUtf8(options.from);
  if (!queue.priority.empty()) {
    page.priority = static_cast<std::int32_t>(ParseNumber(
        "--priority", queue.priority, dispatch::kFirstPriority, dispatch::kLastPriority));
  }
  const std::int64_t now = std::time(nullptr);
  if (!queue.not_before.empty()) {
    page.not_before = InSeconds(ParseAhead("--not-before", queue.not_before, now));
  }
  if (!queue.expires.empty()) {
    page.expires = InSeconds(now + 60 * ParseNumber("--expires", queue.expires, 1, kLongestExpiry));
  }
  if (page.expires <= page.not_before) {
    throw UsageError("--expires is before --not-before: the page would never be sent");
  }
  return page;
}

/// The page to one recipient; nothing, and told why, when it cannot be sent.
std::optional<Page> PageTo(Context& context, Page page, const std::string& to,
                           const SendOptions& options) {
  DryRun run{to,           options.from, options.service, options.text, options.fit.value_or(false),
             options.quiet};
  if (run.fit) run.text = FitForSend(context, run);
  const Way way = Foresee(context, run);
  if (!way.obstacle.empty()) {
    context.Warn(Printable("to " + to + ": " + way.obstacle));
    context.exit_code = std::max(context.exit_code, way.exit_code, ByWeight);
    return std::nullopt;
  }
  page.recipient = AnsiFromUtf8(to);
  page.number = way.number;
  page.service = way.service.Name;
  page.text = AnsiFromUtf8(run.text);
  return page;
}

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

void QueuePages(Context& context, const std::vector<std::string>& recipients,
                const SendOptions& options, const QueueOptions& queue) {
  const Page page = PageFor(context, options, queue);
  std::vector<Page> pages;
  for (const std::string& to : recipients) {
    auto one = PageTo(context, page, to, options);
    if (!one) continue;
    if (recipients.size() > 1) one->id += "-" + std::to_string(&to - recipients.data() + 1);
    pages.push_back(std::move(*one));
  }
  if (pages.empty() || !Put(context, pages)) return;
  for (const Page& taken : pages) Print(context, taken, options.quiet);
  if (!WorkerFile(context.home, context.profile).IsHeld()) {
    context.Warn("no worker is running: the page waits until there is one, see 'mvsms worker'");
  }
}

}  // namespace mvsms::cli
