// See courier.h.
#include "dispatch/courier.h"

#include <algorithm>
#include <utility>

#include "base/raised_error.h"
#include "dispatch/line_worker.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;

constexpr auto kLookEvery = 10s;  // at what all machines look after
constexpr auto kSeeEvery = 30s;   // how the others are, which nobody is in a hurry to know
constexpr auto kPruneEvery = 1h;
constexpr auto kKept = std::chrono::days(30);  // pages that are over, and seen
// What the record has of tries. A page that the hub has forgotten is longer ago than that.
constexpr auto kRecordKept = std::chrono::days(14);
constexpr auto kLateResult = 60s;  // for a machine to say what became of a page that it has lost
constexpr std::size_t kBatch = 200;
/// What a host knows as "This key is already associated with an element of this collection".
constexpr std::int32_t kNameIsTaken = 457;

bool Among(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Words(const HubRow& row) { return "The page " + row.id + " of the hub"; }

}  // namespace

Courier::Courier(HomeQueue& own, Hub& hub, HubRecord& record, HubHints& hints, CourierHost& host,
                 std::string machine, std::string profile, std::string version,
                 std::function<Moment()> now)
    : own_(own),
      hub_(hub),
      record_(record),
      hints_(hints),
      host_(host),
      machine_(std::move(machine)),
      profile_(std::move(profile)),
      version_(std::move(version)),
      now_(std::move(now)) {}

/// The own queue throws the same as the hub; what of it is broken is broken for the lines too, and
/// they say so.
void Courier::Work() try {
  Round();
  if (std::exchange(sight_.away_since, std::nullopt)) host_.Tell("The hub answers again.");
  TellOfLines();
} catch (const RaisedError& error) {
  hints_.Set({});
  hints_.TakeTrouble();
  if (sight_.away_since) return;
  sight_.away_since = now_();
  host_.Tell(error.description() + " Own pages go on.");
}

/// That lines get no pages of a hub that answers the courier.
void Courier::TellOfLines() {
  const std::string trouble = hints_.TakeTrouble();
  if (!trouble.empty() && trouble != lines_trouble_) {
    host_.Tell("The lines get no pages of others. " + trouble);
  }
  lines_trouble_ = trouble;
}

void Courier::Round() {
  state_ = host_.Look();
  // Before: the worker of another profile may have spoken by this name since.
  const std::int64_t before = record_.Beats(machine_);
  HubNews news = hub_.Beat(Self());
  hub_now_ = news.now;
  if (news.twin) {
    throw RaisedError(kNameIsTaken, "Courier",
                      "Another machine has the name " + machine_ +
                          " at the hub; each needs a HubName of its own.");
  }
  if (news.beats <= before) {
    hub_.Hold(machine_ + " knows more than the hub, which is older than it was");
    news.held = true;
    news.told = false;
  }
  record_.NoteBeats(machine_, news.beats);
  TellHub();
  if (news.held && !news.told) Remind();
  Withdraw();
  HandOver();
  BringHome();
  LookAfterHub(news.held);
  See(news.held);
  hints_.Set(state_.working.empty() ? std::vector<WaitedService>{} : hub_.Waited(profile_));
}

Machine Courier::Self() {
  return {.name = machine_,
          .home = record_.Home(),
          .version = version_,
          .services = state_.served,
          .modems = state_.modems,
          .free = state_.free,
          .at_hub = PagesThere()};
}

std::int32_t Courier::PagesThere() {
  const QueueStats stats = own_.Stats();
  const auto of = [&](PageState state) { return stats.at(static_cast<std::size_t>(state)).pages; };
  return static_cast<std::int32_t>(of(PageState::kOffering) + of(PageState::kAtHub) +
                                   of(PageState::kWithdrawing));
}

void Courier::TellHub() {
  for (const HubRow& row : record_.Open()) TellOf(row);
}

/// A line that is gone while it was dialling has left nothing to tell: the hub's own sweep makes
/// the page unknown.
void Courier::TellOf(const HubRow& row) {
  const bool claimed = row.step == HubStep::kClaimed, dialling = row.step == HubStep::kDialling;
  const bool was_at_work = hints_.WasAtWork(row.id);
  if ((claimed || dialling) && !host_.IsGone(row.holder)) {
    if (dialling && was_at_work) hub_.Extend(row.id, row.epoch);
    return;
  }
  if (claimed || row.step == HubStep::kReturned) GiveBack(row);
  if (row.step == HubStep::kAgain || row.step == HubStep::kFinished) TellResult(row);
  record_.Close(row.id, row.epoch);
}

/// Nobody has dialled, although the hub may have heard that somebody would.
void Courier::GiveBack(const HubRow& row) {
  if (hub_.GiveBack(row.id, row.epoch)) return;
  const auto there = hub_.Find(row.id);
  if (!there || there->epoch != row.epoch || there->state != PageState::kUnknown) return;
  hub_.TryAgain(row.id, row.epoch,
                {.outcome = Outcome::kUnreachable, .reason = "nobody has dialled"}, hub_now_);
}

/// Whether it is what was told before, when the answer was lost. What others have decided about an
/// unknown page meanwhile knows of no modem.
bool Courier::HasHeard(const HubRow& row) {
  const std::vector<HubTry> tries = hub_.Tries(row.id);
  return std::any_of(tries.begin(), tries.end(), [&](const HubTry& known) {
    return known.epoch == row.epoch && known.ended != Moment{} &&
           known.outcome == NameOf(row.result.outcome) && known.modem == row.result.modem;
  });
}

void Courier::TellResult(const HubRow& row) {
  const bool taken = row.step == HubStep::kFinished
                         ? hub_.Finish(row.id, row.epoch, row.result, row.state)
                         : hub_.TryAgain(row.id, row.epoch, row.result, hub_now_ + row.pause);
  if (taken) return;
  if (HasHeard(row)) return;
  hub_.Late(row.id, row.epoch, row.result);
  if (Replay(row)) return;  // it is not late, but the hub has come back from a backup
  host_.Tell(Words(row) +
             " was taken from this machine while it was on the line, and may go out "
             "twice.");
}

std::vector<QueuedPage> Courier::Own(PageState state) {
  std::vector<QueuedPage> pages = own_.List({.states = {state}});
  std::erase_if(pages, [this](const QueuedPage& one) { return one.page.profile != profile_; });
  return pages;
}

void Courier::HandOver() {
  for (const QueuedPage& queued : Own(PageState::kOffering)) Submit(queued);
  if (own_.NextDue(profile_) > now_()) return;
  std::int64_t after = 0;
  for (std::size_t found = kBatch; found == kBatch;) {
    const auto waiting = own_.List({.states = {PageState::kReady}, .after = after, .most = kBatch});
    found = waiting.size();
    for (const QueuedPage& queued : waiting) {
      after = queued.position;
      if (IsForHub(queued)) Offer(queued.page.id);
    }
  }
}

void Courier::Offer(const std::string& id) {
  if (!own_.Operate(id, kOfferPage)) return;
  if (const auto offered = own_.Find(id)) Submit(*offered);
}

bool Courier::IsForHub(const QueuedPage& queued) const {
  const Page& page = queued.page;
  const Moment now = now_();
  if (page.profile != profile_ || page.not_before > now || page.expires <= now) return false;
  if (refused_.count(page.id) > 0 && Among(state_.served, page.service)) return false;
  if (!Among(state_.working, page.service)) return true;
  return std::max(queued.changed, page.not_before) + state_.spill_after <= now;
}

/// From here on the page is the hub's, whatever it answers.
void Courier::Submit(const QueuedPage& queued) {
  QueuedPage there = queued;
  Page& page = there.page;
  const auto translated = [&](Moment moment) {
    return moment == kNever ? kNever : moment + (hub_now_ - now_());
  };
  page.id = HubId(machine_, queued.page.id);
  page.origin = machine_;
  page.rules = state_.rules;
  page.joins = 0min;
  page.not_before = translated(page.not_before);
  page.expires = translated(page.expires);
  try {
    hub_.Submit(there);
  } catch (const HubRefusal& refusal) {
    KeepHere(queued, refusal.description());
    return;
  }
  own_.Operate(queued.page.id, kHandPageOver);
}

/// What the hub will never take. Lines here still may; where there are none, somebody must know.
void Courier::KeepHere(const QueuedPage& queued, const std::string& why) {
  const bool told = !refused_.insert(queued.page.id).second;
  if (!told) host_.Tell("The page " + queued.page.id + " stays here. " + why);
  if (queued.state != PageState::kOffering) return;
  QueuedPage kept = queued;
  kept.state = Among(state_.served, queued.page.service) ? PageState::kReady : PageState::kParked;
  kept.result = PageResult{.outcome = Outcome::kUnusable, .reason = why};
  own_.BringHome(queued.page.id, kept);
}

/// What an operator has cancelled here while it was there.
void Courier::Withdraw() {
  for (const QueuedPage& queued : Own(PageState::kWithdrawing)) {
    const std::string& id = queued.page.id;
    if (hub_.Withdraw(HubId(machine_, id), queued.epoch)) {
      own_.Operate(id, kWithdrawPage);
    } else if (own_.Operate(id, kLeaveAtHub)) {
      host_.Tell("The page " + id + " was cancelled too late: another machine has it.");
    }
  }
}

void Courier::BringHome() {
  for (const QueuedPage& there : hub_.Results(machine_, kBatch)) BringHome(there);
}

/// What is unknown may still be resolved, or tried again; until then the page stays where it is. Of
/// a page that was forgotten there the hub knows what became of it, and not what it is.
void Courier::BringHome(const QueuedPage& there) {
  const std::string id = IdAtOrigin(there.page.id);
  if (there.state != PageState::kUnknown) {
    QueuedPage known = there;
    const auto here = own_.Find(id);
    if (here && there.page.profile.empty()) known.page = here->page;
    for (const HubTry& one : hub_.Tries(there.page.id)) RecordTry(id, known.page, one);
    own_.BringHome(id, known);
  }
  hub_.Seen(there.page.id, there.epoch, there.state);
}

void Courier::RecordTry(const std::string& id, const Page& page, const HubTry& one) {
  const Moment ended = one.ended == Moment{} ? hub_now_ : one.ended;
  JournalRow row;
  row.id = id + ".hub" + std::to_string(one.epoch);
  row.profile = page.profile;
  row.recipient = page.recipient;
  row.service = page.service;
  row.modem = one.holder.substr(0, one.holder.find('/')) + "/" + one.modem;
  row.outcome = one.outcome.empty() ? std::string(NameOf(Outcome::kUnknown)) : one.outcome;
  row.reason = one.reason + (one.late ? "; told late, perhaps twice" : "");
  row.duration = std::max(ended - one.begun, 0ms);
  row.ago = std::max(hub_now_ - ended, 0ms);
  try {
    host_.Record(row);
  } catch (const RaisedError& error) {  // whose damage keeps no result from its page
    host_.Tell(error.description());
  }
}

/// Its backup may be older than anything that happened since: tries that lines here have made,
/// pages that were handed over, and those that are over here. All of it may be told again.
void Courier::Remind() {
  for (const HubRow& row : record_.Kept()) Replay(row);
  for (const HubRow& row : record_.Open()) {
    if (row.step == HubStep::kDialling) Replay(row);  // the call is on
  }
  for (const QueuedPage& queued : Own(PageState::kAtHub)) Submit(queued);
  if (!CancelWhatIsOverHere()) return;
  hub_.HasTold(machine_);
  host_.Tell("The hub is held; it was told what is known here.");
}

bool Courier::Replay(const HubRow& row) {
  const bool ended = row.step != HubStep::kDialling;
  const PageState state = !ended                        ? PageState::kUnknown
                          : row.step == HubStep::kAgain ? PageState::kReady
                                                        : row.state;
  return hub_.Replay(row.id, row.epoch, machine_ + "/" + row.holder,
                     ended ? row.result : Interrupted(), state);
}

/// False when one of the pages is with a holder, who is heard of or found to be gone first.
bool Courier::CancelWhatIsOverHere() {
  constexpr PageStates kAlive = {PageState::kReady, PageState::kHeld, PageState::kClaimed,
                                 PageState::kDialling, PageState::kUnknown};
  bool all = true;
  for (const QueuedPage& there : hub_.List({.states = kAlive})) {
    if (there.page.origin != machine_) continue;
    const auto here = own_.Find(IdAtOrigin(there.page.id));
    if (here && kAway.Has(here->state)) continue;
    all = hub_.Operate(there.page.id, kCancelPage) && all;
  }
  return all;
}

void Courier::See(bool held) {
  const Moment now = now_();
  const bool is_news = held == sight_.held.empty();
  if (!is_news && now < next_sight_ && next_sight_ - now <= kSeeEvery) return;
  next_sight_ = now + kSeeEvery;
  sight_.held = held ? hub_.HeldBecause() : "";
  sight_.machines = hub_.Machines();
  for (Machine& machine : sight_.machines) machine.seen -= hub_now_ - now;
  sight_.unserved = hub_.Rests(machine_).unserved;
}

/// What every machine does for all, so that it is done when only one is there. A hub that is held
/// decides nothing: it does not know enough.
void Courier::LookAfterHub(bool held) {
  const Moment now = now_();
  if (now < next_look_ && next_look_ - now <= kLookEvery) return;
  next_look_ = now + kLookEvery;
  const std::string mine = machine_ + "/";
  hub_.Sweep([&](const std::string& holder) {
    return holder.starts_with(mine) && host_.IsGone(holder.substr(mine.size()));
  });
  if (held) return;
  SettleUnknown(hub_, profile_, state_.rules, hub_now_, hub_now_ - kLateResult,
                [this](const std::string& id, Moment since) {
                  return host_.Recorded(id, since - (hub_now_ - now_()));
                });
  if (now < next_prune_ && next_prune_ - now <= kPruneEvery) return;
  next_prune_ = now + kPruneEvery;
  hub_.Prune(hub_now_ - kKept);
  record_.Prune(now - kRecordKept);
}

}  // namespace mvsms::dispatch
