// See shared_queue.h.
#include "dispatch/shared_queue.h"

#include <algorithm>
#include <utility>

#include "base/raised_error.h"

namespace mvsms::dispatch {

void HubHints::Set(const std::vector<WaitedService>& waited) {
  const std::lock_guard guard(mutex_);
  waited_.clear();
  for (const WaitedService& one : waited) waited_[one.service] = one.priority;
}

void HubHints::Clear(std::span<const std::string> services) {
  const std::lock_guard guard(mutex_);
  for (const std::string& service : services) waited_.erase(service);
}

bool HubHints::Any() {
  const std::lock_guard guard(mutex_);
  return !waited_.empty();
}

std::optional<std::int32_t> HubHints::MostUrgent(std::span<const std::string> services) {
  const std::lock_guard guard(mutex_);
  std::optional<std::int32_t> most;
  for (const std::string& service : services) {
    const auto found = waited_.find(service);
    if (found != waited_.end()) most = std::min(most.value_or(kLastPriority), found->second);
  }
  return most;
}

void HubHints::Trouble(const std::string& sentence) {
  const std::lock_guard guard(mutex_);
  trouble_ = sentence;
}

std::string HubHints::TakeTrouble() {
  const std::lock_guard guard(mutex_);
  return std::exchange(trouble_, "");
}

void HubHints::IsAtWork(const std::string& id) {
  const std::lock_guard guard(mutex_);
  at_work_.insert(id);
}

bool HubHints::WasAtWork(const std::string& id) {
  const std::lock_guard guard(mutex_);
  return at_work_.erase(id) > 0;
}

SharedQueue::SharedQueue(PageSource& own, Hub& hub, HubRecord& record, HubHints& hints,
                         std::string machine, std::function<Moment()> now)
    : own_(own),
      hub_(hub),
      record_(record),
      hints_(hints),
      machine_(std::move(machine)),
      now_(std::move(now)) {}

std::optional<QueuedPage> SharedQueue::Claim(const std::string& holder, const std::string& profile,
                                             std::span<const std::string> services) {
  auto own = own_.Claim(holder, profile, services);
  const auto urgent = hints_.MostUrgent(services);
  if (!urgent || (own && own->page.priority <= *urgent)) return own;
  auto other = ClaimAtHub(holder, profile, services);
  if (!other) return own;
  if (own) own_.GiveBack(own->page.id, own->epoch);
  return other;
}

template <class Question>
auto SharedQueue::Asked(Question question) try {
  return question();
} catch (const RaisedError& error) {
  hints_.Set({});
  hints_.Trouble(error.description());
  throw;
}

/// A hub that does not answer is the courier's business; the line goes on with its own pages.
std::optional<QueuedPage> SharedQueue::ClaimAtHub(const std::string& holder,
                                                  const std::string& profile,
                                                  std::span<const std::string> services) try {
  auto claimed = Asked([&] { return hub_.Claim(machine_ + "/" + holder, profile, services); });
  if (!claimed) {
    hints_.Clear(services);
    return std::nullopt;
  }
  holder_ = holder;
  Note(HubStep::kClaimed, claimed->page.id, claimed->epoch);
  return claimed;
} catch (const RaisedError&) {
  return std::nullopt;
}

void SharedQueue::Note(HubStep step, const std::string& id, std::int64_t epoch, HubRow row) {
  row.id = id;
  row.epoch = epoch;
  row.holder = holder_;
  row.step = step;
  record_.Note(row);
}

bool SharedQueue::Begin(const std::string& id, std::int64_t epoch) {
  if (!IsHubId(id)) return own_.Begin(id, epoch);
  if (Asked([&] { return hub_.Begin(id, epoch); })) {
    Note(HubStep::kDialling, id, epoch);
    return true;
  }
  Note(HubStep::kReturned, id, epoch);
  return false;
}

bool SharedQueue::Extend(const std::string& id, std::int64_t epoch) {
  if (!IsHubId(id)) return own_.Extend(id, epoch);
  hints_.IsAtWork(id);
  return true;
}

bool SharedQueue::GiveBack(const std::string& id, std::int64_t epoch) {
  if (!IsHubId(id)) return own_.GiveBack(id, epoch);
  Note(HubStep::kReturned, id, epoch);
  return true;
}

bool SharedQueue::Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                         PageState state) {
  if (!IsHubId(id)) return own_.Finish(id, epoch, result, state);
  HubRow row;
  row.result = result;
  row.state = state;
  Note(HubStep::kFinished, id, epoch, row);
  return true;
}

bool SharedQueue::TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                           Moment not_before) {
  if (!IsHubId(id)) return own_.TryAgain(id, epoch, result, not_before);
  HubRow row;
  row.result = result;
  row.pause = std::max(not_before - now_(), std::chrono::milliseconds(0));
  Note(HubStep::kAgain, id, epoch, row);
  return true;
}

std::int64_t SharedQueue::Divert(const std::string& profile,
                                 std::span<const std::string> services) {
  return own_.Divert(profile, services);
}

}  // namespace mvsms::dispatch
