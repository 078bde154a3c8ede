// The contract of the hub beyond that of a queue: pages that come from machines, results that go
// back to them, withdrawals, late results, and the machines themselves.
#include "tests/backends/contract_hub.h"

#include <gmock/gmock.h>

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kProfile = "Standard";
const PageResult kYes{.outcome = Outcome::kAccepted, .answer = "\x06", .modem = "Modem"};
const PageResult kBusy{.outcome = Outcome::kUnreachable, .reason = "the line is busy"};
const PageResult kDoubt{
    .outcome = Outcome::kUnknown, .reason = "no answer came", .perhaps_out = true};

class HubContract : public testing::TestWithParam<NamedHub> {
 protected:
  static QueuedPage PageOf(const std::string& origin, const std::string& id,
                           std::int64_t offer = 1) {
    QueuedPage queued;
    queued.epoch = offer;
    queued.page.id = HubId(origin, id);
    queued.page.profile = kProfile;
    queued.page.number = queued.page.recipient = "0171" + id;
    queued.page.text = "Gr\xFC\xDF\x65";
    queued.page.service = "City";
    queued.page.origin = origin;
    return queued;
  }
  void Submit(const std::string& id) { EXPECT_TRUE(hub_.Submit(PageOf("a", id))); }
  std::optional<QueuedPage> Claim(const std::string& holder = "b/1/Modem") {
    const std::vector<std::string> services = {"City"};
    return hub_.Claim(holder, kProfile, services);
  }
  QueuedPage Dialling(const std::string& holder = "b/1/Modem") {
    auto claimed = Claim(holder);
    EXPECT_TRUE(claimed && hub_.Begin(claimed->page.id, claimed->epoch));
    return claimed.value_or(QueuedPage{});
  }
  std::vector<std::string> ResultIds(const std::string& origin = "a") {
    std::vector<std::string> ids;
    for (const QueuedPage& queued : hub_.Results(origin, 100)) ids.push_back(queued.page.id);
    return ids;
  }
  PageState StateOf(const std::string& id) { return hub_.Find(id).value().state; }

  Moment now_{std::chrono::milliseconds(1'700'000'000'000)};
  std::unique_ptr<HubHouse> house_ = GetParam().make([this] { return now_; });
  Hub& hub_ = house_->Another();
};

TEST_P(HubContract, ItsTimeIsItsOwn) {
  EXPECT_EQ(hub_.Now(), now_);
  now_ += 1h;
  EXPECT_EQ(hub_.Now(), now_);
}

TEST_P(HubContract, APageComesWithWhatItHasBehindIt) {
  QueuedPage page = PageOf("a", "A");
  page.attempts = 2;
  page.perhaps_twice = true;
  page.more = 3;
  page.page.rules =
      RetryRules{.quick = {10s, 0s}, .retries = 4, .delay = 7min, .repeat_unknown = false};
  ASSERT_TRUE(hub_.Submit(page));
  const QueuedPage claimed =
      house_->Another().Claim("b", kProfile, std::vector<std::string>{"City"}).value();
  EXPECT_EQ(claimed.page.origin, "a");
  EXPECT_EQ(claimed.attempts, 2);
  EXPECT_TRUE(claimed.perhaps_twice);
  EXPECT_EQ(claimed.more, 3);
  ASSERT_TRUE(claimed.page.rules);
  EXPECT_THAT(claimed.page.rules->quick, ElementsAre(10s, 0s));
  EXPECT_EQ(claimed.page.rules->retries, 4);
  EXPECT_EQ(claimed.page.rules->delay, 7min);
  EXPECT_FALSE(claimed.page.rules->repeat_unknown);
}

TEST_P(HubContract, SubmittingAgainChangesNothing) {
  Submit("A");
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A")));
  ASSERT_TRUE(hub_.Finish("a/A", Dialling().epoch, kYes, PageState::kAccepted));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A")));
  EXPECT_EQ(Claim(), std::nullopt);
}

TEST_P(HubContract, TheSameIdFromTwoMachinesIsTwoPages) {
  Submit("A");
  EXPECT_TRUE(hub_.Submit(PageOf("b", "A")));
}

TEST_P(HubContract, AWithdrawnPageIsNobodysAndComesNotBack) {
  Submit("A");
  EXPECT_TRUE(hub_.Withdraw("a/A", 1));
  EXPECT_TRUE(hub_.Withdraw("a/A", 1)) << "asked again, because the answer was lost";
  EXPECT_EQ(Claim(), std::nullopt);
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A")));
  EXPECT_THAT(ResultIds(), IsEmpty()) << "its origin has it";
}

TEST_P(HubContract, AWithdrawalOvertakesItsPage) {
  EXPECT_TRUE(hub_.Withdraw("a/A", 1));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A")));
  EXPECT_EQ(Claim(), std::nullopt);
}

TEST_P(HubContract, APageWithAHolderOrAResultIsNotWithdrawn) {
  Submit("A");
  const QueuedPage claimed = Claim().value();
  EXPECT_FALSE(hub_.Withdraw("a/A", 1));
  ASSERT_TRUE(hub_.Begin("a/A", claimed.epoch));
  EXPECT_FALSE(hub_.Withdraw("a/A", 1));
  ASSERT_TRUE(hub_.Finish("a/A", claimed.epoch, kBusy, PageState::kParked));
  EXPECT_FALSE(hub_.Withdraw("a/A", 1));
  EXPECT_EQ(StateOf("a/A"), PageState::kParked);
}

TEST_P(HubContract, AWithdrawnPageThatIsOfferedAnewIsSent) {
  ASSERT_TRUE(hub_.Withdraw("a/A", 1));
  EXPECT_TRUE(hub_.Submit(PageOf("a", "A", 2)));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 1))) << "the first offer, which was long on its way";
  EXPECT_EQ(Claim().value().page.id, "a/A");
}

TEST_P(HubContract, APageWhoseEndWasSeenIsSentAnewWhenItIsOfferedAnew) {
  Submit("A");
  const QueuedPage first = Dialling();
  ASSERT_TRUE(hub_.Finish("a/A", first.epoch, kBusy, PageState::kParked));
  ASSERT_TRUE(hub_.Seen("a/A", first.epoch, PageState::kParked));
  now_ += 1min;
  QueuedPage anew = PageOf("a", "A", 2);
  anew.page.not_before = now_ + 10s;
  anew.page.service = "Area";
  anew.perhaps_twice = true;
  EXPECT_TRUE(hub_.Submit(anew));
  EXPECT_FALSE(hub_.Submit(anew));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 1)));
  EXPECT_THAT(ResultIds(), IsEmpty());
  const QueuedPage page = hub_.Find("a/A").value();
  EXPECT_EQ(page.state, PageState::kReady);
  EXPECT_EQ(page.page.service, "Area");
  EXPECT_EQ(page.page.not_before, now_ + 10s);
  EXPECT_EQ(page.attempts, 0);
  EXPECT_TRUE(page.perhaps_twice);
  EXPECT_EQ(page.epoch, first.epoch) << "no holder of before comes into question";
}

TEST_P(HubContract, AResultThatWasNotSeenCountsBeforeAnotherOffer) {
  Submit("A");
  ASSERT_TRUE(hub_.Finish("a/A", Dialling().epoch, kYes, PageState::kAccepted));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 2)));
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
}

TEST_P(HubContract, AHolderKeepsItsPageWhenItIsOfferedAnewAndThatOfferIsKnownThen) {
  Submit("A");
  const QueuedPage page = Dialling();
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 2)));
  ASSERT_TRUE(hub_.Finish("a/A", page.epoch, kYes, PageState::kAccepted));
  ASSERT_TRUE(hub_.Seen("a/A", page.epoch, PageState::kAccepted));
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 2))) << "the offer of before, long on its way";
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
}

TEST_P(HubContract, ResultsWaitForTheirOriginUntilItHasSeenThem) {
  Submit("A");
  Submit("B");
  Submit("C");
  const QueuedPage first = Dialling(), second = Dialling();
  now_ += 1s;
  ASSERT_TRUE(hub_.Finish(second.page.id, second.epoch, kYes, PageState::kAccepted));
  now_ += 1s;
  ASSERT_TRUE(hub_.Finish(first.page.id, first.epoch, kBusy, PageState::kParked));
  EXPECT_THAT(ResultIds(), ElementsAre("a/B", "a/A")) << "the longest known first";
  EXPECT_THAT(ResultIds("b"), IsEmpty());
  EXPECT_THAT(hub_.Results("a", 1), SizeIs(1));
  EXPECT_EQ(hub_.Results("a", 1).front().result, kYes);
  EXPECT_FALSE(hub_.Seen("a/B", second.epoch, PageState::kParked)) << "it is not so";
  EXPECT_TRUE(hub_.Seen("a/B", second.epoch, PageState::kAccepted));
  EXPECT_TRUE(hub_.Seen("a/B", second.epoch, PageState::kAccepted));
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
}

TEST_P(HubContract, WhatWasSeenAsUnknownIsNewsWhenItIsResolved) {
  Submit("A");
  const QueuedPage page = Dialling();
  now_ += kDiallingLease;
  hub_.Sweep([](const std::string&) { return false; });
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
  ASSERT_TRUE(hub_.Seen("a/A", page.epoch, PageState::kUnknown));
  EXPECT_THAT(ResultIds(), IsEmpty());
  ASSERT_TRUE(hub_.Finish("a/A", page.epoch, kYes, PageState::kAccepted));
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
}

TEST_P(HubContract, AnExpiredPageIsAResult) {
  QueuedPage page = PageOf("a", "A");
  page.page.expires = now_ + 1min;
  ASSERT_TRUE(hub_.Submit(page));
  now_ += 1min;
  hub_.Sweep([](const std::string&) { return false; });
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
  EXPECT_EQ(hub_.Results("a", 1).front().state, PageState::kExpired);
}

TEST_P(HubContract, RemembersEveryTry) {
  Submit("A");
  const QueuedPage first = Dialling("b/1/One");
  now_ += 5s;
  ASSERT_TRUE(hub_.TryAgain("a/A", first.epoch, kBusy, now_));
  const QueuedPage second = Dialling("c/1/Two");
  const auto tries = hub_.Tries("a/A");
  ASSERT_THAT(tries, SizeIs(2));
  EXPECT_EQ(tries[0].epoch, first.epoch);
  EXPECT_EQ(tries[0].holder, "b/1/One");
  EXPECT_EQ(tries[0].begun, now_ - 5s);
  EXPECT_EQ(tries[0].ended, now_);
  EXPECT_EQ(tries[0].outcome, "unreachable");
  EXPECT_EQ(tries[0].reason, kBusy.reason);
  EXPECT_EQ(tries[1].epoch, second.epoch);
  EXPECT_EQ(tries[1].outcome, "");
  EXPECT_EQ(tries[1].ended, Moment{});
}

TEST_P(HubContract, ATryInWhichNobodyDialledIsNone) {
  Submit("A");
  const QueuedPage page = Dialling();
  ASSERT_TRUE(hub_.GiveBack("a/A", page.epoch));
  EXPECT_THAT(hub_.Tries("a/A"), IsEmpty());
  EXPECT_EQ(hub_.Find("a/A")->attempts, 0);
}

TEST_P(HubContract, ALateResultMarksWhatWasTriedAgainMeanwhile) {
  Submit("A");
  const QueuedPage lost = Dialling("b/1/One");
  ASSERT_TRUE(hub_.TryAgain("a/A", lost.epoch, {.outcome = Outcome::kUnreachable}, now_));
  const QueuedPage page = Dialling("c/1/Two");
  ASSERT_FALSE(hub_.Finish("a/A", lost.epoch, kYes, PageState::kAccepted));
  hub_.Late("a/A", lost.epoch, kYes);
  EXPECT_TRUE(hub_.Find("a/A")->perhaps_twice);
  EXPECT_EQ(StateOf("a/A"), PageState::kDialling);
  const auto tries = hub_.Tries("a/A");
  EXPECT_TRUE(tries[0].late);
  EXPECT_EQ(tries[0].outcome, "accepted");
  EXPECT_FALSE(tries[1].late);
  EXPECT_TRUE(hub_.Finish("a/A", page.epoch, kYes, PageState::kAccepted));
}

TEST_P(HubContract, ALateResultOfAPageThatIsOverIsNewsForItsOrigin) {
  Submit("A");
  const QueuedPage lost = Dialling("b/1/One");
  ASSERT_TRUE(hub_.TryAgain("a/A", lost.epoch, {.outcome = Outcome::kUnreachable}, now_));
  const QueuedPage page = Dialling("c/1/Two");
  ASSERT_TRUE(hub_.Finish("a/A", page.epoch, kYes, PageState::kAccepted));
  ASSERT_TRUE(hub_.Seen("a/A", page.epoch, PageState::kAccepted));
  hub_.Late("a/A", lost.epoch, kBusy);
  EXPECT_THAT(ResultIds(), IsEmpty());
  hub_.Late("a/A", lost.epoch, kYes);
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
  EXPECT_TRUE(hub_.Results("a", 1).front().perhaps_twice);
  ASSERT_TRUE(hub_.Seen("a/A", page.epoch, PageState::kAccepted));
  hub_.Late("a/A", lost.epoch, kYes);
  EXPECT_THAT(ResultIds(), IsEmpty());
}

TEST_P(HubContract, ALateResultEndsWhatWasParkedAsUnknown) {
  Submit("A");
  const QueuedPage page = Dialling();
  ASSERT_TRUE(hub_.Finish("a/A", page.epoch, kDoubt, PageState::kParked));
  ASSERT_TRUE(hub_.Seen("a/A", page.epoch, PageState::kParked));
  hub_.Late("a/A", page.epoch, kYes);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
}

TEST_P(HubContract, ALateResultOfNothingChangesNothing) {
  hub_.Late("a/A", 1, kYes);
  Submit("A");
  hub_.Late("a/A", 1, kYes);
  EXPECT_EQ(StateOf("a/A"), PageState::kReady);
}

TEST_P(HubContract, TellsWhatIsWaitedForAndHowUrgently) {
  EXPECT_THAT(hub_.Waited(kProfile), IsEmpty());
  const auto put = [&](const std::string& id, const std::string& service, int priority,
                       auto after) {
    QueuedPage page = PageOf("a", id);
    page.page.service = service;
    page.page.priority = priority;
    page.page.not_before = now_ + after;
    ASSERT_TRUE(hub_.Submit(page));
  };
  put("A", "City", 5, 0s);
  put("B", "City", 2, 0s);
  put("C", "City", 0, 1min);
  put("D", "Area", 7, 0s);
  const auto waited = hub_.Waited(kProfile);
  ASSERT_THAT(waited, SizeIs(2));
  EXPECT_EQ(waited[0].service, "Area");
  EXPECT_EQ(waited[0].priority, 7);
  EXPECT_EQ(waited[1].service, "City");
  EXPECT_EQ(waited[1].priority, 2);
  EXPECT_THAT(hub_.Waited("Another"), IsEmpty());
}

TEST_P(HubContract, KnowsItsMachines) {
  Machine machine{.name = "a",
                  .version = "1.0",
                  .services = {"City", "Fl\xE4\x63he, \"a\""},
                  .modems = 3,
                  .free = 2,
                  .at_hub = 7};
  EXPECT_EQ(hub_.Beat(machine).now, now_);
  now_ += 10s;
  machine.free = 1;
  hub_.Beat(machine);
  machine.name = "b";
  now_ += 10s;
  hub_.Beat(machine);
  const auto machines = hub_.Machines();
  ASSERT_THAT(machines, SizeIs(2));
  EXPECT_EQ(machines[0].name, "a");
  EXPECT_EQ(machines[0].version, "1.0");
  EXPECT_THAT(machines[0].services, ElementsAre("City", "Fl\xE4\x63he, \"a\""));
  EXPECT_EQ(machines[0].modems, 3);
  EXPECT_EQ(machines[0].free, 1);
  EXPECT_EQ(machines[0].at_hub, 7);
  EXPECT_EQ(machines[0].seen, now_ - 10s);
}

TEST_P(HubContract, TellsAMachineThatAnotherOneHasItsName) {
  EXPECT_FALSE(hub_.Beat({.name = "a", .home = "here", .modems = 1}).twin);
  now_ += 59s;
  const HubNews news = hub_.Beat({.name = "a", .home = "there", .modems = 2});
  EXPECT_TRUE(news.twin);
  EXPECT_EQ(hub_.Machines().front().modems, 1);
  EXPECT_EQ(hub_.Machines().front().seen, now_ - 59s);
  now_ += 1s;
  EXPECT_FALSE(hub_.Beat({.name = "a", .home = "there", .modems = 2}).twin) << "instead of it";
  EXPECT_EQ(hub_.Machines().front().modems, 2);
  EXPECT_TRUE(hub_.Beat({.name = "a", .home = "here"}).twin);
}

TEST_P(HubContract, WhileItIsHeldItGivesNothingOutAndTakesWhatComes) {
  Submit("A");
  EXPECT_EQ(hub_.HeldBecause(), "");
  hub_.Hold("it is older than its machines");
  hub_.Hold("another reason");
  EXPECT_EQ(hub_.HeldBecause(), "it is older than its machines");
  EXPECT_TRUE(hub_.Beat({.name = "a"}).held);
  EXPECT_EQ(Claim(), std::nullopt);
  EXPECT_THAT(hub_.Waited(kProfile), IsEmpty());
  Submit("B");
  hub_.Release();
  EXPECT_FALSE(hub_.Beat({.name = "a"}).held);
  EXPECT_EQ(Claim()->page.id, "a/A");
}

TEST_P(HubContract, CountsHowOftenAMachineHasSpoken) {
  EXPECT_EQ(hub_.Beat({.name = "a"}).beats, 1);
  EXPECT_EQ(hub_.Beat({.name = "a"}).beats, 2);
  EXPECT_EQ(hub_.Beat({.name = "b"}).beats, 1);
}

TEST_P(HubContract, KnowsWhichMachinesHaveToldSinceItIsHeld) {
  hub_.Beat({.name = "a"});
  hub_.Hold("first");
  EXPECT_FALSE(hub_.Beat({.name = "a"}).told);
  hub_.HasTold("a");
  EXPECT_TRUE(hub_.Beat({.name = "a"}).told);
  EXPECT_TRUE(hub_.Machines()[0].told);
  hub_.Hold("it has lost something once more");
  EXPECT_EQ(hub_.HeldBecause(), "first");
  EXPECT_FALSE(hub_.Beat({.name = "a"}).told);
  hub_.HasTold("a");
  hub_.Release();
  hub_.Hold("second");
  EXPECT_FALSE(hub_.Beat({.name = "a"}).told);
}

TEST_P(HubContract, AReplayedEndCountsWhereTheHubDoesNotKnowIt) {
  Submit("A");
  hub_.Replay("a/A", 3, "b/1/Modem", kYes, PageState::kAccepted);
  const QueuedPage page = hub_.Find("a/A").value();
  EXPECT_EQ(page.state, PageState::kAccepted);
  EXPECT_EQ(page.epoch, 3);
  EXPECT_EQ(page.attempts, 1);
  EXPECT_EQ(page.result, kYes);
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
  ASSERT_THAT(hub_.Tries("a/A"), SizeIs(1));
  EXPECT_EQ(hub_.Tries("a/A")[0].holder, "b/1/Modem");
  EXPECT_EQ(hub_.Tries("a/A")[0].outcome, "accepted");
  hub_.Replay("a/A", 1, "c/1/Modem", kBusy, PageState::kParked);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted) << "an earlier try";
  EXPECT_FALSE(hub_.Find("a/A")->perhaps_twice);
  hub_.Replay("a/A", 2, "d/1/Modem", kYes, PageState::kAccepted);
  EXPECT_EQ(hub_.Find("a/A")->epoch, 3);
  EXPECT_TRUE(hub_.Find("a/A")->perhaps_twice) << "it was sent then, too";
  EXPECT_TRUE(hub_.Tries("a/A")[1].late);
}

TEST_P(HubContract, AReplayedCallThatIsOnLeavesItsPageUnknownUntilItsEnd) {
  Submit("A");
  hub_.Replay("a/A", 1, "b/1/Modem", Interrupted(), PageState::kUnknown);
  EXPECT_EQ(StateOf("a/A"), PageState::kUnknown);
  EXPECT_EQ(Claim(), std::nullopt);
  EXPECT_TRUE(hub_.Finish("a/A", 1, kYes, PageState::kAccepted));
  EXPECT_FALSE(hub_.Find("a/A")->perhaps_twice);
  hub_.Replay("a/B", 1, "b/1/Modem", Interrupted(), PageState::kUnknown);
  EXPECT_EQ(StateOf("a/B"), PageState::kParked) << "nobody knows what its words are";
}

TEST_P(HubContract, AReplayedEndOfATryThatTheHubHasAsOpenCounts) {
  Submit("A");
  const QueuedPage page = Dialling();
  now_ += kDiallingLease;
  hub_.Sweep([](const std::string&) { return false; });
  hub_.Replay("a/A", page.epoch, "b/1/Modem", kYes, PageState::kAccepted);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
}

TEST_P(HubContract, AReplayedEndAfterATryThatMayBeOutMayBeTheSecondTime) {
  Submit("A");
  Dialling();
  hub_.Replay("a/A", 2, "b/1/Modem", kYes, PageState::kAccepted);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_TRUE(hub_.Find("a/A")->perhaps_twice);
  Submit("B");
  hub_.Replay("a/B", 1, "b/1/Modem", kBusy, PageState::kReady);
  hub_.Replay("a/B", 2, "b/1/Modem", kYes, PageState::kAccepted);
  EXPECT_FALSE(hub_.Find("a/B")->perhaps_twice) << "it was not out before";
}

TEST_P(HubContract, ATextThatWasNotToBeKeptIsForgottenByAReplayToo) {
  Submit("A");
  PageResult forgets = kYes;
  forgets.forget_text = true;
  EXPECT_TRUE(hub_.Replay("a/A", 1, "b/1/Modem", forgets, PageState::kAccepted));
  EXPECT_EQ(hub_.Find("a/A")->page.text, "");
  EXPECT_FALSE(hub_.Replay("a/A", 1, "b/1/Modem", forgets, PageState::kAccepted)) << "known";
  EXPECT_TRUE(hub_.Replay("a/A", 3, "b/1/Modem", forgets, PageState::kAccepted));
  EXPECT_FALSE(hub_.Replay("a/A", 2, "b/1/Modem", forgets, PageState::kAccepted)) << "late";
}

TEST_P(HubContract, WhatWasAcceptedStaysSoWhateverIsReplayedAfterIt) {
  Submit("A");
  hub_.Replay("a/A", 1, "b/1/Modem", kYes, PageState::kAccepted);
  hub_.Replay("a/A", 2, "c/1/Modem", kBusy, PageState::kReady);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_EQ(hub_.Find("a/A")->epoch, 2) << "nobody's epoch comes twice";
  EXPECT_FALSE(hub_.Find("a/A")->perhaps_twice);
  hub_.Replay("a/A", 3, "d/1/Modem", kYes, PageState::kAccepted);
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_TRUE(hub_.Find("a/A")->perhaps_twice);
  EXPECT_THAT(hub_.Tries("a/A"), SizeIs(3));
}

TEST_P(HubContract, AReplayedEndThatTheHubKnowsChangesNothing) {
  Submit("A");
  const QueuedPage page = Dialling();
  ASSERT_TRUE(hub_.TryAgain("a/A", page.epoch, kBusy, now_));
  hub_.Replay("a/A", page.epoch, "b/1/Modem", kBusy, PageState::kParked);
  EXPECT_EQ(StateOf("a/A"), PageState::kReady);
}

TEST_P(HubContract, AReplayedEndOfAPageThatItDoesNotKnowWaitsForItsOrigin) {
  hub_.Replay("a/A", 2, "b/1/Modem", kYes, PageState::kAccepted);
  EXPECT_FALSE(hub_.Submit(PageOf("a", "A", 7))) << "its result counts";
  EXPECT_EQ(StateOf("a/A"), PageState::kAccepted);
  EXPECT_THAT(ResultIds(), ElementsAre("a/A"));
  EXPECT_EQ(hub_.Results("a", 1).front().page.origin, "a");
}

TEST_P(HubContract, AReplayedTryThatIsToBeRepeatedIsMarkedWhereItMayBeOut) {
  Submit("A");
  Submit("B");
  hub_.Replay("a/A", 1, "b/1/Modem", kDoubt, PageState::kReady);
  hub_.Replay("a/B", 1, "b/1/Modem", kBusy, PageState::kReady);
  hub_.Replay("a/C", 1, "b/1/Modem", kDoubt, PageState::kReady);
  hub_.Replay("a/D", 1, "b/1/Modem", kBusy, PageState::kReady);
  EXPECT_EQ(StateOf("a/A"), PageState::kReady);
  EXPECT_TRUE(hub_.Find("a/A")->perhaps_twice);
  EXPECT_EQ(StateOf("a/B"), PageState::kReady);
  EXPECT_FALSE(hub_.Find("a/B")->perhaps_twice);
  EXPECT_EQ(StateOf("a/C"), PageState::kParked) << "nobody knows what its words are";
  hub_.Replay("a/C", 2, "b/1/Modem", Interrupted(), PageState::kUnknown);
  hub_.Replay("a/C", 3, "b/1/Modem", kBusy, PageState::kReady);
  EXPECT_EQ(StateOf("a/C"), PageState::kParked) << "nor do they come with a later try";
  EXPECT_TRUE(hub_.Find("a/C")->perhaps_twice);
  EXPECT_TRUE(hub_.Find("a/C")->result->perhaps_out);
  EXPECT_FALSE(hub_.Find("a/D"));
}

TEST_P(HubContract, TellsWhatNobodyLooksAfter) {
  HubRests rests = hub_.Rests("");
  EXPECT_EQ(rests.unfetched, 0);
  EXPECT_EQ(rests.unfetched_since, Moment{});
  EXPECT_THAT(rests.unserved, IsEmpty());
  Submit("A");
  Submit("B");
  hub_.Beat({.name = "b", .services = {"City"}});
  EXPECT_THAT(hub_.Rests("").unserved, IsEmpty());
  const QueuedPage page = Dialling();
  ASSERT_TRUE(hub_.Finish(page.page.id, page.epoch, kYes, PageState::kAccepted));
  Submit("C");
  Dialling();
  Dialling();
  Submit("D");
  const Moment known = now_;
  now_ += kDiallingLease;
  hub_.Sweep([](const std::string&) { return false; });
  EXPECT_EQ(hub_.Rests("").unknown, 0);
  now_ += 10min;
  rests = hub_.Rests("");
  EXPECT_EQ(rests.unknown, 2);
  EXPECT_EQ(rests.unfetched, 3);
  EXPECT_EQ(rests.unfetched_since, known);
  EXPECT_THAT(rests.unserved, ElementsAre("City")) << "b was not heard of for a minute";
  EXPECT_EQ(hub_.Rests("b").unfetched, 0);
  EXPECT_EQ(hub_.Rests("b").unknown, 0);
  EXPECT_THAT(hub_.Rests("b").unserved, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryHub, HubContract, testing::ValuesIn(EveryHub()),
                         [](const auto& which) { return which.param.name; });

}  // namespace
}  // namespace mvsms::dispatch
