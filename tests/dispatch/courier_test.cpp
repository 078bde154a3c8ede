// The courier in virtual time: what goes to the hub and what stays, what lines send for others, and
// what every crash and every lost answer leaves behind. Each case says who dies, and where.
#include "dispatch/courier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "backends/memory/hub.h"
#include "backends/memory/hub_record.h"
#include "backends/memory/queue.h"
#include "base/raised_error.h"
#include "dispatch/line_worker.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const PageResult kYes{.outcome = Outcome::kAccepted, .answer = "\x06", .modem = "Modem"};
const PageResult kBusy{
    .outcome = Outcome::kUnreachable, .reason = "the line is busy", .modem = "Modem"};
const PageResult kDoubt{.outcome = Outcome::kUnknown,
                        .reason = "no answer came",
                        .modem = "Modem",
                        .perhaps_out = true};

/// The end of a program: nobody catches it.
struct Death {};

[[noreturn]] void Away() { throw RaisedError(75, "Hub", "The hub cannot be used: gone."); }

/// Whose disk fails, or whose program dies at it.
class PerilousRecord : public memory::MemoryHubRecord {
 public:
  using MemoryHubRecord::MemoryHubRecord;
  std::function<void(bool done)> peril = [](bool) {};
  void Note(const HubRow& row) override {
    peril(false);
    MemoryHubRecord::Note(row);
    peril(true);
  }
};

/// A machine: its queue, record and journal outlive its programs.
class Site : public CourierHost {
 public:
  Site(std::string name, memory::MemoryHub& hub, std::function<Moment()> now)
      : name_(std::move(name)), hub_(hub), now_(std::move(now)), own(now_) {
    Restart();
  }

  /// The programs are gone, and others take their place.
  void Restart() {
    ++life_;
    hints = std::make_unique<HubHints>();
    line = std::make_unique<SharedQueue>(own, hub_, record, *hints, name_, now_);
    courier =
        std::make_unique<Courier>(own, hub_, record, *hints, *this, name_, "Standard", "1.0", now_);
  }
  void Put(const std::string& id, std::int32_t priority = kUsualPriority,
           const std::string& service = "City") {
    Page page;
    page.id = id;
    page.profile = "Standard";
    page.recipient = page.number = "0171" + name_ + id;
    page.text = "Pump";
    page.service = service;
    page.priority = priority;
    ASSERT_EQ(own.Put({&page, 1}), 1U);
  }
  std::optional<QueuedPage> Claim() {
    const std::vector<std::string> services = {"City"};
    return line->Claim(Holder(), "Standard", services);
  }
  QueuedPage Dialling() {
    auto page = Claim();
    EXPECT_TRUE(page && line->Begin(page->page.id, page->epoch));
    return page.value_or(QueuedPage{});
  }
  PageState StateOf(const std::string& id) { return own.Find(id).value().state; }
  std::string Holder() const { return std::to_string(life_) + "/Modem"; }
  void Work() { courier->Work(); }
  void SpeakForAWhile() { record.NoteBeats(name_, record.Beats(name_) + 10); }

 private:
  std::string name_;
  memory::MemoryHub& hub_;
  std::function<Moment()> now_;
  int life_ = 0;

 public:
  MachineState Look() override { return state; }
  bool IsGone(const std::string& holder) override { return holder != Holder(); }
  void Record(const JournalRow& row) override {
    if (journal_is_broken) throw RaisedError(75, "Journal", "The journal cannot be used: gone.");
    journal[row.id] = row;
  }
  std::optional<JournalRow> Recorded(const std::string& id, Moment) override {
    const auto row = journal.find(id);
    return row != journal.end() ? std::optional(row->second) : std::nullopt;
  }
  void Tell(const std::string& sentence) override { told.push_back(sentence); }

  memory::MemoryQueue own;
  PerilousRecord record{now_};
  std::map<std::string, JournalRow> journal;
  bool journal_is_broken = false;
  std::vector<std::string> told;
  MachineState state{.rules = {.retries = 3, .delay = 1min}};
  std::unique_ptr<HubHints> hints;
  std::unique_ptr<SharedQueue> line;
  std::unique_ptr<Courier> courier;
};

/// Two machines: a has no modem, b has one for the service City.
class TwoSites : public testing::Test {
 protected:
  TwoSites() {
    b_.state.served = b_.state.working = {"City"};
    b_.state.modems = b_.state.free = 1;
  }
  void Round(std::chrono::milliseconds later = 5s) {
    now_ += later;
    a_.Work();
    b_.Work();
  }
  /// From now on an operation of the hub fails, before or after it is done; once, or for ever.
  void Lose(const std::string& operation, bool done, bool for_ever = false) {
    hub_.peril = [this, operation, done, for_ever](const std::string& name, bool is_done) {
      if (name != operation || is_done != done) return;
      if (!for_ever) hub_.peril = nullptr;
      Away();
    };
  }
  void Kill(const std::string& operation, bool done) {
    hub_.peril = [this, operation, done](const std::string& name, bool is_done) {
      if (name != operation || is_done != done) return;
      hub_.peril = nullptr;
      throw Death();
    };
  }
  QueuedPage AtHub(const std::string& id) { return hub_.Find("a/" + id).value(); }
  /// a's page is on b's line.
  QueuedPage OnTheLine() {
    a_.Put("A");
    Round();
    Round();
    return b_.Dialling();
  }

  Moment now_{std::chrono::milliseconds(1'700'000'000'000)};
  Moment HubTime() const { return now_ + 1h; }  // the clocks disagree
  memory::MemoryHub hub_{[this] { return HubTime(); }};
  Site a_{"a", hub_, [this] { return now_; }};
  Site b_{"b", hub_, [this] { return now_; }};
};

TEST_F(TwoSites, APageThatNoModemHereCarriesGoesToOneThatDoes) {
  a_.Put("A");
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAtHub);
  Round();
  const QueuedPage page = b_.Dialling();
  EXPECT_EQ(page.page.id, "a/A");
  ASSERT_TRUE(b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted));
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(a_.own.Find("A")->result, kYes);
  ASSERT_THAT(a_.journal, SizeIs(1));
  EXPECT_EQ(a_.journal.begin()->second.modem, "b/Modem");
  EXPECT_EQ(a_.journal.begin()->second.outcome, "accepted");
  EXPECT_THAT(b_.record.Open(), IsEmpty());
  EXPECT_THAT(hub_.Results("a", 9), IsEmpty());
}

TEST_F(TwoSites, APageThatModemsHereCarryWaitsForThemFirst) {
  b_.Put("B");
  Round(59s);
  EXPECT_EQ(b_.StateOf("B"), PageState::kReady);
  Round(1s);
  EXPECT_EQ(b_.StateOf("B"), PageState::kAtHub);
}

TEST_F(TwoSites, APageWhoseModemsRestGoesAtOnce) {
  b_.Put("B");
  b_.state.working.clear();
  Round();
  EXPECT_EQ(b_.StateOf("B"), PageState::kAtHub);
}

TEST_F(TwoSites, PagesForLaterStay) {
  Page page;
  page.id = "later";
  page.profile = "Standard";
  page.service = "City";
  page.not_before = now_ + 1h;
  a_.own.Put({&page, 1});
  Round();
  EXPECT_EQ(a_.StateOf("later"), PageState::kReady);
}

TEST_F(TwoSites, OwnPagesComeBeforeThoseOfOthersThatAreAsUrgent) {
  a_.Put("as urgent");
  a_.Put("more urgent", 2);
  Round();
  Round();
  b_.Put("own");
  EXPECT_EQ(b_.Claim()->page.id, "a/more urgent");
  EXPECT_EQ(b_.StateOf("own"), PageState::kReady);
  Round();
  EXPECT_EQ(b_.Claim()->page.id, "own");
  EXPECT_EQ(b_.Claim()->page.id, "a/as urgent");
}

TEST_F(TwoSites, AnEndInTimeIsTranslatedForTheHubsClock) {
  Page page;
  page.id = "A";
  page.profile = "Standard";
  page.service = "City";
  page.expires = now_ + 1min;
  a_.own.Put({&page, 1});
  Round(30s);
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  Round(31s);
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kExpired) << "told, not silent";
}

TEST_F(TwoSites, AFailedTryGoesBackAndIsTriedAfterThePauseOfThePage) {
  const QueuedPage page = OnTheLine();
  EXPECT_EQ(page.page.rules->retries, 3);
  ASSERT_TRUE(b_.line->TryAgain(page.page.id, page.epoch, kBusy, now_ + 60s));
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  EXPECT_EQ(AtHub("A").page.not_before, HubTime() + 60s);
  EXPECT_EQ(b_.Claim(), std::nullopt);
  Round(60s);
  EXPECT_EQ(b_.Claim()->page.id, "a/A");
}

TEST_F(TwoSites, WithTheHubAwayOwnPagesGoOnAndItIsToldOnce) {
  hub_.peril = [](const std::string&, bool) { Away(); };
  b_.Put("B");
  b_.state.working.clear();
  Round();
  Round();
  EXPECT_EQ(b_.StateOf("B"), PageState::kReady) << "nothing new is handed over";
  EXPECT_EQ(b_.Claim()->page.id, "B");
  EXPECT_THAT(b_.told, ElementsAre("The hub cannot be used: gone. Own pages go on."));
  EXPECT_EQ(b_.courier->sight().away_since, now_ - 5s);
  hub_.peril = nullptr;
  Round();
  EXPECT_THAT(b_.told, SizeIs(2));
}

TEST_F(TwoSites, APageThatTheHubRefusesHoldsUpNoOther) {
  a_.Put("A");
  a_.Put("B");
  bool refuses = true;
  hub_.peril = [&](const std::string& name, bool) {
    if (name == "submit" && std::exchange(refuses, false)) throw HubRefusal(5, "Hub", "Too long.");
  };
  a_.Work();
  a_.Work();
  EXPECT_EQ(a_.StateOf("A"), PageState::kParked) << "no line here could send it";
  EXPECT_EQ(a_.own.Find("A")->result->reason, "Too long.");
  EXPECT_EQ(a_.StateOf("B"), PageState::kAtHub);
  a_.own.Operate("A", kRetryPage);
  refuses = true;
  a_.Work();
  EXPECT_EQ(a_.StateOf("A"), PageState::kParked);
  EXPECT_THAT(a_.told, ElementsAre("The page A stays here. Too long."));
}

TEST_F(TwoSites, APageThatTheHubRefusesWaitsForALineHere) {
  b_.Put("B");
  b_.state.working.clear();  // its modem rests
  hub_.peril = [&](const std::string& name, bool) {
    if (name == "submit") throw HubRefusal(5, "Hub", "Too long.");
  };
  b_.Work();
  b_.Work();
  EXPECT_EQ(b_.StateOf("B"), PageState::kReady);
  EXPECT_EQ(b_.Claim()->page.id, "B");
  EXPECT_THAT(b_.told, ElementsAre("The page B stays here. Too long."));
}

TEST_F(TwoSites, WhatKeepsLinesFromPagesOfOthersIsToldOnce) {
  a_.Put("A");
  Round();
  Lose("claim", false, true);
  for (int i = 0; i < 3; ++i) {
    Round();
    EXPECT_EQ(b_.Claim(), std::nullopt);
  }
  Round();
  EXPECT_THAT(b_.told,
              ElementsAre("The lines get no pages of others. The hub cannot be used: gone."));
}

TEST_F(TwoSites, AMachineOfAnothersNameTouchesNoneOfItsPages) {
  const QueuedPage page = OnTheLine();
  Site twin("b", hub_, [this] { return now_; });
  twin.state = b_.state;
  twin.Work();
  EXPECT_THAT(twin.told, ElementsAre(HasSubstr("Another machine has the name b at the hub")));
  EXPECT_TRUE(twin.courier->sight().away_since);
  EXPECT_EQ(AtHub("A").state, PageState::kDialling) << "whose holder the twin thinks gone";
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  b_.Work();
  EXPECT_EQ(AtHub("A").state, PageState::kAccepted);
}

// The submitter's side: S1 the page is offered, S2 it is submitted, S3 it is at the hub.

TEST_F(TwoSites, ASubmitterThatDiesBeforeOrAfterTheHubHasThePageOffersItAgain) {
  for (const bool done : {false, true}) {
    const std::string id = done ? "after" : "before";
    a_.Put(id);
    Kill("submit", done);
    EXPECT_THROW(Round(), Death);
    EXPECT_EQ(a_.StateOf(id), PageState::kOffering);
    a_.Restart();
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kAtHub);
    EXPECT_EQ(AtHub(id).state, PageState::kReady);
  }
}

TEST_F(TwoSites, ASubmitWhoseAnswerIsLostIsRepeated) {
  for (const bool done : {false, true}) {
    const std::string id = done ? "after" : "before";
    a_.Put(id);
    Lose("submit", done);
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kOffering);
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kAtHub);
  }
}

TEST_F(TwoSites, AResultWaitsForASubmitterThatIsGone) {
  const QueuedPage page = OnTheLine();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  for (int i = 0; i < 100; ++i) {
    now_ += 1h;
    b_.Work();
  }
  a_.Restart();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
}

TEST_F(TwoSites, AResultIsTakenOnceHoweverOftenItsAnswersAreLost) {
  const QueuedPage page = OnTheLine();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  b_.Work();
  for (const char* operation : {"results", "tries", "seen"}) {
    for (const bool done : {false, true}) {
      Lose(operation, done);
      Round();
    }
  }
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_THAT(a_.journal, SizeIs(1));
  EXPECT_THAT(hub_.Results("a", 9), IsEmpty());
}

TEST_F(TwoSites, AResultComesHomeWithoutAJournalToo) {
  const QueuedPage page = OnTheLine();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  b_.Work();
  a_.journal_is_broken = true;
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_THAT(a_.told, ElementsAre("The journal cannot be used: gone."));
  EXPECT_FALSE(a_.courier->sight().away_since) << "it is not the hub that is broken";
}

// An operator at home: what he cancels and has tried again.

TEST_F(TwoSites, APageThatIsCancelledAtHomeIsWithdrawn) {
  a_.Put("A");
  Round();
  ASSERT_TRUE(a_.own.Operate("A", kCancelPage));
  EXPECT_EQ(a_.StateOf("A"), PageState::kWithdrawing);
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kCancelled);
  EXPECT_EQ(b_.Claim(), std::nullopt);
}

TEST_F(TwoSites, AWithdrawalWhoseAnswerIsLostIsRepeated) {
  for (const bool done : {false, true}) {
    const std::string id = done ? "after" : "before";
    a_.Put(id);
    Round();
    ASSERT_TRUE(a_.own.Operate(id, kCancelPage));
    Lose("withdraw", done);
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kWithdrawing);
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kCancelled);
  }
}

TEST_F(TwoSites, APageThatIsCancelledWhileItIsOfferedIsSentByNobody) {
  for (const bool done : {false, true}) {
    const std::string id = done ? "after" : "before";
    a_.Put(id);
    Lose("submit", done);
    Round();
    ASSERT_TRUE(a_.own.Operate(id, kCancelPage));
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kCancelled);
    EXPECT_EQ(b_.Claim(), std::nullopt);
  }
}

TEST_F(TwoSites, WhatIsOnALineIsCancelledTooLate) {
  const QueuedPage page = OnTheLine();
  ASSERT_TRUE(a_.own.Operate("A", kCancelPage));
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAtHub);
  EXPECT_THAT(a_.told, testing::Contains(HasSubstr("cancelled too late")));
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
}

TEST_F(TwoSites, APageThatWasParkedOrCancelledGoesAgainWhenItIsToBeTriedAgain) {
  for (const bool parked : {true, false}) {
    const std::string id = parked ? "parked" : "cancelled";
    a_.Put(id);
    Round();
    Round();
    if (parked) {
      const QueuedPage page = b_.Dialling();
      b_.line->Finish(page.page.id, page.epoch, kBusy, PageState::kParked);
    } else {
      ASSERT_TRUE(a_.own.Operate(id, kCancelPage));
    }
    Round();
    Round();
    EXPECT_EQ(NameOf(a_.StateOf(id)), id);
    ASSERT_TRUE(a_.own.Operate(id, kRetryPage));
    Round();
    Round();
    const QueuedPage again = b_.Dialling();
    EXPECT_EQ(again.page.id, "a/" + id);
    EXPECT_FALSE(again.perhaps_twice);
    b_.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
    Round();
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kAccepted);
  }
}

// The sender's side: W1 claim, W2 the record has it, W3 begin, W4 the record says dialling, W5 the
// call, W6 the record has its end, W7 the hub is told.

TEST_F(TwoSites, AWorkerThatDiesWithAClaimLeavesThePageToOthers) {
  a_.Put("A");
  Round();
  Round();
  Kill("claim", true);
  EXPECT_THROW(b_.Claim(), Death);
  b_.Restart();
  EXPECT_EQ(AtHub("A").state, PageState::kClaimed);
  Round(5s);
  EXPECT_EQ(AtHub("A").state, PageState::kReady) << "its machine knows that it is gone";
  Round();
  const QueuedPage page = b_.Dialling();
  EXPECT_EQ(page.attempts, 0);
}

TEST_F(TwoSites, AMachineThatDiesWithAClaimLeavesThePageWhenItsLeaseIsOver) {
  a_.Put("A");
  Round();
  Round();
  const QueuedPage page = b_.Claim().value();
  for (const auto later : {29s, 12s}) {
    now_ += later;
    a_.Work();
  }
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  EXPECT_FALSE(b_.line->Begin(page.page.id, page.epoch)) << "the same epoch never dials";
}

TEST_F(TwoSites, NobodyDialsWithoutAnAnswerToBegin) {
  for (const bool done : {false, true}) {
    const std::string id = done ? "after" : "before";
    a_.Put(id);
    Round();
    Round();
    const QueuedPage page = b_.Claim().value();
    Lose("begin", done);
    EXPECT_THROW(b_.line->Begin(page.page.id, page.epoch), RaisedError);
    ASSERT_TRUE(b_.line->GiveBack(page.page.id, page.epoch)) << "as lines do then";
    Round();
    EXPECT_EQ(AtHub(id).state, PageState::kReady);
    EXPECT_EQ(AtHub(id).attempts, 0);
    EXPECT_THAT(hub_.Tries("a/" + id), IsEmpty());
    const QueuedPage again = b_.Dialling();
    b_.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
    Round();
  }
}

TEST_F(TwoSites, NobodyDialsWithoutARecordOfIt) {
  a_.Put("A");
  Round();
  Round();
  b_.record.peril = [](bool) { throw RaisedError(61, "Record", "The disk is full."); };
  EXPECT_EQ(b_.Claim(), std::nullopt);
  b_.record.peril = [](bool) {};
  now_ += kClaimLease;
  Round();
  const QueuedPage page = b_.Claim().value();
  b_.record.peril = [](bool) { throw RaisedError(61, "Record", "The disk is full."); };
  EXPECT_THROW(b_.line->Begin(page.page.id, page.epoch), RaisedError);
  b_.record.peril = [](bool) {};
  ASSERT_TRUE(b_.line->GiveBack(page.page.id, page.epoch)) << "as lines do then";
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  EXPECT_EQ(AtHub("A").attempts, 0);
}

TEST_F(TwoSites, AWorkerThatDiesBetweenBeginAndItsRecordHasNotDialled) {
  for (const bool swept : {false, true}) {
    const std::string id = swept ? "swept" : "not swept";
    a_.Put(id);
    Round();
    Round();
    const QueuedPage page = b_.Claim().value();
    Kill("begin", true);
    EXPECT_THROW(b_.line->Begin(page.page.id, page.epoch), Death);
    b_.Restart();
    if (swept) {
      now_ += kDiallingLease;
      a_.Work();
      EXPECT_EQ(AtHub(id).state, PageState::kUnknown);
    }
    Round();
    EXPECT_EQ(AtHub(id).state, PageState::kReady);
    EXPECT_FALSE(AtHub(id).perhaps_twice);
    Round();
    const QueuedPage again = b_.Dialling();
    b_.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
    Round();
  }
}

TEST_F(TwoSites, AWorkerThatDiesInACallLeavesAnUnknownPageThatIsRepeatedAsThePageHasIt) {
  for (const bool repeats : {true, false}) {
    a_.state.rules.repeat_unknown = repeats;
    const std::string id = repeats ? "again" : "park";
    a_.Put(id);
    Round();
    Round();
    b_.Dialling();
    b_.Restart();
    Round(10s);
    EXPECT_EQ(AtHub(id).state, PageState::kUnknown);
    EXPECT_EQ(a_.StateOf(id), PageState::kAtHub) << "it may still be resolved";
    Round(71s);
    EXPECT_EQ(AtHub(id).state, repeats ? PageState::kReady : PageState::kParked);
    EXPECT_EQ(AtHub(id).perhaps_twice, repeats);
    if (!repeats) continue;
    Round();
    const QueuedPage again = b_.Dialling();
    b_.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
    Round();
  }
  Round();
  EXPECT_EQ(a_.StateOf("again"), PageState::kAccepted);
  EXPECT_TRUE(a_.own.Find("again")->perhaps_twice);
  EXPECT_EQ(a_.StateOf("park"), PageState::kParked);
  EXPECT_EQ(a_.own.Find("park")->result->outcome, Outcome::kUnknown);
}

TEST_F(TwoSites, AWorkerThatDiesBetweenItsJournalAndItsRecordLeavesWhatTheJournalSays) {
  const QueuedPage page = OnTheLine();
  JournalRow row;
  row.id = page.page.id + "." + std::to_string(page.epoch);
  row.outcome = NameOf(Outcome::kAccepted);
  b_.Record(row);
  b_.Restart();
  now_ += 5s;
  b_.Work();
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown);
  now_ += 70s;
  b_.Work();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
}

TEST_F(TwoSites, AResultThatTheHubDoesNotHearIsToldUntilItDoes) {
  const QueuedPage page = OnTheLine();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Lose("finish", false);
  Round();
  EXPECT_THAT(b_.record.Open(), SizeIs(1));
  Lose("finish", true);
  b_.Restart();
  Round();
  EXPECT_THAT(b_.record.Open(), SizeIs(1));
  Round();
  EXPECT_THAT(b_.record.Open(), IsEmpty());
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
  EXPECT_THAT(b_.told, testing::Not(testing::Contains(HasSubstr("twice"))));
}

TEST_F(TwoSites, ACallIsKeptAliveAsLongAsItsLineIsAtWork) {
  const QueuedPage page = OnTheLine();
  for (int i = 0; i < 20; ++i) {
    EXPECT_TRUE(b_.line->Extend(page.page.id, page.epoch));
    Round(10s);
  }
  EXPECT_EQ(AtHub("A").state, PageState::kDialling);
  EXPECT_EQ(AtHub("A").epoch, page.epoch);
  for (int i = 0; i < 10; ++i) Round(10s);
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown) << "the line hangs, its courier does not";
  EXPECT_TRUE(b_.line->Extend(page.page.id, page.epoch));
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  EXPECT_FALSE(b_.hints->WasAtWork(page.page.id)) << "nothing is kept of what is over";
}

TEST_F(TwoSites, AResultAfterACutIsHeardWhenTheCutIsOver) {
  const QueuedPage page = OnTheLine();
  now_ += kDiallingLease;
  a_.Work();
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown);
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
}

TEST_F(TwoSites, AResultAfterACutOfAPageThatWasRepeatedIsKeptAsLate) {
  const QueuedPage page = OnTheLine();
  now_ += kDiallingLease;
  a_.Work();
  now_ += 61s;
  a_.Work();
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  Site c("c", hub_, [this] { return now_; });
  c.state = b_.state;
  c.Work();
  const QueuedPage again = c.Dialling();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  b_.Work();
  EXPECT_THAT(b_.told, testing::Contains(HasSubstr("may go out twice")));
  c.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
  c.Work();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_TRUE(a_.own.Find("A")->perhaps_twice);
  EXPECT_THAT(a_.journal, SizeIs(2));
}

TEST_F(TwoSites, AResultAfterACutResolvesWhatWasParked) {
  a_.state.rules.repeat_unknown = false;
  const QueuedPage page = OnTheLine();
  now_ += kDiallingLease;
  a_.Work();
  now_ += 61s;
  a_.Work();
  now_ += 5s;
  a_.Work();
  EXPECT_EQ(a_.StateOf("A"), PageState::kParked);
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
}

/// Each step of a page's way, at the hub and in the record of its sender: a program dies before it
/// or after it, or its call or answer is lost.
TEST_F(TwoSites, AtEveryStepOfItsWayAPageIsNeitherLostNorSentTwiceWithoutAWord) {
  enum class Step { kCall, kNote };
  const std::tuple<Step, bool, bool> perils[] = {
      {Step::kCall, true, false}, {Step::kCall, true, true},  {Step::kCall, false, false},
      {Step::kCall, false, true}, {Step::kNote, true, false}, {Step::kNote, true, true}};
  for (const auto& [kind, dies, done] : perils) {
    bool met = true;
    for (int at = 1; met; ++at) {
      memory::MemoryHub hub([this] { return HubTime(); });
      Site x("x", hub, [this] { return now_; }), y("y", hub, [this] { return now_; });
      y.state = b_.state;
      int steps = 0, sent = 0;
      met = false;
      const auto step = [&](bool is_done) {
        if (is_done != done || ++steps != at) return;
        met = true;
        if (dies) throw Death();
        Away();
      };
      hub.peril = [&](const std::string&, bool is_done) {
        if (kind == Step::kCall) step(is_done);
      };
      y.record.peril = [&](bool is_done) {
        if (kind == Step::kNote) step(is_done);
      };
      const auto live = [&](Site& site, const std::function<void()>& work) {
        try {
          site.Work();
          work();
        } catch (const Death&) {
          site.Restart();
        }
      };
      const auto send = [&] {
        const auto page = y.Claim();
        if (!page) return;
        try {
          if (!y.line->Begin(page->page.id, page->epoch)) return;
        } catch (const RaisedError&) {
          y.line->GiveBack(page->page.id, page->epoch);
          return;
        }
        ++sent;
        y.line->Finish(page->page.id, page->epoch, kYes, PageState::kAccepted);
      };
      x.Put("A");
      for (int round = 0; round < 40 && x.StateOf("A") != PageState::kAccepted; ++round) {
        now_ += 5s;
        live(x, [] {});
        live(y, send);
      }
      SCOPED_TRACE("step " + std::to_string(at));
      const QueuedPage page = x.own.Find("A").value();
      EXPECT_EQ(NameOf(page.state), NameOf(PageState::kAccepted));
      EXPECT_TRUE(sent == 1 || (sent == 2 && page.perhaps_twice)) << sent;
      EXPECT_TRUE(kind == Step::kNote || !page.perhaps_twice) << "nobody died while it was out";
      EXPECT_GE(x.journal.size(), 1U);
    }
  }
}

TEST_F(TwoSites, TheHubForgetsPagesThatAreOverAndSeen) {
  const QueuedPage page = OnTheLine();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  Round(24h * 29);
  EXPECT_TRUE(hub_.Find("a/A"));
  Round(24h * 2);
  EXPECT_FALSE(hub_.Find("a/A"));
}

// The workers of two profiles on one machine have one queue and one record.

class TwoProfiles : public TwoSites {
 protected:
  Courier Other(const std::string& name) {
    return Courier(a_.own, hub_, a_.record, hints_, a_, name, "Night", "1.0",
                   [this] { return now_; });
  }
  HubHints hints_;
};

TEST_F(TwoProfiles, SpeakAtTheSameTimeWithoutHoldingTheHub) {
  Courier other = Other("a");
  Round();
  hub_.peril = [&](const std::string& name, bool done) {
    if (name != "beat" || !done) return;
    hub_.peril = nullptr;
    other.Work();  // while the answer is on the way
  };
  Round();
  Round();
  EXPECT_EQ(hub_.HeldBecause(), "");
}

TEST_F(TwoProfiles, MayHaveANameEach) {
  Courier other = Other("a at night");
  Round();
  Round();
  other.Work();
  Round();
  other.Work();
  EXPECT_EQ(hub_.HeldBecause(), "");
}

TEST_F(TwoProfiles, LookAfterTheirOwnPages) {
  Courier other = Other("a at night");
  a_.Put("A");
  Lose("submit", false);
  a_.Work();
  other.Work();
  EXPECT_FALSE(hub_.Find("a at night/A")) << "offered, by the other name";
  Round();
  ASSERT_TRUE(a_.own.Operate("A", kCancelPage));
  other.Work();
  EXPECT_EQ(a_.StateOf("A"), PageState::kWithdrawing) << "the hub was asked by the other name";
  ASSERT_TRUE(a_.own.Operate("A", kRetryPage));
  Round();
  hub_.Hold("a backup was put back");
  other.Work();
  EXPECT_FALSE(hub_.Find("a at night/A"));
}

// A backup of the hub is put back: what it has forgotten is told again before it gives anything
// out.

class RestoredHub : public TwoSites {
 protected:
  /// b sends a's page, and a knows it.
  void SendAndSettle() {
    const QueuedPage page = b_.Dialling();
    b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
    Round();
    Round();
  }
  /// The machines have spoken for a while since it was made.
  void PutBack(const std::function<void()>& restore) {
    for (Site* site : {&a_, &b_}) site->SpeakForAWhile();
    restore();
  }
  /// As an operator does it, when every machine has told what it knew.
  void Release() {
    Round();
    for (const Machine& machine : hub_.Machines()) EXPECT_TRUE(machine.told) << machine.name;
    hub_.Release();
    Round();
    Round();
  }
};

TEST_F(RestoredHub, HoldsItselfAsSoonAsAMachineSpeaksToIt) {
  Round();
  const auto restore = hub_.Backup();
  Round();
  Round();
  EXPECT_EQ(hub_.HeldBecause(), "");
  restore();
  now_ += 5s;
  b_.Work();
  EXPECT_THAT(hub_.HeldBecause(), HasSubstr("b knows more than the hub"));
  EXPECT_THAT(b_.courier->sight().held, HasSubstr("b knows more"));
  EXPECT_FALSE(hub_.Machines().front().told) << "a has not spoken since";
  now_ += 5s;
  a_.Work();
  Release();
  EXPECT_EQ(hub_.HeldBecause(), "");
}

TEST_F(RestoredHub, OneThatWasHeldInItsBackupIsToldAgain) {
  a_.Put("A");
  Round();
  hub_.Hold("for a while");
  Round();
  const auto restore = hub_.Backup();
  Release();
  SendAndSettle();
  PutBack(restore);
  for (const Machine& machine : hub_.Machines()) EXPECT_TRUE(machine.told);
  Round();
  Round();
  Release();
  EXPECT_EQ(b_.Claim(), std::nullopt);
}

TEST_F(RestoredHub, NothingIsClaimedBeforeTheCourierHasLooked) {
  Round();
  const auto restore = hub_.Backup();
  a_.Put("A");
  Round();
  Round();
  Lose("claim", false);
  EXPECT_EQ(b_.Claim(), std::nullopt) << "the connection is gone with the server";
  PutBack(restore);
  a_.Put("B");
  hub_.Submit(a_.own.Find("B").value());
  EXPECT_EQ(b_.Claim(), std::nullopt);
  EXPECT_EQ(hub_.HeldBecause(), "");
}

TEST_F(RestoredHub, NothingIsClaimedAfterABeginThatWasLostEither) {
  a_.Put("A");
  a_.Put("B");
  Round();
  Round();
  const QueuedPage page = b_.Claim().value();
  Lose("begin", false);
  EXPECT_THROW(b_.line->Begin(page.page.id, page.epoch), RaisedError);
  EXPECT_EQ(b_.Claim(), std::nullopt);
}

TEST_F(RestoredHub, WhatWasSentSinceTheBackupIsNotSentAgain) {
  a_.Put("A");
  Round();
  Round();
  const auto restore = hub_.Backup();
  SendAndSettle();
  PutBack(restore);
  EXPECT_EQ(AtHub("A").state, PageState::kReady);
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kAccepted);
  Round();
  Release();
  EXPECT_EQ(b_.Claim(), std::nullopt);
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
}

TEST_F(RestoredHub, AResultThatItsOriginDidNotHearYetReachesItAllTheSame) {
  for (const bool submitted_first : {true, false}) {
    const std::string id = submitted_first ? "submitted first" : "told first";
    const auto restore = hub_.Backup();
    a_.Put(id);
    Round();
    Round();
    const QueuedPage page = b_.Dialling();
    b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
    b_.Work();
    EXPECT_EQ(a_.StateOf(id), PageState::kAtHub);
    PutBack(restore);
    now_ += 5s;
    if (submitted_first) a_.Work();
    b_.Work();
    Round();
    Round();
    EXPECT_EQ(a_.StateOf(id), PageState::kAccepted);
    EXPECT_FALSE(a_.own.Find(id)->perhaps_twice);
    EXPECT_EQ(a_.own.Find(id)->page.text, "Pump") << "which the hub has forgotten, and nobody else";
    EXPECT_EQ(a_.journal.begin()->second.recipient, a_.own.Find(id)->page.recipient);
    a_.journal.clear();
    Release();
    EXPECT_EQ(b_.Claim(), std::nullopt);
  }
}

TEST_F(RestoredHub, WhatWasHandedOverSinceTheBackupIsHandedOverAgain) {
  Round();
  const auto restore = hub_.Backup();
  a_.Put("A");
  Round();
  PutBack(restore);
  EXPECT_FALSE(hub_.Find("a/A"));
  Round();
  EXPECT_EQ(b_.Claim(), std::nullopt);
  Release();
  EXPECT_EQ(b_.Dialling().page.id, "a/A");
}

TEST_F(RestoredHub, WhatIsOverAtHomeIsCancelledThereWhoeverHasSentIt) {
  a_.Put("A");
  Round();
  Round();
  const auto restore = hub_.Backup();
  SendAndSettle();
  b_.record.Prune(kNever);  // as if it were another machine
  PutBack(restore);
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kCancelled);
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  Release();
  EXPECT_EQ(b_.Claim(), std::nullopt);
}

TEST_F(RestoredHub, ACallThatWasOnMeanwhileIsNotRepeated) {
  a_.Put("A");
  Round();
  Round();
  const auto restore = hub_.Backup();
  const QueuedPage page = b_.Dialling();
  Round();
  PutBack(restore);
  Round();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(AtHub("A").state, PageState::kAccepted);
  EXPECT_THAT(b_.told, testing::Not(testing::Contains(HasSubstr("twice"))));
}

TEST_F(RestoredHub, ACallThatGoesOnWhenItIsReleasedIsNotRepeatedMeanwhile) {
  a_.Put("A");
  Round();
  Round();
  const auto restore = hub_.Backup();
  const QueuedPage page = b_.Dialling();
  Round();
  PutBack(restore);
  Round();
  Round();
  Release();
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown);
  EXPECT_EQ(b_.Claim(), std::nullopt);
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
}

TEST_F(RestoredHub, ACallInWhichAWorkerDiedIsNotForgotten) {
  a_.Put("A");
  Round();
  Round();
  const auto restore = hub_.Backup();
  b_.Dialling();
  b_.Restart();
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown);
  PutBack(restore);
  Round();
  EXPECT_EQ(AtHub("A").state, PageState::kUnknown);
  Round();
  Release();
  Round(71s);
  Round();
  EXPECT_TRUE(b_.Dialling().perhaps_twice);
}

TEST_F(RestoredHub, ACallThatTheBackupHasIsNotRepeated) {
  const QueuedPage page = OnTheLine();
  const auto restore = hub_.Backup();
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  Round();
  Round();
  PutBack(restore);
  for (int i = 0; i < 30; ++i) Round();
  Release();
  EXPECT_EQ(b_.Claim(), std::nullopt);
  EXPECT_EQ(a_.StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(a_.own.Find("A")->perhaps_twice);
}

TEST_F(RestoredHub, ATryOfWhichSomethingMayBeOutIsNotForgotten) {
  for (const bool known : {true, false}) {
    const std::string id = known ? "known" : "not known";
    auto restore = hub_.Backup();
    a_.Put(id);
    Round();
    Round();
    if (known) restore = hub_.Backup();
    const QueuedPage page = b_.Dialling();
    b_.line->TryAgain(page.page.id, page.epoch, kDoubt, now_ + 1h);
    Round();
    PutBack(restore);
    now_ += 5s;
    b_.Work();
    Round();
    Round();
    Release();
    EXPECT_EQ(hub_.Find("a/" + id)->perhaps_twice || a_.StateOf(id) == PageState::kParked, true);
    EXPECT_EQ(a_.StateOf(id), known ? PageState::kAtHub : PageState::kParked);
    EXPECT_EQ(a_.own.Find(id)->page.text, "Pump");
    if (known) {
      const QueuedPage again = b_.Dialling();
      EXPECT_TRUE(again.perhaps_twice);
      b_.line->Finish(again.page.id, again.epoch, kYes, PageState::kAccepted);
      Round();
      Round();
    }
  }
}

TEST_F(TwoSites, ServicesThatNoLiveMachineHasAreTold) {
  a_.Put("A");
  a_.Put("B", kUsualPriority, "Area");
  Round(30s);
  Round(30s);
  EXPECT_THAT(a_.courier->sight().unserved, ElementsAre("Area"));
  EXPECT_THAT(a_.courier->sight().machines, SizeIs(2));
  EXPECT_EQ(a_.courier->sight().machines[1].name, "b");
  EXPECT_EQ(a_.courier->sight().machines[1].seen, now_ - 30s) << "by its own clock";
  EXPECT_THAT(b_.courier->sight().unserved, IsEmpty());
  for (int i = 0; i < 5; ++i) {
    now_ += 30s;
    a_.Work();
  }
  EXPECT_THAT(a_.courier->sight().unserved, ElementsAre("Area", "City"));
}

TEST_F(TwoSites, TheJournalAtHomeSaysWhenATryElsewhereWas) {
  const QueuedPage page = OnTheLine();
  now_ += 40s;
  b_.line->Finish(page.page.id, page.epoch, kYes, PageState::kAccepted);
  b_.Work();
  now_ += 5min;
  a_.Work();
  EXPECT_EQ(a_.journal.begin()->second.duration, 40s);
  EXPECT_EQ(a_.journal.begin()->second.ago, 5min);
}

/// Everything fails and dies at random. In the end every page has gone out, and those that have
/// gone out twice are marked.
TEST_F(TwoSites, NoPageIsLostOrSentTwiceWithoutAWord) {
  const unsigned runs = std::getenv("MVSMS_THOROUGH") != nullptr ? 300 : 10;
  for (unsigned seed = 1; seed <= runs; ++seed) {
    std::mt19937 chance(seed);
    const auto one_in = [&](unsigned n) { return chance() % n == 0; };
    memory::MemoryHub hub([this] { return HubTime(); });
    std::vector<std::unique_ptr<Site>> sites;
    for (const char* name : {"x", "y", "z"}) {
      auto& site = sites.emplace_back(std::make_unique<Site>(name, hub, [this] { return now_; }));
      site->state.rules.retries = 10'000;
      if (*name == 'x') continue;
      site->state.served = site->state.working = {"City"};
      site->state.modems = site->state.free = 1;
    }
    std::map<std::string, int> sent;  // by number, as the message centre has it
    bool perilous = true;
    std::function<void()> restore = hub.Backup();
    const auto backups = [&] {
      if (one_in(40)) restore = hub.Backup();
      if (perilous && one_in(150)) {
        restore();
        for (auto& site : sites) {
          site->hints->Set({});  // their connections are gone
          site->SpeakForAWhile();
        }
      }
      // An operator, who is allowed to see everything.
      const auto peril = std::exchange(hub.peril, nullptr);
      const auto machines = hub.Machines();
      const bool told = std::ranges::all_of(machines, [](const auto& one) { return one.told; });
      if (machines.size() == sites.size() && told) hub.Release();
      hub.peril = peril;
    };
    hub.peril = [&](const std::string&, bool) {
      if (!perilous) return;
      if (one_in(12)) Away();
      if (one_in(60)) throw Death();
    };
    const auto live = [&](Site& site) {
      try {
        if (one_in(2)) site.Work();
        const auto page = site.state.modems > 0 ? site.Claim() : std::nullopt;
        if (!page) return;
        const auto& [id, epoch] = std::pair(page->page.id, page->epoch);
        bool begun = false;
        try {
          begun = site.line->Begin(id, epoch);
        } catch (const RaisedError&) {
          site.line->GiveBack(id, epoch);
        }
        if (!begun) return;
        if (one_in(8)) now_ += 100s;  // a long call, during which others may think it dead
        const bool goes_out = !one_in(4);
        if (goes_out) ++sent[page->page.number];
        if (perilous && one_in(10)) throw Death();
        if (goes_out && !one_in(10)) {
          site.line->Finish(id, epoch, kYes, PageState::kAccepted);
        } else {
          site.line->TryAgain(id, epoch, goes_out ? kDoubt : kBusy, now_);
        }
      } catch (const Death&) {
        site.Restart();
      } catch (const RaisedError&) {
        // The line looks again later.
      }
    };
    const auto look_after_own = [&](Site& site) {
      site.own.Sweep([&](const std::string& holder) { return holder != site.Holder(); });
      SettleUnknown(site.own, "Standard", site.state.rules, now_, now_ - 60s,
                    [&](const std::string& id, Moment since) { return site.Recorded(id, since); });
    };
    const int kPages = 12;
    for (int i = 0; i < kPages; ++i) sites[static_cast<std::size_t>(i % 3)]->Put(std::to_string(i));
    for (int step = 0; step < 3000; ++step) {
      perilous = step < 300;
      now_ += std::chrono::milliseconds(chance() % 8000);
      Site& site = *sites[chance() % 3];
      live(site);
      look_after_own(site);
      backups();
    }
    for (auto& site : sites) {
      for (const QueuedPage& page : site->own.List({.states = kAllStates})) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", page " + page.page.id);
        const int times = sent[page.page.number];
        // One that a restored hub had forgotten in a call is parked, and says that it may be out.
        const bool doubtful = page.state == PageState::kParked && page.result->perhaps_out;
        EXPECT_TRUE(page.state == PageState::kAccepted || doubtful) << NameOf(page.state);
        EXPECT_TRUE(times >= 1 || doubtful);
        EXPECT_TRUE(times == 1 || doubtful || page.perhaps_twice) << times;
      }
      EXPECT_THAT(site->record.Open(), IsEmpty());
    }
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace mvsms::dispatch
