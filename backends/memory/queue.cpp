// See queue.h.
#include "backends/memory/queue.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <tuple>
#include <utility>

namespace mvsms::memory {

using dispatch::kNever;
using dispatch::Moment;
using dispatch::OperatorAction;
using dispatch::Page;
using dispatch::PageFilter;
using dispatch::PageResult;
using dispatch::PageState;
using dispatch::PageStates;
using dispatch::QueuedPage;
using dispatch::QueueStats;

namespace {

constexpr PageStates kWithHolder = {PageState::kClaimed, PageState::kDialling};
constexpr PageStates kInDoubt = {PageState::kDialling, PageState::kUnknown};

bool IsWaitedFor(const QueuedPage& queued) {
  return kWithHolder.Has(queued.state) ||
         (queued.state == PageState::kReady && queued.attempts > 0);
}

}  // namespace

std::size_t MemoryQueue::Put(std::span<const Page> pages) {
  std::size_t taken = 0;
  for (const Page& page : pages) {
    if (Look(page.id) != nullptr) continue;
    QueuedPage queued{.page = page, .position = ++last_position_};
    queued.arrived = queued.changed = now_();
    if (QueuedPage* const like = Like(page)) {
      queued.state = PageState::kJoined;
      queued.page.text.clear();
      queued.joined = like->page.id;
      ++like->more;
      like->page.priority = std::min(like->page.priority, page.priority);
      like->page.expires = std::max(like->page.expires, page.expires);
    }
    pages_.push_back(queued);
    ++taken;
  }
  return taken;
}

std::optional<QueuedPage> MemoryQueue::Claim(const std::string& holder, const std::string& profile,
                                             std::span<const std::string> services) {
  QueuedPage* next = nullptr;
  for (QueuedPage& queued : pages_) {
    const bool wanted =
        queued.page.profile == profile &&
        std::find(services.begin(), services.end(), queued.page.service) != services.end();
    const bool sooner = next == nullptr || queued.page.priority < next->page.priority;
    if (wanted && sooner && IsDue(queued) && !WaitsBehindAnother(queued)) next = &queued;
  }
  if (next == nullptr) return std::nullopt;
  QueuedPage& queued = *next;
  Move(queued, PageState::kClaimed);
  queued.holder = holder;
  queued.lease_until = now_() + dispatch::kClaimLease;
  ++queued.epoch;
  return queued;
}

bool MemoryQueue::Begin(const std::string& id, std::int64_t epoch) {
  QueuedPage* const queued = Held(id, epoch, {PageState::kClaimed});
  if (queued == nullptr || queued->lease_until <= now_()) return false;
  queued->state = PageState::kDialling;
  queued->changed = now_();
  queued->lease_until = now_() + dispatch::kDiallingLease;
  ++queued->attempts;
  return true;
}

bool MemoryQueue::Extend(const std::string& id, std::int64_t epoch) {
  QueuedPage* const queued = Held(id, epoch, kWithHolder);
  if (queued == nullptr) return false;
  const bool dialling = queued->state == PageState::kDialling;
  queued->lease_until = now_() + (dialling ? dispatch::kDiallingLease : dispatch::kClaimLease);
  return true;
}

bool MemoryQueue::GiveBack(const std::string& id, std::int64_t epoch) {
  QueuedPage* const queued = Held(id, epoch, kWithHolder);
  if (queued == nullptr) return false;
  if (queued->state == PageState::kDialling) --queued->attempts;
  Move(*queued, PageState::kReady);
  return true;
}

bool MemoryQueue::Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                         PageState state) {
  QueuedPage* const queued = Held(id, epoch, kInDoubt);
  if (queued == nullptr) return false;
  Move(*queued, state);
  queued->result = result;
  if (result.forget_text) queued->page.text.clear();
  return true;
}

bool MemoryQueue::TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                           Moment not_before) {
  QueuedPage* const queued = Held(id, epoch, kInDoubt);
  if (queued == nullptr) return false;
  Move(*queued, PageState::kReady);
  queued->result = result;
  queued->perhaps_twice |= result.perhaps_out;
  queued->page.not_before = not_before;
  if (!queued->page.fallback.empty()) std::swap(queued->page.service, queued->page.fallback);
  return true;
}

std::int64_t MemoryQueue::Divert(const std::string& profile,
                                 std::span<const std::string> services) {
  const auto among = [&](const std::string& service) {
    return std::find(services.begin(), services.end(), service) != services.end();
  };
  std::int64_t diverted = 0;
  for (QueuedPage& queued : pages_) {
    std::string& service = queued.page.service;
    std::string& fallback = queued.page.fallback;
    const bool waits = queued.state == PageState::kReady && queued.page.profile == profile;
    if (!waits || fallback.empty() || !among(service) || among(fallback)) continue;
    std::swap(service, fallback);
    ++diverted;
  }
  return diverted;
}

void MemoryQueue::Sweep(const std::function<bool(const std::string& holder)>& gone) {
  for (QueuedPage& queued : pages_) {
    const bool left =
        kWithHolder.Has(queued.state) && (queued.lease_until <= now_() || gone(queued.holder));
    const bool doubtful = left && queued.state == PageState::kDialling;
    if (left) Move(queued, doubtful ? PageState::kUnknown : PageState::kReady);
    if (doubtful) queued.result = dispatch::Interrupted();
    if (queued.state == PageState::kReady && queued.page.expires <= now_()) {
      Move(queued, PageState::kExpired);
    }
  }
}

bool MemoryQueue::Operate(const std::string& id, const OperatorAction& action) {
  QueuedPage* const queued = Look(id);
  if (queued == nullptr || !action.from.Has(queued->state)) return false;
  queued->perhaps_twice |= action.tries_anew && dispatch::kAway.Has(queued->state);
  Move(*queued, StateAfter(action, queued->state));
  if (queued->state == PageState::kOffering) ++queued->epoch;
  if (!action.tries_anew) return true;
  queued->attempts = 0;
  queued->perhaps_twice |= queued->result && queued->result->perhaps_out;
  queued->page.not_before = now_();
  if (queued->page.expires <= now_()) queued->page.expires = kNever;
  return true;
}

std::optional<QueuedPage> MemoryQueue::Find(const std::string& id) {
  const QueuedPage* const queued = Look(id);
  return queued != nullptr ? std::optional(*queued) : std::nullopt;
}

std::vector<QueuedPage> MemoryQueue::List(const PageFilter& filter) {
  std::vector<QueuedPage> listed;
  std::copy_if(pages_.begin(), pages_.end(), std::back_inserter(listed),
               [&](const QueuedPage& queued) {
                 return queued.position > filter.after && filter.states.Has(queued.state) &&
                        queued.changed >= filter.changed_since;
               });
  if (filter.newest_first) std::reverse(listed.begin(), listed.end());
  listed.resize(std::min(listed.size(), filter.most));
  return listed;
}

QueueStats MemoryQueue::Stats() {
  QueueStats stats{};
  for (const QueuedPage& queued : pages_) {
    auto& [pages, oldest] = stats.at(static_cast<std::size_t>(queued.state));
    oldest = pages++ == 0 ? queued.arrived : std::min(oldest, queued.arrived);
  }
  return stats;
}

std::vector<std::string> MemoryQueue::WaitedFor(const std::string& profile) {
  std::set<std::string> services;
  for (const QueuedPage& queued : pages_) {
    const bool waits = queued.state == PageState::kReady && queued.page.profile == profile;
    if (waits) services.insert(queued.page.service);
  }
  return {services.begin(), services.end()};
}

Moment MemoryQueue::NextDue(const std::string& profile) {
  Moment next = kNever;
  for (const QueuedPage& queued : pages_) {
    if (queued.state == PageState::kReady && queued.page.profile == profile) {
      next = std::min(next, queued.page.not_before);
    }
  }
  return next;
}

std::int64_t MemoryQueue::Prune(Moment before) {
  return static_cast<std::int64_t>(std::erase_if(pages_, [&](const QueuedPage& queued) {
    return dispatch::kOver.Has(queued.state) && queued.changed < before;
  }));
}

bool MemoryQueue::BringHome(const std::string& id, const QueuedPage& there) {
  QueuedPage* const queued = Look(id);
  if (queued == nullptr) return false;
  const bool resolved = queued->state == PageState::kParked && queued->result &&
                        queued->result->outcome == dispatch::Outcome::kUnknown &&
                        there.state == PageState::kAccepted;
  if (queued->state == there.state && there.state == PageState::kAccepted && there.perhaps_twice &&
      !queued->perhaps_twice) {
    queued->perhaps_twice = true;
    return true;
  }
  if (!dispatch::kAway.Has(queued->state) && !resolved) return false;
  Move(*queued, there.state);
  queued->result = there.result;
  queued->attempts = there.attempts;
  queued->perhaps_twice = there.perhaps_twice;
  if (there.page.text.empty()) queued->page.text.clear();
  return true;
}

QueuedPage* MemoryQueue::Look(const std::string& id) {
  const auto found = std::find_if(pages_.begin(), pages_.end(),
                                  [&](const QueuedPage& queued) { return queued.page.id == id; });
  return found != pages_.end() ? &*found : nullptr;
}

QueuedPage* MemoryQueue::Held(const std::string& id, std::int64_t epoch, PageStates states) {
  QueuedPage* const queued = Look(id);
  const bool held = queued != nullptr && queued->epoch == epoch && states.Has(queued->state);
  return held ? queued : nullptr;
}

QueuedPage* MemoryQueue::Like(const Page& page) {
  if (page.joins <= std::chrono::minutes(0) || page.not_before > now_()) return nullptr;
  const auto words = [](const Page& of) {
    return std::tie(of.profile, of.number, of.originator, of.text);
  };
  const auto found = std::find_if(pages_.begin(), pages_.end(), [&](const QueuedPage& queued) {
    return queued.state == PageState::kReady && words(queued.page) == words(page) &&
           queued.arrived >= now_() - page.joins;
  });
  return found != pages_.end() ? &*found : nullptr;
}

bool MemoryQueue::IsDue(const QueuedPage& queued) const {
  return queued.state == PageState::kReady && queued.page.not_before <= now_() &&
         queued.page.expires > now_();
}

bool MemoryQueue::WaitsBehindAnother(const QueuedPage& queued) const {
  return std::any_of(pages_.begin(), pages_.end(), [&](const QueuedPage& other) {
    return other.position < queued.position && other.page.profile == queued.page.profile &&
           other.page.number == queued.page.number && other.page.priority == queued.page.priority &&
           IsWaitedFor(other);
  });
}

void MemoryQueue::Move(QueuedPage& queued, PageState state) {
  queued.state = state;
  queued.changed = now_();
  queued.holder.clear();
  queued.lease_until = {};
}

}  // namespace mvsms::memory
