// The contract of the queue: what is taken, who gets a page and when, what becomes of it, and what
// an operator can do, over every store of pages.
#include "tests/backends/contract_queue.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>

#include "tests/backends/contract_hub.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;
using testing::Optional;

const std::string kHere = "here";
const std::string kThere = "there";
const std::string kProfile = "Standard";

const PageResult kYes{.outcome = Outcome::kAccepted, .answer = "\x06", .modem = "Modem"};
const PageResult kBusy{.outcome = Outcome::kUnreachable, .reason = "the line is busy"};
const PageResult kDoubt{
    .outcome = Outcome::kUnknown, .reason = "no answer came", .perhaps_out = true};

class QueueContract : public testing::TestWithParam<NamedQueue> {
 protected:
  static Page PageTo(const std::string& number, const std::string& id) {
    Page page;
    page.id = id;
    page.profile = kProfile;
    page.recipient = number;
    page.number = number;
    page.text = "Gr\xFC\xDF\x65";
    page.service = "City";
    return page;
  }
  bool Put(const Page& page) { return queue_.Put({&page, 1}) == 1; }
  /// Pages to different numbers, in this order.
  void PutAll(std::initializer_list<std::string> ids) {
    for (const std::string& id : ids) EXPECT_TRUE(Put(PageTo("0171" + id, id)));
  }
  std::optional<QueuedPage> Claim(const std::string& holder = kHere) {
    const std::vector<std::string> services = {"City", "Area"};
    return queue_.Claim(holder, kProfile, services);
  }
  std::string ClaimedId() {
    const auto claimed = Claim();
    return claimed ? claimed->page.id : "none";
  }
  std::string FinishedId() {
    const auto claimed = Claim();
    if (!claimed) return "none";
    EXPECT_TRUE(queue_.Begin(claimed->page.id, claimed->epoch));
    EXPECT_TRUE(queue_.Finish(claimed->page.id, claimed->epoch, kYes, PageState::kAccepted));
    return claimed->page.id;
  }
  std::int64_t Dialling(const std::string& holder = kHere) {
    const auto claimed = Claim(holder);
    EXPECT_TRUE(claimed && queue_.Begin(claimed->page.id, claimed->epoch));
    return claimed ? claimed->epoch : 0;
  }
  PageState StateOf(const std::string& id) { return queue_.Find(id).value().state; }
  std::vector<std::string> Ids(PageStates states) {
    std::vector<std::string> ids;
    for (const QueuedPage& page : queue_.List({.states = states})) ids.push_back(page.page.id);
    return ids;
  }
  static bool NobodyIsGone(const std::string&) { return false; }

  /// The last three states are those of pages that are handed to a hub.
  static std::size_t StatesHere() { return kPageStateNames.size() - (GetParam().is_hub ? 3 : 0); }

  /// Has the page join another one, which is out of the way then.
  void Join(Page page) {
    Page first = page;
    first.id = "joined by " + page.id;
    page.joins = 1min;
    ASSERT_TRUE(Put(first) && Put(page));
    ASSERT_TRUE(queue_.Operate(first.id, kCancelPage));
  }

  /// Brings a page of this id into the state.
  void Bring(const std::string& id, PageState state) {
    Page page = PageTo("0171" + id, id);
    if (state == PageState::kExpired) page.expires = now_ + 1s;
    if (state == PageState::kJoined) return Join(page);
    ASSERT_TRUE(Put(page));
    switch (state) {
      case PageState::kReady:
        return;
      case PageState::kHeld:
        ASSERT_TRUE(queue_.Operate(id, kHoldPage));
        return;
      case PageState::kCancelled:
        ASSERT_TRUE(queue_.Operate(id, kCancelPage));
        return;
      case PageState::kOffering:
      case PageState::kAtHub:
      case PageState::kWithdrawing:
        ASSERT_TRUE(queue_.Operate(id, kOfferPage));
        if (state == PageState::kAtHub) {
          ASSERT_TRUE(queue_.Operate(id, kHandPageOver));
        }
        if (state == PageState::kWithdrawing) {
          ASSERT_TRUE(queue_.Operate(id, kCancelPage));
        }
        return;
      case PageState::kExpired:
        now_ += 1s;
        queue_.Sweep(NobodyIsGone);
        return;
      default:
        break;
    }
    const auto claimed = Claim("holder of " + id);
    ASSERT_TRUE(claimed);
    if (state == PageState::kClaimed) return;
    ASSERT_TRUE(queue_.Begin(id, claimed->epoch));
    if (state == PageState::kDialling) return;
    if (state == PageState::kUnknown) {
      queue_.Sweep([&](const std::string& holder) { return holder == "holder of " + id; });
      return;
    }
    ASSERT_TRUE(queue_.Finish(id, claimed->epoch, kBusy, state));
  }

  Moment now_{std::chrono::milliseconds(1'700'000'000'000)};
  std::unique_ptr<QueueHouse> house_ = GetParam().make([this] { return now_; });
  Queue& queue_ = house_->Another();
};

TEST_P(QueueContract, APageLiesThereAsItWasGiven) {
  Page page = PageTo("0049171", "A");
  page.recipient = "+49 171";
  page.originator = "Pump 3";
  page.priority = 2;
  page.not_before = now_ + 1min;
  page.expires = now_ + 2h;
  page.fallback = "Fl\xE4\x63he";
  ASSERT_TRUE(Put(page));
  const QueuedPage queued = house_->Another().Find("A").value();
  EXPECT_EQ(queued.page.profile, kProfile);
  EXPECT_EQ(queued.page.recipient, "+49 171");
  EXPECT_EQ(queued.page.number, "0049171");
  EXPECT_EQ(queued.page.originator, "Pump 3");
  EXPECT_EQ(queued.page.text, "Gr\xFC\xDF\x65");
  EXPECT_EQ(queued.page.service, "City");
  EXPECT_EQ(queued.page.priority, 2);
  EXPECT_EQ(queued.page.not_before, page.not_before);
  EXPECT_EQ(queued.page.expires, page.expires);
  EXPECT_EQ(queued.page.fallback, page.fallback);
  EXPECT_EQ(queued.state, PageState::kReady);
  EXPECT_EQ(queued.arrived, now_);
  EXPECT_EQ(queued.changed, now_);
  EXPECT_EQ(queued.attempts, 0);
  EXPECT_FALSE(queued.perhaps_twice);
  EXPECT_EQ(queued.result, std::nullopt);
  EXPECT_EQ(queue_.Find("B"), std::nullopt);
}

TEST_P(QueueContract, TheSameIdIsTheSamePage) {
  EXPECT_TRUE(Put(PageTo("0171", "A")));
  EXPECT_FALSE(Put(PageTo("0172", "A")));
  EXPECT_EQ(queue_.Find("A")->page.number, "0171");
  EXPECT_EQ(FinishedId(), "A");
  EXPECT_FALSE(Put(PageTo("0171", "A")));
  EXPECT_EQ(ClaimedId(), "none");
}

TEST_P(QueueContract, SeveralPagesAreTakenTogether) {
  ASSERT_TRUE(Put(PageTo("0172", "B")));
  const std::vector<Page> pages = {PageTo("0171", "A"), PageTo("0172", "B"), PageTo("0173", "C")};
  EXPECT_EQ(queue_.Put(pages), 2U);
  EXPECT_THAT(Ids(kAllStates), ElementsAre("B", "A", "C"));
}

TEST_P(QueueContract, TheMostUrgentPageComesFirstThenTheOldest) {
  const std::pair<const char*, int> pages[] = {{"A", 5}, {"B", 9}, {"C", 0}, {"D", 5}, {"E", 0}};
  for (const auto& [id, priority] : pages) {
    Page page = PageTo(std::string("0171") + id, id);
    page.priority = priority;
    page.service = *id == 'D' ? "Area" : "City";
    ASSERT_TRUE(Put(page));
  }
  for (const char* id : {"C", "E", "A", "D", "B", "none"}) EXPECT_EQ(ClaimedId(), id);
}

TEST_P(QueueContract, OnlyPagesOfTheProfileAndOfTheServicesAreClaimed) {
  PutAll({"A"});
  const std::vector<std::string> other = {"Other"};
  const std::vector<std::string> city = {"City"};
  EXPECT_EQ(queue_.Claim(kHere, kProfile, other), std::nullopt);
  EXPECT_EQ(queue_.Claim(kHere, kProfile, {}), std::nullopt);
  EXPECT_EQ(queue_.Claim(kHere, "Another", city), std::nullopt);
  EXPECT_NE(queue_.Claim(kHere, kProfile, city), std::nullopt);
}

TEST_P(QueueContract, AClaimedPageIsNobodyElses) {
  PutAll({"A", "B"});
  const auto claimed = Claim();
  ASSERT_TRUE(claimed);
  EXPECT_EQ(claimed->page.id, "A");
  EXPECT_EQ(claimed->state, PageState::kClaimed);
  EXPECT_EQ(claimed->holder, kHere);
  EXPECT_EQ(claimed->lease_until, now_ + kClaimLease);
  EXPECT_EQ(claimed->epoch, 1);
  EXPECT_EQ(claimed->attempts, 0);
  EXPECT_EQ(Claim(kThere)->page.id, "B");
  EXPECT_EQ(Claim(kThere), std::nullopt);
}

TEST_P(QueueContract, TheServicesThatPagesWaitForAreKnown) {
  EXPECT_THAT(queue_.WaitedFor(kProfile), IsEmpty());
  for (const char* service : {"City", "Area", "M\xFCnchen", "City"}) {
    Page page = PageTo("0171", service + std::to_string(queue_.Stats()[0].pages));
    page.service = service;
    ASSERT_TRUE(Put(page));
  }
  EXPECT_THAT(queue_.WaitedFor(kProfile), ElementsAre("Area", "City", "M\xFCnchen"));
  EXPECT_THAT(queue_.WaitedFor("Another"), IsEmpty());
  const std::vector<std::string> area = {"Area"};
  ASSERT_TRUE(queue_.Claim(kHere, kProfile, area));
  EXPECT_THAT(queue_.WaitedFor(kProfile), ElementsAre("City", "M\xFCnchen"));
}

TEST_P(QueueContract, APageWaitsForItsTime) {
  Page page = PageTo("0171", "A");
  page.not_before = now_ + 10s;
  ASSERT_TRUE(Put(page));
  EXPECT_EQ(queue_.NextDue(kProfile), now_ + 10s);
  EXPECT_EQ(queue_.NextDue("Another"), kNever);
  now_ += 9999ms;
  EXPECT_EQ(ClaimedId(), "none");
  now_ += 1ms;
  EXPECT_EQ(ClaimedId(), "A");
  EXPECT_EQ(queue_.NextDue(kProfile), kNever);
}

TEST_P(QueueContract, APageWhoseTimeIsOverIsNotClaimedAndExpires) {
  Page page = PageTo("0171", "A");
  page.expires = now_ + 10s;
  ASSERT_TRUE(Put(page));
  now_ += 10s;
  EXPECT_EQ(ClaimedId(), "none");
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  queue_.Sweep(NobodyIsGone);
  EXPECT_EQ(StateOf("A"), PageState::kExpired);
  EXPECT_EQ(queue_.Find("A")->changed, now_);
}

TEST_P(QueueContract, ACallThatIsOnIsNotEndedByTheTime) {
  Page page = PageTo("0171", "A");
  page.expires = now_ + 10s;
  ASSERT_TRUE(Put(page));
  const std::int64_t epoch = Dialling();
  now_ += 20s;
  queue_.Sweep(NobodyIsGone);
  EXPECT_TRUE(queue_.Finish("A", epoch, kYes, PageState::kAccepted));
}

TEST_P(QueueContract, PagesToOneNumberKeepTheirOrder) {
  ASSERT_TRUE(Put(PageTo("0171", "A")));
  ASSERT_TRUE(Put(PageTo("0171", "B")));
  ASSERT_TRUE(Put(PageTo("0172", "C")));
  const auto first = Claim();
  EXPECT_EQ(first->page.id, "A");
  EXPECT_EQ(ClaimedId(), "C") << "B waits while A is with a holder";
  ASSERT_TRUE(queue_.Begin("A", first->epoch));
  EXPECT_EQ(ClaimedId(), "none") << "and while A is on the line";
  ASSERT_TRUE(queue_.TryAgain("A", first->epoch, kBusy, now_ + 10s));
  EXPECT_EQ(ClaimedId(), "none") << "and while A is to be tried again";
  now_ += 10s;
  EXPECT_EQ(FinishedId(), "A");
  EXPECT_EQ(ClaimedId(), "B");
}

TEST_P(QueueContract, AMoreUrgentPageToTheSameNumberOvertakes) {
  ASSERT_TRUE(Put(PageTo("0171", "A")));
  EXPECT_EQ(ClaimedId(), "A");
  Page urgent = PageTo("0171", "B");
  urgent.priority = kFirstPriority;
  ASSERT_TRUE(Put(urgent));
  EXPECT_EQ(ClaimedId(), "B");
}

TEST_P(QueueContract, APageForLaterHoldsUpNobody) {
  Page later = PageTo("0171", "A");
  later.not_before = now_ + 1h;
  ASSERT_TRUE(Put(later));
  ASSERT_TRUE(Put(PageTo("0171", "B")));
  EXPECT_EQ(ClaimedId(), "B");
}

TEST_P(QueueContract, WhatIsNotTriedByItselfHoldsUpNobody) {
  const PageState states[] = {PageState::kHeld, PageState::kParked, PageState::kUnknown};
  for (const PageState state : states) {
    const std::string id(NameOf(state));
    Bring(id, state);
    ASSERT_TRUE(Put(PageTo("0171" + id, "after " + id)));
    EXPECT_EQ(FinishedId(), "after " + id);
  }
}

TEST_P(QueueContract, BeginningCountsAnAttempt) {
  PutAll({"A"});
  const auto claimed = Claim();
  now_ += 1s;
  ASSERT_TRUE(queue_.Begin("A", claimed->epoch));
  const QueuedPage queued = queue_.Find("A").value();
  EXPECT_EQ(queued.state, PageState::kDialling);
  EXPECT_EQ(queued.attempts, 1);
  EXPECT_EQ(queued.lease_until, now_ + kDiallingLease);
  EXPECT_EQ(queued.holder, kHere);
  EXPECT_EQ(queued.changed, now_);
  EXPECT_FALSE(queue_.Begin("A", claimed->epoch)) << "once";
}

TEST_P(QueueContract, NobodyBeginsWithAPageWhoseLeaseHasRunOut) {
  PutAll({"A"});
  const auto claimed = Claim();
  now_ += kClaimLease;
  EXPECT_FALSE(queue_.Begin("A", claimed->epoch));
  EXPECT_EQ(StateOf("A"), PageState::kClaimed);
}

TEST_P(QueueContract, ALeaseIsExtendedAsOftenAsItsHolderWants) {
  PutAll({"A"});
  const auto claimed = Claim();
  for (int i = 0; i < 3; ++i) {
    now_ += kClaimLease - 1s;
    ASSERT_TRUE(queue_.Extend("A", claimed->epoch));
  }
  EXPECT_TRUE(queue_.Begin("A", claimed->epoch));
  now_ += kDiallingLease - 1s;
  ASSERT_TRUE(queue_.Extend("A", claimed->epoch));
  EXPECT_EQ(queue_.Find("A")->lease_until, now_ + kDiallingLease);
  queue_.Sweep(NobodyIsGone);
  EXPECT_EQ(StateOf("A"), PageState::kDialling);
}

TEST_P(QueueContract, APageThatIsGivenBackWasNotTried) {
  PutAll({"A"});
  const auto claimed = Claim();
  ASSERT_TRUE(queue_.GiveBack("A", claimed->epoch));
  const QueuedPage queued = queue_.Find("A").value();
  EXPECT_EQ(queued.state, PageState::kReady);
  EXPECT_EQ(queued.attempts, 0);
  EXPECT_EQ(queued.holder, "");
  EXPECT_EQ(Claim()->epoch, claimed->epoch + 1);
}

TEST_P(QueueContract, ATryThatCameToNoDiallingDoesNotCount) {
  PutAll({"A"});
  ASSERT_TRUE(queue_.TryAgain("A", Dialling(), kBusy, now_));
  ASSERT_TRUE(queue_.GiveBack("A", Dialling()));
  EXPECT_EQ(StateOf("A"), PageState::kReady);
  EXPECT_EQ(queue_.Find("A")->attempts, 1);
}

TEST_P(QueueContract, AFinishedPageLosesItsTextWhereThatMayNotBeKept) {
  PutAll({"A", "B"});
  const PageResult forgetting{.outcome = Outcome::kAccepted, .forget_text = true};
  ASSERT_TRUE(queue_.Finish("A", Dialling(), forgetting, PageState::kAccepted));
  ASSERT_TRUE(queue_.Finish("B", Dialling(), kYes, PageState::kAccepted));
  EXPECT_EQ(queue_.Find("A")->page.text, "");
  EXPECT_NE(queue_.Find("B")->page.text, "");
}

TEST_P(QueueContract, AFinishedPageKeepsItsResult) {
  PutAll({"A", "B"});
  const PageResult no{.outcome = Outcome::kRefused,
                      .reason = "refused: nicht zust\xE4ndig",
                      .answer = "\x15",
                      .modem = "Modem/2",
                      .perhaps_out = true};
  ASSERT_TRUE(queue_.Finish("A", Dialling(), kYes, PageState::kAccepted));
  ASSERT_TRUE(queue_.Finish("B", Dialling(), no, PageState::kParked));
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_THAT(queue_.Find("A")->result, Optional(Eq(kYes)));
  EXPECT_EQ(StateOf("B"), PageState::kParked);
  EXPECT_THAT(queue_.Find("B")->result, Optional(Eq(no)));
  EXPECT_EQ(queue_.Find("B")->holder, "");
  EXPECT_EQ(ClaimedId(), "none");
}

TEST_P(QueueContract, APageIsTriedAgainFromItsTimeOn) {
  PutAll({"A"});
  ASSERT_TRUE(queue_.TryAgain("A", Dialling(), kBusy, now_ + 10s));
  const QueuedPage queued = queue_.Find("A").value();
  EXPECT_EQ(queued.state, PageState::kReady);
  EXPECT_EQ(queued.page.service, "City");
  EXPECT_EQ(queued.page.not_before, now_ + 10s);
  EXPECT_EQ(queued.attempts, 1);
  EXPECT_FALSE(queued.perhaps_twice);
  EXPECT_THAT(queued.result, Optional(Eq(kBusy)));
  now_ += 10s;
  EXPECT_EQ(ClaimedId(), "A");
}

TEST_P(QueueContract, EveryOtherTryGoesThroughTheFallback) {
  Page page = PageTo("0171", "A");
  page.fallback = "Area";
  ASSERT_TRUE(Put(page));
  for (const char* service : {"City", "Area", "City"}) {
    const auto claimed = Claim();
    EXPECT_EQ(claimed->page.service, service);
    ASSERT_TRUE(queue_.Begin("A", claimed->epoch));
    ASSERT_TRUE(queue_.TryAgain("A", claimed->epoch, kBusy, now_));
  }
}

TEST_P(QueueContract, WhatWaitsForALineThatRestsIsDivertedToItsFallback) {
  Page page = PageTo("0171", "A");
  page.fallback = "Area";
  ASSERT_TRUE(Put(page));
  PutAll({"without"});
  page.id = "held";
  ASSERT_TRUE(Put(page));
  ASSERT_TRUE(queue_.Operate("held", kHoldPage));
  const std::vector<std::string> both = {"City", "Area"}, one = {"City"};
  EXPECT_EQ(queue_.Divert(kProfile, both), 0) << "nowhere to go";
  EXPECT_EQ(queue_.Divert("Another", one), 0);
  EXPECT_EQ(queue_.Divert(kProfile, {}), 0);
  EXPECT_EQ(queue_.Divert(kProfile, one), 1);
  EXPECT_EQ(queue_.Find("A")->page.service, "Area");
  EXPECT_EQ(queue_.Find("A")->page.fallback, "City");
  EXPECT_EQ(queue_.Find("without")->page.service, "City");
  EXPECT_EQ(queue_.Find("held")->page.service, "City");
}

TEST_P(QueueContract, APageJoinsOneOfTheSameWordsThatWaits) {
  Page page = PageTo("0171", "A");
  page.joins = 10min;
  page.expires = now_ + 1h;
  ASSERT_TRUE(Put(page));
  now_ += 10min;
  page.id = "B";
  page.priority = 2;
  page.expires = now_ + 2h;
  EXPECT_TRUE(Put(page)) << "it is a page of its own all the same";
  EXPECT_FALSE(Put(page));
  EXPECT_EQ(StateOf("B"), PageState::kJoined);
  EXPECT_EQ(queue_.Find("B")->joined, "A");
  EXPECT_EQ(queue_.Find("B")->page.text, "") << "the words are kept once, and as long as wanted";
  const QueuedPage first = queue_.Find("A").value();
  EXPECT_EQ(first.more, 1);
  EXPECT_EQ(first.page.priority, 2);
  EXPECT_EQ(first.page.expires, page.expires);
  EXPECT_EQ(Claim()->more, 1);
  EXPECT_EQ(ClaimedId(), "none");
}

TEST_P(QueueContract, APageJoinsNoOtherOne) {
  const auto put = [&](const std::string& id, const auto& change) {
    Page page = PageTo("0171", id);
    page.joins = 10min;
    change(page);
    ASSERT_TRUE(Put(page));
  };
  const auto as_it_is = [](Page&) {};
  put("A", as_it_is);
  put("number", [](Page& page) { page.number = "0172"; });
  put("text", [](Page& page) { page.text = "Grüße!"; });
  put("originator", [](Page& page) { page.originator = "Pump"; });
  put("profile", [](Page& page) { page.profile = "Another"; });
  put("unwilling", [](Page& page) { page.joins = 0min; });
  put("later", [this](Page& page) { page.not_before = now_ + 1s; });
  EXPECT_EQ(queue_.Find("A")->more, 0);
  now_ += 10min + 1ms;
  put("too late", as_it_is);
  EXPECT_THAT(Ids({PageState::kJoined}), IsEmpty());
  ASSERT_TRUE(queue_.Operate("too late", kHoldPage));
  put("not the held", as_it_is);
  Dialling();
  EXPECT_THAT(Ids({PageState::kJoined}), IsEmpty());
}

TEST_P(QueueContract, PagesThatComeTogetherJoinTheFirst) {
  std::vector<Page> pages(18, PageTo("0171", ""));
  for (std::size_t i = 0; i < pages.size(); ++i) {
    pages[i].id = std::to_string(i);
    pages[i].joins = 1min;
  }
  EXPECT_EQ(queue_.Put(pages), 18U);
  EXPECT_EQ(queue_.Find("0")->more, 17);
  EXPECT_EQ(FinishedId(), "0");
  EXPECT_EQ(ClaimedId(), "none");
}

TEST_P(QueueContract, APageThatMayBeOutIsMarkedWhenItIsTriedAgain) {
  PutAll({"A"});
  ASSERT_TRUE(queue_.TryAgain("A", Dialling(), kDoubt, now_));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
  ASSERT_TRUE(queue_.TryAgain("A", Dialling(), kBusy, now_));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice) << "for good";
}

TEST_P(QueueContract, WhatAHolderLeavesIsReadyOrUnknown) {
  PutAll({"A", "B", "C"});
  Dialling(kHere);
  ASSERT_TRUE(Claim(kHere));
  ASSERT_TRUE(Claim(kThere));
  queue_.Sweep([](const std::string& holder) { return holder == kHere; });
  EXPECT_EQ(StateOf("A"), PageState::kUnknown);
  EXPECT_THAT(queue_.Find("A")->result, Optional(Eq(Interrupted())));
  EXPECT_EQ(StateOf("B"), PageState::kReady);
  EXPECT_EQ(StateOf("C"), PageState::kClaimed);
  EXPECT_EQ(queue_.Find("A")->holder, "");
  EXPECT_EQ(queue_.Find("B")->attempts, 0);
}

TEST_P(QueueContract, ALeaseThatRanOutIsAHolderThatIsGone) {
  PutAll({"A", "B"});
  Dialling();
  ASSERT_TRUE(Claim());
  now_ += kClaimLease;
  queue_.Sweep(NobodyIsGone);
  EXPECT_EQ(StateOf("A"), PageState::kDialling);
  EXPECT_EQ(StateOf("B"), PageState::kReady);
  now_ += kDiallingLease - kClaimLease;
  queue_.Sweep(NobodyIsGone);
  EXPECT_EQ(StateOf("A"), PageState::kUnknown);
}

TEST_P(QueueContract, ALateResultResolvesWhatWasUnknown) {
  PutAll({"A", "B"});
  const std::int64_t first = Dialling();
  const std::int64_t second = Dialling();
  now_ += kDiallingLease;
  queue_.Sweep(NobodyIsGone);
  EXPECT_TRUE(queue_.Finish("A", first, kYes, PageState::kAccepted));
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_TRUE(queue_.TryAgain("B", second, kBusy, now_));
  EXPECT_FALSE(queue_.Find("B")->perhaps_twice);
}

TEST_P(QueueContract, WhoLostAPageChangesNothingMore) {
  PutAll({"A"});
  const auto lost = Claim(kHere);
  queue_.Sweep([](const std::string&) { return true; });
  const auto claimed = Claim(kThere);
  EXPECT_EQ(claimed->epoch, lost->epoch + 1);
  EXPECT_FALSE(queue_.Begin("A", lost->epoch));
  EXPECT_FALSE(queue_.Extend("A", lost->epoch));
  EXPECT_FALSE(queue_.GiveBack("A", lost->epoch));
  ASSERT_TRUE(queue_.Begin("A", claimed->epoch));
  EXPECT_FALSE(queue_.Finish("A", lost->epoch, kYes, PageState::kAccepted));
  EXPECT_FALSE(queue_.TryAgain("A", lost->epoch, kBusy, now_));
  EXPECT_EQ(StateOf("A"), PageState::kDialling);
  EXPECT_TRUE(queue_.Finish("A", claimed->epoch, kYes, PageState::kAccepted));
}

TEST_P(QueueContract, AnUnknownIdIsNobodysPage) {
  EXPECT_FALSE(queue_.Begin("A", 1));
  EXPECT_FALSE(queue_.Operate("A", kCancelPage));
  PutAll({"B"});
  EXPECT_FALSE(queue_.Begin("A", 1));
  EXPECT_FALSE(queue_.Operate("A", kCancelPage));
}

TEST_P(QueueContract, AnOperatorActsFromTheStatesThatAllowIt) {
  for (const OperatorAction& action : {kCancelPage, kHoldPage, kReleasePage, kRetryPage}) {
    for (std::size_t i = 0; i < StatesHere(); ++i) {
      const auto state = static_cast<PageState>(i);
      const std::string id = std::string(action.name) + std::string(NameOf(state));
      Bring(id, state);
      ASSERT_EQ(StateOf(id), state) << id;
      EXPECT_EQ(queue_.Operate(id, action), action.from.Has(state)) << id;
      EXPECT_EQ(StateOf(id), action.from.Has(state) ? StateAfter(action, state) : state) << id;
      // Out of the way of those that follow.
      queue_.Sweep([](const std::string&) { return true; });
      queue_.Operate(id, kCancelPage);
    }
  }
}

TEST_P(QueueContract, AnOperatorsRetryIsAtOnceAndWithAllTriesBeforeIt) {
  PutAll({"A"});
  ASSERT_TRUE(queue_.TryAgain("A", Dialling(), kBusy, now_ + 1h));
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  const QueuedPage queued = queue_.Find("A").value();
  EXPECT_EQ(queued.attempts, 0);
  EXPECT_FALSE(queued.perhaps_twice);
  EXPECT_EQ(ClaimedId(), "A");
}

TEST_P(QueueContract, AnOperatorsRetryForgetsAnEndThatHasPassed) {
  Bring("A", PageState::kExpired);
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_EQ(queue_.Find("A")->page.expires, kNever);
  EXPECT_EQ(ClaimedId(), "A");
}

TEST_P(QueueContract, AnOperatorsRetryOfAPageThatMayBeOutIsMarked) {
  Bring("A", PageState::kUnknown);
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
}

TEST_P(QueueContract, ListsTheStatesAskedForInTheOrderOfArrival) {
  Bring("A", PageState::kParked);
  Bring("B", PageState::kHeld);
  Bring("C", PageState::kParked);
  Bring("D", PageState::kParked);
  EXPECT_THAT(Ids({PageState::kParked}), ElementsAre("A", "C", "D"));
  EXPECT_THAT(Ids({}), IsEmpty());
  const std::int64_t after = queue_.Find("A")->position;
  const auto listed = queue_.List({.states = kAllStates, .after = after, .most = 2});
  ASSERT_EQ(listed.size(), 2U);
  EXPECT_EQ(listed[0].page.id, "B");
  EXPECT_EQ(listed[1].page.id, "C");
}

TEST_P(QueueContract, ListsWhatChangedSinceAndTheNewestFirst) {
  PutAll({"A", "B"});
  now_ += 1s;
  const Moment since = now_;
  PutAll({"C"});
  ASSERT_TRUE(queue_.Operate("A", kHoldPage));
  const auto ids = [&](const PageFilter& filter) {
    std::vector<std::string> found;
    for (const QueuedPage& page : queue_.List(filter)) found.push_back(page.page.id);
    return found;
  };
  EXPECT_THAT(ids({.states = kAllStates, .changed_since = since}), ElementsAre("A", "C"));
  EXPECT_THAT(ids({.states = kAllStates, .changed_since = since + 1ms}), IsEmpty());
  EXPECT_THAT(ids({.states = kAllStates, .newest_first = true}), ElementsAre("C", "B", "A"));
  EXPECT_THAT(ids({.states = kAllStates, .most = 2, .newest_first = true}), ElementsAre("C", "B"));
  EXPECT_THAT(ids({.states = kAllStates, .changed_since = since, .newest_first = true}),
              ElementsAre("C", "A"));
}

TEST_P(QueueContract, CountsThePagesByStateWithTheOldestOfEach) {
  Bring("A", PageState::kParked);
  const Moment parked = now_;
  now_ += 1min;
  PutAll({"B"});
  now_ += 1min;
  PutAll({"C"});
  const QueueStats stats = queue_.Stats();
  const auto of = [&](PageState state) { return stats.at(static_cast<std::size_t>(state)); };
  EXPECT_EQ(of(PageState::kParked).pages, 1);
  EXPECT_EQ(of(PageState::kParked).oldest, parked);
  EXPECT_EQ(of(PageState::kReady).pages, 2);
  EXPECT_EQ(of(PageState::kReady).oldest, parked + 1min);
  EXPECT_EQ(of(PageState::kAccepted).pages, 0);
}

TEST_P(QueueContract, ForgetsWhatIsOverForSoLongAndNothingElse) {
  // Those that are ready last, or they would be claimed on the way of another one.
  for (std::size_t i = StatesHere(); i-- > 0;) {
    Bring(std::string(kPageStateNames.at(i)), static_cast<PageState>(i));
  }
  EXPECT_EQ(queue_.Prune(now_ - 1h), 0);
  EXPECT_EQ(queue_.Prune(now_ + 1ms), 5) << "one for each state that is over, and the joined one";
  EXPECT_THAT(Ids(kOver), IsEmpty());
  EXPECT_EQ(Ids(kAllStates).size(), StatesHere() - 4);
}

TEST_P(QueueContract, TheQueueIsEmptyBeforeTheFirstPage) {
  EXPECT_EQ(ClaimedId(), "none");
  EXPECT_THAT(Ids(kAllStates), IsEmpty());
  EXPECT_EQ(queue_.Stats().at(0).pages, 0);
  EXPECT_EQ(queue_.NextDue(kProfile), kNever);
  EXPECT_EQ(queue_.Prune(now_), 0);
  queue_.Sweep(NobodyIsGone);
}

/// Whatever several holders do, and whenever they die: each page is with one of them at most, its
/// epoch only grows, and it ends accepted or is still to be found.
TEST_P(QueueContract, NoPageIsLostOrSharedWhateverHoldersDo) {
  std::mt19937 chance(20261122);
  const auto one_in = [&](unsigned n) { return chance() % n == 0; };
  std::vector<QueuedPage> mine;
  std::set<std::string> put;
  for (int step = 0; step < 1500; ++step) {
    now_ += std::chrono::milliseconds(chance() % 3000);
    if (one_in(4)) {
      const std::string id = "page " + std::to_string(step);
      ASSERT_TRUE(Put(PageTo("017" + std::to_string(chance() % 5), id)));
      put.insert(id);
    }
    if (const auto claimed = Claim("holder " + std::to_string(chance() % 3))) {
      for (const QueuedPage& other : mine) {
        ASSERT_FALSE(other.page.id == claimed->page.id && other.epoch >= claimed->epoch);
      }
      mine.push_back(*claimed);
    }
    if (!mine.empty() && one_in(2)) {
      const std::size_t which = chance() % mine.size();
      const auto& [id, epoch] = std::pair(mine[which].page.id, mine[which].epoch);
      if (one_in(3)) queue_.GiveBack(id, epoch);
      if (queue_.Begin(id, epoch) && one_in(2)) queue_.TryAgain(id, epoch, kBusy, now_);
      if (one_in(2)) queue_.Finish(id, epoch, kYes, PageState::kAccepted);
      if (one_in(2)) mine.erase(mine.begin() + static_cast<std::ptrdiff_t>(which));
    }
    if (one_in(50)) {
      const std::string dead = "holder " + std::to_string(chance() % 3);
      queue_.Sweep([&](const std::string& holder) { return holder == dead; });
      for (const std::string& id : Ids({PageState::kUnknown})) {
        ASSERT_TRUE(queue_.Operate(id, kRetryPage));
      }
    }
  }
  queue_.Sweep([](const std::string&) { return true; });
  for (const std::string& id : Ids({PageState::kUnknown})) queue_.Operate(id, kRetryPage);
  while (FinishedId() != "none") {
  }
  const std::vector<std::string> done = Ids({PageState::kAccepted});
  EXPECT_EQ(std::set<std::string>(done.begin(), done.end()), put);
}

/// A hub is a queue to whoever sends.
class HubAsQueue : public QueueHouse {
 public:
  explicit HubAsQueue(std::unique_ptr<HubHouse> house) : house_(std::move(house)) {}
  Queue& Another() override { return house_->Another(); }

 private:
  std::unique_ptr<HubHouse> house_;
};

std::vector<NamedQueue> AllQueues() {
  std::vector<NamedQueue> queues = SystemQueues();
  queues.insert(queues.begin(), MemoryQueueHouse());
  for (const NamedHub& hub : EveryHub()) {
    queues.push_back({hub.name + "Hub",
                      [hub](std::function<Moment()> now) {
                        return std::make_unique<HubAsQueue>(hub.make(std::move(now)));
                      },
                      true});
  }
  return queues;
}

INSTANTIATE_TEST_SUITE_P(Stores, QueueContract, testing::ValuesIn(AllQueues()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace mvsms::dispatch
