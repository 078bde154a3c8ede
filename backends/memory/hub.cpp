// See hub.h.
#include "backends/memory/hub.h"

#include <algorithm>
#include <type_traits>

namespace mvsms::memory {

using dispatch::HubTry;
using dispatch::Machine;
using dispatch::Moment;
using dispatch::Page;
using dispatch::PageResult;
using dispatch::PageState;
using dispatch::PageStates;
using dispatch::QueuedPage;

namespace {

constexpr PageStates kWithResult = {PageState::kAccepted, PageState::kUnknown, PageState::kParked,
                                    PageState::kCancelled, PageState::kExpired};
constexpr std::chrono::minutes kLongInDoubt{10};
constexpr PageStates kPerhapsOut = {PageState::kDialling, PageState::kUnknown,
                                    PageState::kAccepted};
constexpr PageStates kWithHolder = {PageState::kClaimed, PageState::kDialling};
constexpr PageStates kWaiting = {PageState::kReady, PageState::kHeld};

}  // namespace

template <class Operation>
auto MemoryHub::Ask(const char* name, Operation operation) {
  ++calls_;
  if (peril) peril(name, false);
  if constexpr (std::is_void_v<decltype(operation(state_))>) {
    operation(state_);
    if (peril) peril(name, true);
  } else {
    auto answer = operation(state_);
    if (peril) peril(name, true);
    return answer;
  }
}

std::size_t MemoryHub::Put(std::span<const Page> pages) {
  return Ask("put", [&](State& state) { return state.pages.Put(pages); });
}

std::optional<QueuedPage> MemoryHub::Claim(const std::string& holder, const std::string& profile,
                                           std::span<const std::string> services) {
  return Ask("claim", [&](State& state) -> std::optional<QueuedPage> {
    if (!state.held.empty()) return std::nullopt;
    return state.pages.Claim(holder, profile, services);
  });
}

bool MemoryHub::Begin(const std::string& id, std::int64_t epoch) {
  return Ask("begin", [&](State& state) {
    if (!state.pages.Begin(id, epoch)) return false;
    HubTry begun;
    begun.epoch = epoch;
    begun.holder = state.pages.Look(id)->holder;
    begun.begun = now_();
    state.tries[{id, epoch}] = begun;
    return true;
  });
}

bool MemoryHub::Extend(const std::string& id, std::int64_t epoch) {
  return Ask("extend", [&](State& state) { return state.pages.Extend(id, epoch); });
}

bool MemoryHub::GiveBack(const std::string& id, std::int64_t epoch) {
  return Ask("give back", [&](State& state) {
    const bool given = state.pages.GiveBack(id, epoch);
    if (given) state.tries.erase({id, epoch});
    return given;
  });
}

bool MemoryHub::Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
                       PageState to) {
  return Ask("finish", [&](State& state) {
    const bool finished = state.pages.Finish(id, epoch, result, to);
    if (finished) Ended(id, epoch, result);
    return finished;
  });
}

bool MemoryHub::TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                         Moment not_before) {
  return Ask("try again", [&](State& state) {
    const bool again = state.pages.TryAgain(id, epoch, result, not_before);
    if (again) Ended(id, epoch, result);
    return again;
  });
}

std::int64_t MemoryHub::Divert(const std::string& profile, std::span<const std::string> services) {
  return Ask("divert", [&](State& state) { return state.pages.Divert(profile, services); });
}

void MemoryHub::Sweep(const std::function<bool(const std::string& holder)>& gone) {
  Ask("sweep", [&](State& state) { state.pages.Sweep(gone); });
}

bool MemoryHub::Operate(const std::string& id, const dispatch::OperatorAction& action) {
  return Ask("operate", [&](State& state) { return state.pages.Operate(id, action); });
}

std::optional<QueuedPage> MemoryHub::Find(const std::string& id) {
  return Ask("find", [&](State& state) { return state.pages.Find(id); });
}

std::vector<QueuedPage> MemoryHub::List(const dispatch::PageFilter& filter) {
  return Ask("list", [&](State& state) { return state.pages.List(filter); });
}

dispatch::QueueStats MemoryHub::Stats() {
  return Ask("stats", [](State& state) { return state.pages.Stats(); });
}

std::vector<std::string> MemoryHub::WaitedFor(const std::string& profile) {
  return Ask("waited for", [&](State& state) { return state.pages.WaitedFor(profile); });
}

Moment MemoryHub::NextDue(const std::string& profile) {
  return Ask("next due", [&](State& state) { return state.pages.NextDue(profile); });
}

std::int64_t MemoryHub::Prune(Moment before) {
  return Ask("prune", [&](State& state) { return state.pages.Prune(before); });
}

Moment MemoryHub::Now() {
  return Ask("now", [this](State&) { return now_(); });
}

bool MemoryHub::Submit(const QueuedPage& page) {
  return Ask("submit", [&](State& state) {
    const std::string& id = page.page.id;
    const bool fresh = state.pages.Put({&page.page, 1}) == 1;
    const auto offer = state.offers.try_emplace(id, page.epoch).first;
    QueuedPage& queued = *state.pages.Look(id);
    const bool anew = page.epoch > offer->second;
    offer->second = std::max(offer->second, page.epoch);
    if (!fresh && (!anew || kWithHolder.Has(queued.state) || !IsSeen(state, queued))) return false;
    if (!fresh) {
      queued.page = page.page;
      state.pages.Move(queued, PageState::kReady);
      state.withdrawn.erase(id);
    }
    queued.attempts = page.attempts;
    queued.perhaps_twice |= page.perhaps_twice;
    queued.more = page.more;
    return true;
  });
}

bool MemoryHub::Withdraw(const std::string& id, std::int64_t offer) {
  return Ask("withdraw", [&](State& state) {
    std::int64_t& known = state.offers[id];
    known = std::max(known, offer);
    if (state.withdrawn.contains(id)) return true;
    if (state.pages.Look(id) == nullptr) {
      Page tombstone;
      tombstone.id = id;
      state.pages.Put({&tombstone, 1});
    }
    QueuedPage& queued = *state.pages.Look(id);
    if (!kWaiting.Has(queued.state)) return false;
    state.pages.Move(queued, PageState::kCancelled);
    state.withdrawn.insert(id);
    return true;
  });
}

bool MemoryHub::IsSeen(State& state, const QueuedPage& queued) {
  if (!kWithResult.Has(queued.state) || state.withdrawn.contains(queued.page.id)) return true;
  const auto seen = state.seen.find(queued.page.id);
  return seen != state.seen.end() && seen->second == std::pair(queued.epoch, queued.state);
}

void MemoryHub::Mark(State& state, QueuedPage& queued, bool twice) {
  if (!twice || queued.perhaps_twice) return;
  queued.perhaps_twice = true;
  state.seen.erase(queued.page.id);
}

std::vector<QueuedPage> MemoryHub::Results(const std::string& origin, std::size_t most) {
  return Ask("results", [&](State& state) {
    std::vector<QueuedPage> results = state.pages.List({.states = kWithResult});
    std::erase_if(results, [&](const QueuedPage& queued) {
      return queued.page.origin != origin || IsSeen(state, queued);
    });
    std::ranges::sort(results, {}, [](const QueuedPage& queued) {
      return std::pair(queued.changed, queued.position);
    });
    results.resize(std::min(results.size(), most));
    return results;
  });
}

bool MemoryHub::Seen(const std::string& id, std::int64_t epoch, PageState in) {
  return Ask("seen", [&](State& state) {
    const QueuedPage* const queued = state.pages.Look(id);
    if (queued == nullptr || queued->epoch != epoch || queued->state != in) return false;
    state.seen[id] = {epoch, in};
    return true;
  });
}

std::vector<HubTry> MemoryHub::Tries(const std::string& id) {
  return Ask("tries", [&](State& state) {
    std::vector<HubTry> tries;
    for (const auto& [of, one] : state.tries) {
      if (of.first == id) tries.push_back(one);
    }
    return tries;
  });
}

void MemoryHub::Late(const std::string& id, std::int64_t epoch, const PageResult& result) {
  Ask("late", [&](State& state) {
    QueuedPage* const queued = state.pages.Look(id);
    const auto known = state.tries.find({id, epoch});
    if (queued == nullptr || known == state.tries.end()) return;
    Ended(id, epoch, result);
    const bool accepted = result.outcome == dispatch::Outcome::kAccepted;
    if (queued->epoch > epoch) {
      known->second.late = true;
      Mark(state, *queued, accepted || result.perhaps_out);
    } else if (queued->state == PageState::kParked && accepted) {
      state.pages.Move(*queued, PageState::kAccepted);
      queued->result = result;
    }
  });
}

std::vector<dispatch::WaitedService> MemoryHub::Waited(const std::string& profile) {
  return Ask("waited", [&](State& state) {
    std::map<std::string, std::int32_t> found;
    if (!state.held.empty()) return std::vector<dispatch::WaitedService>{};
    for (const QueuedPage& queued : state.pages.List({.states = {PageState::kReady}})) {
      const Page& page = queued.page;
      if (page.profile != profile || page.not_before > now_() || page.expires <= now_()) continue;
      const auto known = found.emplace(page.service, page.priority).first;
      known->second = std::min(known->second, page.priority);
    }
    std::vector<dispatch::WaitedService> waited;
    for (const auto& [service, priority] : found) waited.push_back({service, priority});
    return waited;
  });
}

dispatch::HubNews MemoryHub::Beat(const Machine& machine) {
  return Ask("beat", [&](State& state) {
    Machine& known = state.machines[machine.name];
    if (known.home != machine.home && known.seen > now_() - dispatch::kLivesFor) {
      return dispatch::HubNews{.now = now_(), .twin = true};
    }
    const bool told = known.told;
    known = machine;
    known.seen = now_();
    known.told = told;
    return dispatch::HubNews{.now = now_(),
                             .held = !state.held.empty(),
                             .told = told,
                             .beats = ++state.beats[machine.name]};
  });
}

std::vector<Machine> MemoryHub::Machines() {
  return Ask("machines", [](State& state) {
    std::vector<Machine> machines;
    for (const auto& [name, machine] : state.machines) machines.push_back(machine);
    return machines;
  });
}

dispatch::HubRests MemoryHub::Rests(const std::string& origin) {
  return Ask("rests", [&](State& state) {
    dispatch::HubRests rests;
    std::set<std::string> unserved;
    for (const QueuedPage& queued : state.pages.List({.states = dispatch::kAllStates})) {
      if (!origin.empty() && queued.page.origin != origin) continue;
      if (!IsSeen(state, queued) && !queued.page.origin.empty()) {
        const bool first = rests.unfetched++ == 0;
        rests.unfetched_since =
            first ? queued.changed : std::min(rests.unfetched_since, queued.changed);
      }
      if (queued.state == PageState::kUnknown && queued.changed <= now_() - kLongInDoubt) {
        ++rests.unknown;
      }
      if (queued.state == PageState::kReady) unserved.insert(queued.page.service);
    }
    for (const auto& [name, machine] : state.machines) {
      if (machine.seen <= now_() - dispatch::kLivesFor) continue;
      for (const std::string& service : machine.services) unserved.erase(service);
    }
    rests.unserved.assign(unserved.begin(), unserved.end());
    return rests;
  });
}

void MemoryHub::Hold(const std::string& why) {
  Ask("hold", [&](State& state) {
    if (state.held.empty()) state.held = why;
    for (auto& [name, machine] : state.machines) machine.told = false;
  });
}

bool MemoryHub::Replay(const std::string& id, std::int64_t epoch, const std::string& holder,
                       const PageResult& result, PageState to) {
  return Ask("replay", [&](State& state) {
    const bool over = to == PageState::kAccepted || to == PageState::kParked;
    QueuedPage* known = state.pages.Look(id);
    const auto of = state.tries.find({id, epoch});
    if (of != state.tries.end() && of->second.ended != Moment{}) return false;
    if (known == nullptr) {
      if (!over && !result.perhaps_out) return false;
      Page lost;
      lost.id = id;
      lost.origin = dispatch::OriginOf(id);
      state.pages.Put({&lost, 1});
      state.offers[id] = -1;
      known = state.pages.Look(id);
    }
    const bool wordless = known->page.profile.empty();
    const bool may_be_out =
        result.perhaps_out || (wordless && known->result && known->result->perhaps_out);
    if (!over && wordless) to = PageState::kParked;
    const bool late = known->epoch > epoch ||
                      (known->state == PageState::kAccepted && to != PageState::kAccepted);
    const bool out_before = known->epoch < epoch && (kPerhapsOut.Has(known->state) ||
                                                     (known->result && known->result->perhaps_out));
    known->epoch = std::max(known->epoch, epoch);
    if (!late) {
      state.pages.Move(*known, to);
      ++known->attempts;
      known->result = result;
      known->result->perhaps_out = may_be_out;
      if (over && result.forget_text) known->page.text.clear();
      state.seen.erase(id);
      state.withdrawn.erase(id);
    }
    Mark(state, *known,
         (!late && out_before) || (late && to == PageState::kAccepted) ||
             ((late || to == PageState::kReady) && result.perhaps_out));
    HubTry& one = state.tries[{id, epoch}];
    one.epoch = epoch;
    one.holder = holder;
    one.late = late;
    if (one.begun == Moment{}) one.begun = now_();
    Ended(id, epoch, result);
    return !late;
  });
}

void MemoryHub::HasTold(const std::string& machine) {
  Ask("has told", [&](State& state) { state.machines[machine].told = true; });
}

void MemoryHub::Release() {
  Ask("release", [](State& state) { state.held.clear(); });
}

std::string MemoryHub::HeldBecause() {
  return Ask("held", [](State& state) { return state.held; });
}

void MemoryHub::Ended(const std::string& id, std::int64_t epoch, const PageResult& result) {
  const auto known = state_.tries.find({id, epoch});
  if (known == state_.tries.end()) return;
  HubTry& one = known->second;
  one.ended = now_();
  one.outcome = NameOf(result.outcome);
  one.reason = result.reason;
  one.modem = result.modem;
}

}  // namespace mvsms::memory
