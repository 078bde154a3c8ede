// See line_worker.h. The order in which things are made durable is the whole of its safety: the
// page is begun in the queue before its row opens in the journal, and that before the modem dials;
// what became of it is in the journal before the queue hears of it. Whoever dies in between leaves
// a page that is unknown at worst, and never one that is gone.
#include "dispatch/line_worker.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/raised_error.h"
#include "dispatch/repeats.h"
#include "engine/profile.h"
#include "engine/routing.h"
#include "engine/settings.h"
#include "media/apartment.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;

/// After each failure of a modem, one after the other: most things that fail twice fail for longer.
constexpr std::chrono::seconds kRests[] = {0s, 0s, 60s, 120s, 300s, 900s};

constexpr std::uint32_t kExtendMs = 10'000;

/// By which the journal knows a try.
std::string TryId(const QueuedPage& queued) {
  return queued.page.id + "." + std::to_string(queued.epoch);
}

JournalRow RowOf(const QueuedPage& queued) {
  JournalRow row;
  row.id = TryId(queued);
  row.profile = queued.page.profile;
  row.recipient = queued.page.recipient;
  row.service = queued.page.service;
  return row;
}

PageResult ResultOf(const SendReport& report, const Judgement& judgement) {
  return {.outcome = judgement.outcome,
          .reason = judgement.reason,
          .answer = DecidingAnswer(report),
          .modem = report.modem,
          .perhaps_out = judgement.outcome == Outcome::kUnknown || judgement.pieces_accepted > 0};
}

/// Tells `current` who is at work, for as long as this exists.
class AtWork {
 public:
  AtWork(Sender*& current, Sender& sender) : current_(current) { current_ = &sender; }
  ~AtWork() { current_ = nullptr; }
  AtWork(const AtWork&) = delete;
  AtWork& operator=(const AtWork&) = delete;

 private:
  Sender*& current_;
};

/// Keeps a page for its holder while it is sent. A queue that cannot be reached meanwhile is no
/// reason to end a call.
class KeptLease {
 public:
  KeptLease(Timers& timers, PageSource& queue, const QueuedPage& queued)
      : timers_(timers), timer_(timers.SetTimer(kExtendMs, [&queue, &queued](TimerId) {
          try {
            queue.Extend(queued.page.id, queued.epoch);
          } catch (const std::exception&) {
            // The lease is longer than several of these.
          }
        })) {}
  ~KeptLease() { timers_.KillTimer(timer_); }
  KeptLease(const KeptLease&) = delete;
  KeptLease& operator=(const KeptLease&) = delete;

 private:
  Timers& timers_;
  const TimerId timer_;
};

}  // namespace

LineWorker::LineWorker(Platform& platform, PageSource& queue, WorkerHost& host, WorkerLine line,
                       std::function<Moment()> now)
    : platform_(platform),
      queue_(queue),
      host_(host),
      line_(std::move(line)),
      now_(std::move(now)) {}

bool LineWorker::Work() {
  TellQueue();
  if (finishing_) return false;
  const auto services = ServicesOf(platform_.registry(), line_.profile, line_.names);
  if (platform_.clock().Now() < rests_until_) {
    queue_.Divert(line_.profile, services);
    return false;
  }
  const auto claimed = queue_.Claim(line_.holder, line_.profile, services);
  if (!claimed) {
    Enter(LineState::kIdle);
    return false;
  }
  if (const std::string obstacle = host_.TakeModem(line_.modem); !obstacle.empty()) {
    queue_.GiveBack(claimed->page.id, claimed->epoch);
    Enter(LineState::kWaiting, obstacle);
    return false;
  }
  Call(*claimed);
  return true;
}

void LineWorker::Stop() {
  finishing_ = true;
  if (sender_ != nullptr) sender_->AbortAction();
}

/// What is sent of the page.
std::string LineWorker::Words(const QueuedPage& queued) const {
  std::string profile = line_.profile, name = queued.page.service;
  Settings settings;
  GetSettings(platform_.registry(), profile, settings);
  ServiceRecord service;
  GetServiceInfo(platform_.registry(), profile, settings, service, name);
  return TellRepeats(queued.page.text, queued.more, service);
}

void LineWorker::Call(QueuedPage queued) {
  // Of its own: the timer that every connection leaves behind goes with it.
  Apartment apartment(platform_);
  Sender sender(apartment);
  sender.KeepsLine = true;
  sender.Modem = line_.modem;
  sender.HostAppName = line_.profile;
  const AtWork at_work(sender_, sender);
  Enter(LineState::kCalling);
  const auto began = platform_.clock().Now();
  const std::string service = queued.page.service;
  for (std::size_t pages = 1; Begin(queued); ++pages) {
    const bool fit = Send(sender, queued);
    TellQueue();
    if (!fit) break;
    auto next = MayGoOn(pages, began) && sender.HasLine() ? Next(service) : std::nullopt;
    if (!next) break;
    queued = std::move(*next);
  }
  sender.HangUp();
}

/// Where the queue's answer is lost nobody has dialled, although the page may be begun: it is given
/// back before the next one.
bool LineWorker::Begin(const QueuedPage& queued) {
  report_ = {queued.page.id, queued.epoch, {}, {}, false};
  const bool begun = queue_.Begin(queued.page.id, queued.epoch);
  report_.reset();
  return begun;
}

std::optional<QueuedPage> LineWorker::Next(const std::string& service) {
  return queue_.Claim(line_.holder, line_.profile, {&service, 1});
}

bool LineWorker::MayGoOn(std::size_t pages, std::chrono::milliseconds began) const {
  std::string name = line_.profile;
  const Profile profile(platform_.registry(), BaseKey(name));
  const auto most = static_cast<std::size_t>(profile.NumberOrInitial(setting::kPagesPerCall));
  const std::chrono::minutes longest(profile.NumberOrInitial(setting::kMinutesPerCall));
  return !finishing_ && pages < most && platform_.clock().Now() - began < longest;
}

bool LineWorker::Send(Sender& sender, const QueuedPage& queued) {
  std::string name = line_.profile;
  const Profile profile(platform_.registry(), BaseKey(name));
  JournalRow row = RowOf(queued);
  const std::string keep = ToText(profile.GetOrInitial(setting::kJournalText));
  std::string originator = queued.page.originator, text = Words(queued);
  TakeText(row, text, keep);
  Record(row);

  const KeptLease lease(platform_.timers(), queue_, queued);
  row.recipient = queued.page.recipient;
  sender.Status.clear();
  sender.SendMessage(row.recipient, originator, text, row.service);
  if (row.recipient.empty()) row.recipient = queued.page.recipient;

  const SendReport& report = sender.Report();
  const Judgement judgement = Judge(report);
  Close(row, report, judgement);
  if (queued.perhaps_twice) row.reason += "; perhaps twice";
  if (queued.more > 0) row.reason += "; for " + std::to_string(queued.more) + " more like it";
  Record(row);
  const bool failed = ModemFailed(report, judgement);
  const bool unsent = judgement.outcome == Outcome::kUnreachable;
  report_ = {queued.page.id, queued.epoch, ResultOf(report, judgement),
             Decide(judgement.outcome, judgement.exit_code, queued.attempts + 1,
                    queued.page.rules.value_or(ReadRetryRules(profile))),
             !failed && !(report.aborted && unsent)};
  if (keep != setting::kJournalText.choices[0]) ForgetWhatWasSaid(*report_);
  if (failed) CountFailure(judgement.reason);
  if (report.line_end != LineEnd::kNeverUp) failures_ = 0;
  return !unsent && judgement.outcome != Outcome::kUnknown;
}

/// A page that is done with is kept as the journal keeps it, without its text. One that may be
/// tried again needs it.
void LineWorker::ForgetWhatWasSaid(Report& report) {
  if (report.decision.verdict != Verdict::kDone) return;
  report.result.forget_text = true;
  report.result.answer.clear();
  report.result.reason = WithoutQuotation(report.result.reason);
}

void LineWorker::Record(const JournalRow& row) try {
  host_.Record(row);
} catch (const RaisedError& error) {
  host_.Tell(error.description());
}

bool LineWorker::ModemFailed(const SendReport& report, const Judgement& judgement) {
  if (report.aborted || judgement.outcome != Outcome::kUnreachable) return false;
  return report.step == SendStep::kModem ||
         (report.step == SendStep::kCall && host_.NothingDialled(line_.modem));
}

void LineWorker::CountFailure(const std::string& why) {
  const std::size_t longest = std::size(kRests) - 1;
  const std::chrono::seconds rest = kRests[std::min(failures_++, longest)];
  rests_until_ = platform_.clock().Now() + rest;
  if (rest > 0s) Enter(LineState::kResting, why);
}

/// What the queue does not take now is told again before the next page.
void LineWorker::TellQueue() {
  if (!report_) return;
  const Report& report = *report_;
  const auto& [verdict, pause, why] = report.decision;
  bool taken = false;
  if (!report.counts) {
    taken = queue_.GiveBack(report.id, report.epoch);
  } else if (verdict == Verdict::kAgain) {
    taken = queue_.TryAgain(report.id, report.epoch, report.result, now_() + pause);
  } else {
    PageResult result = report.result;
    if (!why.empty()) result.reason += "; " + why;
    taken = queue_.Finish(report.id, report.epoch, result,
                          verdict == Verdict::kDone ? PageState::kAccepted : PageState::kParked);
  }
  if (!taken && report.counts) {
    host_.Tell("The page " + report.id +
               " was taken from this line while it was on it, and may go out twice.");
  }
  report_.reset();
}

void LineWorker::Enter(LineState state, const std::string& why) {
  if (std::exchange(state_, state) != state || !why.empty()) host_.Entered(state, why);
}

std::vector<std::string> ServicesOf(Registry& registry, std::string profile,
                                    const std::vector<std::string>& modems) {
  Settings settings;
  GetSettings(registry, profile, settings);
  std::vector<std::string> services;
  for (std::string& name : Profile(registry, BaseKey(profile)).Services()) {
    ServiceRecord service;
    const bool read = GetServiceInfo(registry, profile, settings, service, name);
    if (read && std::find(modems.begin(), modems.end(), service.ModemName) != modems.end()) {
      services.push_back(name);
    }
  }
  return services;
}

namespace {

struct Ending {
  PageResult result;
  int exit_code;
};

Ending InDoubt(const QueuedPage& queued) {
  return {queued.result.value_or(Interrupted()), static_cast<int>(Exit::kUnknown)};
}

/// How a try ended that its holder could not tell the queue of.
Ending EndingOf(const QueuedPage& queued, const Recorded& recorded) {
  const auto row = recorded(TryId(queued), queued.arrived);
  if (!row) return InDoubt(queued);
  const auto outcome = std::find(kOutcomeNames.begin(), kOutcomeNames.end(), row->outcome);
  if (outcome == kOutcomeNames.end()) return InDoubt(queued);  // nobody closed it
  const auto known = static_cast<Outcome>(outcome - kOutcomeNames.begin());
  return {{.outcome = known,
           .reason = row->reason,
           .answer = row->answer,
           .modem = row->modem,
           .perhaps_out = known == Outcome::kUnknown || row->pieces_accepted > 0,
           .forget_text = known == Outcome::kAccepted && row->text.empty()},
          row->exit_code};
}

}  // namespace

void SettleUnknown(Queue& queue, const std::string& profile, const RetryRules& rules, Moment now,
                   Moment before, const Recorded& recorded) {
  for (const QueuedPage& queued : queue.List({.states = {PageState::kUnknown}})) {
    if (queued.page.profile != profile || queued.changed > before) continue;
    auto [result, exit_code] = EndingOf(queued, recorded);
    const auto& [verdict, pause, why] =
        Decide(result.outcome, exit_code, queued.attempts, queued.page.rules.value_or(rules));
    if (verdict == Verdict::kAgain) {
      const bool waited = result.outcome == Outcome::kUnknown;
      queue.TryAgain(queued.page.id, queued.epoch, result, waited ? now : now + pause);
    } else {
      if (!why.empty()) result.reason += "; " + why;
      queue.Finish(queued.page.id, queued.epoch, result,
                   verdict == Verdict::kDone ? PageState::kAccepted : PageState::kParked);
    }
  }
}

}  // namespace mvsms::dispatch
