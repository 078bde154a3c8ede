// The worker of a line in virtual time: what goes out in one call, what becomes of each page, and
// what queue and journal say of it, also when either fails or the worker dies.
#include "dispatch/line_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "backends/memory/queue.h"
#include "base/raised_error.h"
#include "media/bascommon.h"
#include "tests/support/heap.h"
#include "tests/support/host.h"

namespace mvsms::dispatch {
namespace {

std::optional<JournalRow> NothingRecorded(const std::string&, Moment) { return std::nullopt; }

using namespace std::chrono_literals;
using test::TapBlock;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string kYes = "\r\x06\r";
const std::string kNo = "\r\x15\r";              // not now
const std::string kNever511 = "511 no\r\x1e\r";  // for good

/// A queue whose store fails when it is told to.
class FailingQueue : public memory::MemoryQueue {
 public:
  using MemoryQueue::MemoryQueue;
  bool Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
              PageState state) override {
    if (fails) throw RaisedError(75, "Queue", "The disk is full.");
    return MemoryQueue::Finish(id, epoch, result, state);
  }
  bool Begin(const std::string& id, std::int64_t epoch) override {
    const bool begun = MemoryQueue::Begin(id, epoch);
    if (loses_answers) throw RaisedError(75, "Queue", "The disk is full.");
    return begun;
  }
  bool fails = false;
  bool loses_answers = false;
};

class Worker : public testing::Test, protected WorkerHost {
 protected:
  Worker() {
    host_.AddTapService();
    host_.profile.Set("QuickRetries", "10");
    host_.profile.Set("Retries", 1);
  }

  static Page PageOf(const std::string& id, const std::string& text,
                     const std::string& number = "0171", const std::string& service = "Pager") {
    Page page;
    page.id = id;
    page.profile = "Standard";
    page.recipient = page.number = number;
    page.text = text;
    page.service = service;
    return page;
  }
  void Put(const std::string& id, const std::string& text, const std::string& number = "0171",
           const std::string& service = "Pager") {
    const Page page = PageOf(id, text, number, service);
    queue_.Put({&page, 1});
  }
  QueuedPage Find(const std::string& id) { return queue_.Find(id).value(); }
  PageState StateOf(const std::string& id) { return Find(id).state; }
  Moment Now() { return Moment(1'000'000s) + host_.platform.clock().Now(); }
  void Wait(std::chrono::milliseconds time) {
    basCommon::Pause(host_.platform.loop(), static_cast<std::int32_t>(time.count()));
  }
  /// What the line and the one who watches over it do again and again.
  void LookForWork() {
    worker_.Work();
    queue_.Sweep([](const std::string&) { return false; });
    SettleUnknown(queue_, "Standard", {}, Now(), Now() - 60s, NothingRecorded);
    queue_.Prune(Now() - 1h);
    host_.platform.loop().Sleep(60s);
    host_.platform.loop().DoEvents();
    host_.platform.calls.clear();
  }
  std::vector<std::string> JournalOf(const std::string& id) const {
    std::vector<std::string> rows;
    for (const JournalRow& row : journal_) {
      if (row.id.starts_with(id + ".")) rows.push_back(row.id + " " + row.outcome);
    }
    return rows;
  }

  test::Host host_;
  FailingQueue queue_{[this] { return Now(); }};
  std::vector<JournalRow> journal_;
  std::vector<std::string> told_;
  std::vector<std::string> states_;
  std::string modem_in_use_;
  bool nothing_dialled_ = false;
  bool journal_fails_ = false;
  std::function<void()> before_the_row_;
  LineWorker worker_{
      host_.platform,
      queue_,
      *this,
      {.modem = "Modem", .names = {"Modem"}, .profile = "Standard", .holder = "here"},
      [this] { return Now(); }};

 private:
  void Record(const JournalRow& row) override {
    if (before_the_row_) before_the_row_();
    if (journal_fails_) throw RaisedError(75, "Journal", "The journal cannot be used.");
    journal_.push_back(row);
  }
  std::string TakeModem(const std::string&) override { return modem_in_use_; }
  bool NothingDialled(const std::string&) override { return nothing_dialled_; }
  void Entered(LineState state, const std::string& why) override {
    states_.push_back(std::string(NameOf(state)) + (why.empty() ? "" : ": " + why));
  }
  void Tell(const std::string& sentence) override { told_.push_back(sentence); }
};

TEST_F(Worker, HasNothingToDoWithoutAPage) {
  EXPECT_FALSE(worker_.Work());
  EXPECT_THAT(journal_, IsEmpty());
  EXPECT_THAT(states_, IsEmpty());
}

TEST_F(Worker, SendsAPageAndSaysSo) {
  Put("A", "Hello");
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("0171", "Hello")));
  const QueuedPage page = Find("A");
  EXPECT_EQ(page.state, PageState::kAccepted);
  EXPECT_EQ(page.attempts, 1);
  EXPECT_EQ(page.result->outcome, Outcome::kAccepted);
  EXPECT_EQ(page.result->answer, kYes);
  EXPECT_EQ(page.result->modem, "Modem");
  EXPECT_THAT(JournalOf("A"), ElementsAre("A.1 ", "A.1 accepted"));
  EXPECT_EQ(journal_.back().text, "Hello");
  EXPECT_EQ(journal_.back().service, "Pager");
  EXPECT_EQ(host_.tap.hang_ups, 1);
  EXPECT_FALSE(worker_.Work());
  EXPECT_THAT(states_, ElementsAre("calling", "idle"));
}

TEST_F(Worker, AllPagesOfAServiceGoInOneCall) {
  Put("A", "One");
  Put("B", "Two", "0172");
  Put("C", "Three", "0173");
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_THAT(host_.tap.logins, SizeIs(1));
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("0171", "One"), TapBlock("0172", "Two"),
                                            TapBlock("0173", "Three")));
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

TEST_F(Worker, TwentyPagesTakeLessThanAHundredSeconds) {
  for (int i = 0; i < 20; ++i) {
    Put(std::to_string(i), "Alarm " + std::to_string(i), "0171" + std::to_string(i));
  }
  const auto began = host_.platform.clock().Now();
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_THAT(host_.tap.blocks, SizeIs(20));
  EXPECT_LE(host_.platform.clock().Now() - began, 100s);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(StateOf(std::to_string(i)), PageState::kAccepted);
}

TEST_F(Worker, APageThatComesDuringTheCallJoinsIt) {
  Put("A", "One");
  before_the_row_ = [&] {
    if (journal_.size() == 1) Put("B", "Two", "0172");
  };
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_EQ(StateOf("B"), PageState::kAccepted);
}

TEST_F(Worker, APageOfAnotherServiceGetsACallOfItsOwn) {
  host_.AddService("Area", "TAP", {{"PhoneNumber", "0987"}});
  Put("A", "One");
  Put("B", "Two", "0172", "Area");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("B"), PageState::kReady);
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, ElementsAre("0123456", "0987"));
}

TEST_F(Worker, TakesNoPageThatAnotherModemCarries) {
  host_.AddService("Area", "TAP", {{"ModemName", "Other"}});
  Put("A", "One", "0171", "Area");
  EXPECT_FALSE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
}

TEST_F(Worker, StandsForThePoolsThatItsModemIsIn) {
  host_.AddService("Area", "TAP", {{"ModemName", "All"}});
  LineWorker member(
      host_.platform, queue_, *this,
      {.modem = "Modem", .names = {"Modem", "All"}, .profile = "Standard", .holder = "here"},
      [this] { return Now(); });
  Put("A", "One", "0171", "Area");
  EXPECT_TRUE(member.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(Find("A").result->modem, "Modem");
}

TEST_F(Worker, ACallHasAtMostSoManyPages) {
  host_.profile.Set("PagesPerCall", 2);
  for (const char* id : {"1", "2", "3"}) Put(id, "x", std::string("0171") + id);
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.blocks, SizeIs(2));
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, SizeIs(2));
}

TEST_F(Worker, ACallBeginsNoPageAfterSoManyMinutes) {
  host_.profile.Set("MinutesPerCall", 1);
  for (int i = 0; i < 20; ++i) Put(std::to_string(i), "x", "0171" + std::to_string(i));
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.blocks, SizeIs(testing::AllOf(testing::Ge(10U), testing::Lt(20U))));
}

TEST_F(Worker, ARefusedPageEndsNeitherTheCallNorTheOthers) {
  host_.tap.block_answers = {kNever511};
  Put("A", "One");
  Put("B", "Two", "0172");
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_THAT(Find("A").result->reason,
              AllOf(HasSubstr("511 no"), EndsWith("; it was refused for good")));
  EXPECT_EQ(StateOf("B"), PageState::kAccepted);
}

TEST_F(Worker, ABusyNumberIsTriedAgainAfterThePause) {
  host_.platform.lines[0].cause = CallCause::kDisconnectBusy;
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  Put("A", "One");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  EXPECT_EQ(Find("A").page.not_before, Now() + 10s);
  EXPECT_FALSE(worker_.Work());
  Wait(10s);
  EXPECT_TRUE(worker_.Work());
  Wait(60s);
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_THAT(Find("A").result->reason, EndsWith("; it was tried 3 times"));
  EXPECT_THAT(JournalOf("A"), SizeIs(6));
}

TEST_F(Worker, APageOfAnotherMachineIsTriedAgainAsThatOneHasIt) {
  host_.platform.lines[0].cause = CallCause::kDisconnectBusy;
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  Page page = PageOf("A", "One");
  page.rules = RetryRules{.quick = {}, .retries = 1, .delay = 7min};
  queue_.Put({&page, 1});
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(Find("A").page.not_before, Now() + 7min);
  Wait(7min);
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_THAT(Find("A").result->reason, EndsWith("; it was tried 2 times"));
}

TEST_F(Worker, SilenceOnAPageOfAnotherMachineParksItWhereThatOneHasItSo) {
  host_.tap.block_answers = {""};
  Page page = PageOf("A", "One");
  page.rules = RetryRules{.retries = 3, .repeat_unknown = false};
  queue_.Put({&page, 1});
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_FALSE(Find("A").perhaps_twice);
}

TEST_F(Worker, SilenceAfterAPageEndsTheCallAndMarksThePage) {
  host_.tap.block_answers = {""};
  Put("A", "One");
  Put("B", "Two", "0172");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  EXPECT_TRUE(Find("A").perhaps_twice);
  EXPECT_EQ(StateOf("B"), PageState::kReady) << "a late answer would be taken for its own";
  EXPECT_EQ(host_.tap.hang_ups, 1);
  Wait(10s);
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_THAT(journal_.back().reason, testing::Not(EndsWith("perhaps twice")));
  EXPECT_THAT(journal_.at(journal_.size() - 3).reason, EndsWith("; perhaps twice"));
}

TEST_F(Worker, SilenceIsParkedWhereTheProfileWantsThat) {
  host_.profile.Set("OnUnknown", "park");
  host_.tap.block_answers = {""};
  Put("A", "One");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_THAT(Find("A").result->reason, EndsWith("; it is not to go out twice"));
}

TEST_F(Worker, ADonePageKeepsItsTextOnlyWhereTheJournalMay) {
  host_.tap.block_answers = {"211 Page: One\r\x06\r", "511 Two\r\x1e\r"};
  host_.profile.Set("JournalText", "hash");
  Put("A", "One");
  Put("B", "Two", "0172");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(Find("A").page.text, "");
  EXPECT_EQ(Find("A").result->answer, "");
  EXPECT_EQ(StateOf("B"), PageState::kParked);
  EXPECT_EQ(Find("B").page.text, "Two") << "somebody may have it tried again";
  host_.profile.Set("JournalText", "full");
  Put("C", "Three", "0173");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(Find("C").page.text, "Three");
}

TEST_F(Worker, AModemInUseIsLeftToWhoHasIt) {
  modem_in_use_ = "mgetty has it.";
  Put("A", "One");
  EXPECT_FALSE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  EXPECT_EQ(Find("A").attempts, 0);
  EXPECT_THAT(states_, ElementsAre("waiting: mgetty has it."));
  modem_in_use_.clear();
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
}

TEST_F(Worker, AModemThatFailsThreeTimesRestsLongerAndLonger) {
  nothing_dialled_ = true;
  host_.platform.lines[0].cause = CallCause::kDisconnectFailed;
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  Put("A", "One");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(Find("A").attempts, 0) << "none of it was the page's fault";
  EXPECT_FALSE(worker_.Work());
  EXPECT_THAT(states_, testing::Contains(StartsWith("resting: the call to 0123456 failed")));
  Wait(59s);
  EXPECT_FALSE(worker_.Work());
  Wait(1s);
  EXPECT_TRUE(worker_.Work());
  Wait(119s);
  EXPECT_FALSE(worker_.Work());
  Wait(1s);
  host_.platform.lines[0].cause = CallCause::kNone;
  host_.platform.lines[0].outcome = CallState::kConnected;
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
}

TEST_F(Worker, WhatWaitsForAModemThatRestsGoesThroughTheFallback) {
  host_.AddService("City", "TAP", {{"ModemName", "Other"}});
  Page page = PageOf("A", "One");
  page.fallback = "City";
  queue_.Put({&page, 1});
  nothing_dialled_ = true;
  host_.platform.lines[0].cause = CallCause::kDisconnectFailed;
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(Find("A").page.service, "Pager") << "it has only begun to rest";
  EXPECT_FALSE(worker_.Work());
  EXPECT_EQ(Find("A").page.service, "City");
  EXPECT_EQ(Find("A").attempts, 0);
}

TEST_F(Worker, ABusyServiceIsFollowedByTheFallback) {
  host_.AddService("City", "TAP", {{"PhoneNumber", "0987654"}});
  Page page = PageOf("A", "One");
  page.fallback = "City";
  queue_.Put({&page, 1});
  host_.platform.lines[0].cause = CallCause::kDisconnectBusy;
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  EXPECT_TRUE(worker_.Work());
  host_.platform.lines[0].cause = CallCause::kNone;
  host_.platform.lines[0].outcome = CallState::kConnected;
  Wait(10s);
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(journal_.front().service, "Pager");
  EXPECT_EQ(journal_.back().service, "City");
}

TEST_F(Worker, APageThatStandsForOthersSaysHowMany) {
  for (const char* id : {"A", "B", "C"}) {
    Page page = PageOf(id, "Pump 3 has stopped");
    page.joins = 10min;
    queue_.Put({&page, 1});
  }
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("0171", "Pump 3 has stopped (+2 more)")));
  EXPECT_EQ(journal_.back().text, "Pump 3 has stopped (+2 more)");
  EXPECT_THAT(journal_.back().reason, EndsWith("; for 2 more like it"));
  EXPECT_EQ(StateOf("C"), PageState::kJoined);
  EXPECT_FALSE(worker_.Work());
}

TEST_F(Worker, AModemThatCannotBeTakenRests) {
  host_.platform.lines[0].in_use = true;
  Put("A", "One");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(worker_.Work());
  EXPECT_FALSE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
}

TEST_F(Worker, AJournalThatCannotBeWrittenHoldsUpNoPage) {
  journal_fails_ = true;
  Put("A", "One");
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_THAT(told_, testing::Contains("The journal cannot be used."));
}

TEST_F(Worker, AResultThatTheQueueDoesNotTakeIsToldAgainBeforeTheNextPage) {
  queue_.fails = true;
  Put("A", "One");
  Put("B", "Two", "0172");
  EXPECT_THROW(worker_.Work(), RaisedError);
  EXPECT_EQ(StateOf("A"), PageState::kDialling);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
  EXPECT_THROW(worker_.Work(), RaisedError);
  EXPECT_THAT(host_.tap.blocks, SizeIs(1));
  queue_.fails = false;
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(StateOf("B"), PageState::kAccepted);
  EXPECT_THAT(host_.tap.blocks, SizeIs(2));
}

TEST_F(Worker, APageWhoseBeginningWasNotConfirmedIsGivenBackAndNotDialled) {
  host_.profile.Set("OnUnknown", "park");
  queue_.loses_answers = true;
  Put("A", "One");
  EXPECT_THROW(worker_.Work(), RaisedError);
  EXPECT_EQ(StateOf("A"), PageState::kDialling);
  EXPECT_THAT(host_.tap.numbers, IsEmpty());
  queue_.loses_answers = false;
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(Find("A").attempts, 1);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(Worker, APageThatWasTakenAwayIsSaidToGoOutTwicePerhaps) {
  Put("A", "One");
  before_the_row_ = [&] {
    queue_.Sweep([](const std::string&) { return true; });
    queue_.Operate("A", kRetryPage);
  };
  EXPECT_TRUE(worker_.Work());
  EXPECT_THAT(told_, testing::Contains(StartsWith("The page A was taken from this line")));
}

TEST_F(Worker, ALongCallKeepsItsLease) {
  host_.tap.login_answer = "\x15";  // the login is repeated for as long as the centre likes
  Put("A", "One");
  int sweeps = 0;
  host_.platform.timers().SetTimer(60'000, [&](TimerId) {
    queue_.Sweep([](const std::string&) { return false; });
    if (++sweeps == 5) host_.tap.login_answer = "\r\x06\r\x1b[p\r";
  });
  EXPECT_TRUE(worker_.Work());
  EXPECT_GE(sweeps, 5);
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
}

TEST_F(Worker, StoppingEndsTheCallAndGivesThePageBack) {
  Put("A", "One");
  Put("B", "Two", "0172");
  host_.platform.timers().SetTimer(5000, [&](TimerId timer) {
    worker_.Stop();
    host_.platform.timers().KillTimer(timer);
  });
  EXPECT_TRUE(worker_.Work());
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  EXPECT_EQ(Find("A").attempts, 0);
  EXPECT_EQ(StateOf("B"), PageState::kReady);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
  EXPECT_FALSE(worker_.Work());
}

TEST_F(Worker, StoppingAfterAPageWentOutLeavesItUnknown) {
  host_.profile.Set("OnUnknown", "park");
  host_.tap.block_answers = {""};
  Put("A", "One");
  host_.platform.timers().SetTimer(12'000, [&](TimerId) { worker_.Stop(); });
  EXPECT_TRUE(worker_.Work());
  ASSERT_THAT(host_.tap.blocks, SizeIs(1));
  EXPECT_EQ(StateOf("A"), PageState::kParked);
  EXPECT_TRUE(Find("A").result->perhaps_out);
}

TEST_F(Worker, ManyCallsLeaveNothingBehind) {
  for (int i = 0; i < 150; ++i) {
    Put(std::to_string(i), "x");
    ASSERT_TRUE(worker_.Work()) << i;
    ASSERT_EQ(StateOf(std::to_string(i)), PageState::kAccepted) << i;
  }
  EXPECT_EQ(host_.platform.open_ports(), 0U);
  EXPECT_EQ(host_.platform.open_keys(), 0U);
}

TEST_F(Worker, TwoIdleDaysCostNoMemoryAndNoTimer) {
  LookForWork();
  const std::size_t timers = host_.platform.running_timers();
  const std::size_t before = test::HeapInUse();
  const auto end = Now() + 48h;
  while (Now() < end) LookForWork();
  EXPECT_LT(test::HeapInUse(), before + 1024) << "of 2,880 looks; the allocator keeps some aside";
  EXPECT_EQ(host_.platform.running_timers(), timers);
  EXPECT_EQ(host_.platform.open_keys(), 0U);
  EXPECT_THAT(states_, IsEmpty());
}

TEST_F(Worker, TwoDaysWithAPageAnHourLeaveTheLatestPageAlone) {
  const std::size_t timers = host_.platform.running_timers();
  for (int hour = 0; hour < 48; ++hour) {
    Put(std::to_string(hour), "Hour " + std::to_string(hour));
    const auto end = Now() + 1h;
    while (Now() < end) LookForWork();
  }
  EXPECT_THAT(host_.tap.blocks, SizeIs(48));
  EXPECT_THAT(queue_.List({.states = kOver}), SizeIs(1));
  EXPECT_EQ(host_.platform.running_timers(), timers);
  EXPECT_EQ(host_.platform.open_keys(), 0U);
  EXPECT_EQ(host_.platform.open_ports(), 0U);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
  EXPECT_EQ(host_.platform.registrations(), 0U);
}

TEST_F(Worker, ChangedSettingsApplyToTheNextCall) {
  host_.AddTapService({{"ModemName", "Other"}});
  Put("A", "One");
  EXPECT_FALSE(worker_.Work());
  host_.AddTapService({{"ModemName", ""}});
  EXPECT_TRUE(worker_.Work());
}

// --- what holders leave in doubt

class InDoubt : public testing::Test {
 protected:
  InDoubt() {
    Page page;
    page.id = "A";
    page.profile = "Standard";
    page.service = "Pager";
    queue_.Put({&page, 1});
    const auto claimed = queue_.Claim("dead", "Standard", {&page.service, 1});
    queue_.Begin("A", claimed->epoch);
    queue_.Sweep([](const std::string&) { return true; });
  }

  void Settle(const RetryRules& rules) {
    SettleUnknown(queue_, "Standard", rules, now_, now_,
                  [this](const std::string& id, Moment since) {
                    return row_ && row_->id == id && since <= row_began_ ? row_ : std::nullopt;
                  });
  }

  Moment now_{1'000'000s};
  memory::MemoryQueue queue_{[this] { return now_; }};
  std::optional<JournalRow> row_;
  Moment row_began_ = now_;
};

TEST_F(InDoubt, IsAsTheJournalSaysWhereThatWasToldAndTheQueueWasNot) {
  row_.emplace();
  row_->id = "A.1";
  row_->outcome = "accepted";
  row_->answer = "OK";
  Settle({.retries = 1});
  const QueuedPage page = queue_.Find("A").value();
  EXPECT_EQ(page.state, PageState::kAccepted);
  EXPECT_EQ(page.result->answer, "OK");
}

TEST_F(InDoubt, IsTriedAgainUnmarkedWhereTheJournalKnowsThatItDidNotGoOut) {
  row_.emplace();
  row_->id = "A.1";
  row_->outcome = "unreachable";
  row_->exit_code = 75;
  Settle({.retries = 1, .delay = 5min});
  const QueuedPage page = queue_.Find("A").value();
  EXPECT_EQ(page.state, PageState::kReady);
  EXPECT_EQ(page.page.not_before, now_ + 5min);
  EXPECT_FALSE(page.perhaps_twice);
}

TEST_F(InDoubt, IsInDoubtWhereTheRowIsThatOfAFormerPageOfItsId) {
  row_.emplace();
  row_->id = "A.1";
  row_->outcome = "accepted";
  row_began_ = now_ - 1s;
  Settle({.retries = 1});
  EXPECT_EQ(queue_.Find("A")->state, PageState::kReady);
}

TEST_F(InDoubt, IsInDoubtWhileItsRowIsOpen) {
  row_.emplace();
  row_->id = "A.1";
  row_->outcome = kOutcomeOpen;
  Settle({.retries = 1});
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
}

TEST_F(InDoubt, IsTriedAgainAndMarked) {
  Settle({.retries = 1});
  const QueuedPage page = queue_.Find("A").value();
  EXPECT_EQ(page.state, PageState::kReady);
  EXPECT_TRUE(page.perhaps_twice);
  EXPECT_EQ(page.result->reason, kInterrupted);
}

TEST_F(InDoubt, IsParkedWhereNobodyWantsItTwice) {
  Settle({.retries = 1, .repeat_unknown = false});
  const QueuedPage page = queue_.Find("A").value();
  EXPECT_EQ(page.state, PageState::kParked);
  EXPECT_THAT(page.result->reason, EndsWith("; it is not to go out twice"));
}

TEST_F(InDoubt, IsLeftToItsHolderForAWhile) {
  SettleUnknown(queue_, "Standard", {.retries = 1}, now_, now_ - 1s, NothingRecorded);
  EXPECT_EQ(queue_.Find("A")->state, PageState::kUnknown);
  EXPECT_TRUE(queue_.Finish("A", 1, {.outcome = Outcome::kAccepted}, PageState::kAccepted));
}

TEST_F(InDoubt, IsNoBusinessOfAnotherProfilesWorker) {
  SettleUnknown(queue_, "Other", {.retries = 1}, now_, now_, NothingRecorded);
  EXPECT_EQ(queue_.Find("A")->state, PageState::kUnknown);
}

TEST_F(InDoubt, IsParkedAfterItsLastTry) {
  Settle({.retries = 0});
  EXPECT_EQ(queue_.Find("A")->state, PageState::kParked);
}

}  // namespace
}  // namespace mvsms::dispatch
