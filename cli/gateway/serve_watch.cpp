// See serve_watch.h. Each look goes back a little, and leaves out what was told.
#include "cli/gateway/serve_watch.h"

#include <algorithm>

#include "cli/gateway/serve_desk.h"
#include "cli/json.h"
#include "cli/posix/views.h"
#include "gateway/events.h"

namespace mvsms::cli {

std::vector<dispatch::QueuedPage> ChangedSince(dispatch::Queue& queue, dispatch::Moment since,
                                               std::size_t most) {
  auto pages = queue.List({.states = dispatch::kAllStates, .most = most, .changed_since = since});
  std::ranges::sort(pages, {}, &dispatch::QueuedPage::changed);
  return pages;
}

ServeWatch::ServeWatch(Context& context, std::function<void(std::string)> publish)
    : context_(context),
      publish_(std::move(publish)),
      queue_(context.home),
      since_(posix::SystemNow()) {}

void ServeWatch::Look(bool anybody_listens) {
  if (!anybody_listens) {
    since_ = posix::SystemNow();
    told_.clear();
    return;
  }
  LookAtPages();
  std::string lines = gateway::LinesEvent(LinesJson(context_));
  if (lines != lines_) publish_(lines_ = std::move(lines));
}

void ServeWatch::LookAtPages() {
  const auto begin = since_ - kLateChange;
  std::erase_if(told_, [&](const auto& entry) { return entry.second.first < begin; });
  dispatch::Moment latest = since_;
  for (const dispatch::QueuedPage& page : ChangedSince(queue_, begin)) {
    const std::pair change{page.changed, page.state};
    auto& told = told_[page.position];
    if (told == change) continue;
    told = change;
    latest = std::max(latest, page.changed);
    publish_(EventOf(page));
  }
  since_ = std::min(latest, posix::SystemNow());  // the clock may have been set back
}

std::int64_t ServeWatch::Waiting() {
  const dispatch::QueueStats stats = queue_.Stats();
  const auto pages = [&](dispatch::PageState state) {
    return stats.at(static_cast<std::size_t>(state)).pages;
  };
  return pages(dispatch::PageState::kReady) + pages(dispatch::PageState::kHeld);
}

}  // namespace mvsms::cli
