// The contract of a machine's own queue beyond that of every queue: pages that go to a hub, and
// come home with what became of them there.
#include <gmock/gmock.h>

#include "tests/backends/contract_queue.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;

class HomeContract : public testing::TestWithParam<NamedQueue> {
 protected:
  void Give(const std::string& id) {
    Page page;
    page.id = id;
    page.profile = "Standard";
    page.number = "0171" + id;
    page.text = "Pump 3";
    page.service = "City";
    ASSERT_EQ(queue_.Put({&page, 1}), 1U);
    ASSERT_TRUE(queue_.Operate(id, kOfferPage));
    ASSERT_TRUE(queue_.Operate(id, kHandPageOver));
  }
  static QueuedPage There(PageState state, const PageResult& result) {
    QueuedPage there;
    there.page.text = "Pump 3";
    there.state = state;
    there.result = result;
    there.attempts = 3;
    there.perhaps_twice = true;
    return there;
  }
  PageState StateOf(const std::string& id) { return queue_.Find(id).value().state; }
  bool Claims() {
    const std::vector<std::string> services = {"City"};
    return queue_.Claim("here", "Standard", services).has_value();
  }

  Moment now_{std::chrono::milliseconds(1'700'000'000'000)};
  std::unique_ptr<QueueHouse> house_ = GetParam().make([this] { return now_; });
  HomeQueue& queue_ = dynamic_cast<HomeQueue&>(house_->Another());
  const PageResult yes_{.outcome = Outcome::kAccepted, .answer = "\x06", .modem = "Modem"};
  const PageResult doubt_{.outcome = Outcome::kUnknown, .reason = "no answer"};
};

TEST_P(HomeContract, APageThatIsOfferedIsSentByNobodyHere) {
  Page page;
  page.id = "A";
  page.profile = "Standard";
  page.service = "City";
  ASSERT_EQ(queue_.Put({&page, 1}), 1U);
  ASSERT_TRUE(queue_.Operate("A", kOfferPage));
  EXPECT_FALSE(Claims());
  EXPECT_FALSE(queue_.Operate("A", kOfferPage));
  queue_.Sweep([](const std::string&) { return true; });
  EXPECT_EQ(StateOf("A"), PageState::kOffering);
  ASSERT_TRUE(queue_.Operate("A", kHandPageOver));
  EXPECT_FALSE(Claims());
  queue_.Sweep([](const std::string&) { return true; });
  EXPECT_EQ(StateOf("A"), PageState::kAtHub);
}

TEST_P(HomeContract, APageComesHomeWithWhatItHasBecome) {
  Give("A");
  now_ += 1min;
  ASSERT_TRUE(queue_.BringHome("A", There(PageState::kAccepted, yes_)));
  const QueuedPage page = queue_.Find("A").value();
  EXPECT_EQ(page.state, PageState::kAccepted);
  EXPECT_EQ(page.result, yes_);
  EXPECT_EQ(page.attempts, 3);
  EXPECT_TRUE(page.perhaps_twice);
  EXPECT_EQ(page.changed, now_);
  EXPECT_EQ(page.page.text, "Pump 3");
  EXPECT_FALSE(queue_.BringHome("A", There(PageState::kParked, doubt_))) << "once";
}

TEST_P(HomeContract, ATextThatWasForgottenThereIsForgottenHere) {
  Give("A");
  QueuedPage there = There(PageState::kAccepted, yes_);
  there.page.text.clear();
  ASSERT_TRUE(queue_.BringHome("A", there));
  EXPECT_EQ(queue_.Find("A")->page.text, "");
}

TEST_P(HomeContract, WhatWasParkedAsUnknownIsResolvedAndNothingElseIs) {
  Give("A");
  Give("B");
  ASSERT_TRUE(queue_.BringHome("A", There(PageState::kParked, doubt_)));
  ASSERT_TRUE(queue_.BringHome(
      "B", There(PageState::kParked, {.outcome = Outcome::kRefused, .reason = "no such number"})));
  EXPECT_FALSE(queue_.BringHome("A", There(PageState::kCancelled, doubt_)));
  EXPECT_TRUE(queue_.BringHome("A", There(PageState::kAccepted, yes_)));
  EXPECT_FALSE(queue_.BringHome("B", There(PageState::kAccepted, yes_)));
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_EQ(StateOf("B"), PageState::kParked);
}

TEST_P(HomeContract, ThatAPagePerhapsWentOutTwiceMayComeHomeLast) {
  Give("A");
  QueuedPage there = There(PageState::kAccepted, yes_);
  there.perhaps_twice = false;
  ASSERT_TRUE(queue_.BringHome("A", there));
  EXPECT_FALSE(queue_.BringHome("A", there));
  EXPECT_FALSE(queue_.Find("A")->perhaps_twice);
  there.perhaps_twice = true;
  EXPECT_TRUE(queue_.BringHome("A", there));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
  EXPECT_FALSE(queue_.BringHome("A", there));
}

TEST_P(HomeContract, APageThatAnOperatorTakesBackMayGoOutTwice) {
  Give("A");
  EXPECT_FALSE(queue_.Find("A")->perhaps_twice);
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
  EXPECT_TRUE(Claims());
}

TEST_P(HomeContract, EachOfferHasAnEpochOfItsOwn) {
  Give("A");
  const std::int64_t first = queue_.Find("A")->epoch;
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_EQ(queue_.Find("A")->epoch, first);
  ASSERT_TRUE(queue_.Operate("A", kOfferPage));
  EXPECT_GT(queue_.Find("A")->epoch, first);
}

TEST_P(HomeContract, WhatIsCancelledWhileItIsAwayIsWithdrawnFirst) {
  Give("A");
  ASSERT_TRUE(queue_.Operate("A", kCancelPage));
  EXPECT_EQ(StateOf("A"), PageState::kWithdrawing);
  EXPECT_FALSE(queue_.Operate("A", kCancelPage));
  EXPECT_FALSE(Claims());
  ASSERT_TRUE(queue_.Operate("A", kLeaveAtHub)) << "it was too late";
  EXPECT_EQ(StateOf("A"), PageState::kAtHub);
  EXPECT_FALSE(queue_.Operate("A", kWithdrawPage));
  ASSERT_TRUE(queue_.Operate("A", kCancelPage));
  ASSERT_TRUE(queue_.Operate("A", kWithdrawPage));
  EXPECT_EQ(StateOf("A"), PageState::kCancelled);
  EXPECT_FALSE(queue_.Find("A")->perhaps_twice);
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_FALSE(queue_.Find("A")->perhaps_twice) << "the hub has said that nobody had it";
}

TEST_P(HomeContract, WhatIsBeingWithdrawnMayComeHome) {
  Give("A");
  ASSERT_TRUE(queue_.Operate("A", kCancelPage));
  EXPECT_TRUE(queue_.BringHome("A", There(PageState::kAccepted, yes_)));
  EXPECT_EQ(StateOf("A"), PageState::kAccepted);
}

TEST_P(HomeContract, WhatIsTakenBackWithoutAWordOfTheHubMayGoOutTwice) {
  Give("A");
  ASSERT_TRUE(queue_.Operate("A", kCancelPage));
  ASSERT_TRUE(queue_.Operate("A", kRetryPage));
  EXPECT_TRUE(queue_.Find("A")->perhaps_twice);
}

TEST_P(HomeContract, APageThatIsHereComesNotHome) {
  EXPECT_FALSE(queue_.BringHome("A", There(PageState::kAccepted, yes_)));
  Page page;
  page.id = "A";
  page.profile = "Standard";
  page.service = "City";
  ASSERT_EQ(queue_.Put({&page, 1}), 1U);
  EXPECT_FALSE(queue_.BringHome("A", There(PageState::kAccepted, yes_)));
  EXPECT_TRUE(Claims());
}

std::vector<NamedQueue> HomeQueues() {
  std::vector<NamedQueue> queues = SystemQueues();
  queues.push_back(MemoryQueueHouse());
  return queues;
}

INSTANTIATE_TEST_SUITE_P(Stores, HomeContract, testing::ValuesIn(HomeQueues()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace mvsms::dispatch
