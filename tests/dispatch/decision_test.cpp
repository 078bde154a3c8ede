// What becomes of a page after each way in which a try can end.
#include "dispatch/decision.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "tests/support/profile.h"

namespace mvsms::dispatch {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

const RetryRules kRules{.quick = {10s, 30s}, .retries = 2, .delay = 5min, .repeat_unknown = true};

Decision After(Outcome outcome, Exit exit, std::int32_t attempts = 1,
               const RetryRules& rules = kRules) {
  return Decide(outcome, static_cast<int>(exit), attempts, rules);
}

TEST(Decision, AcceptedIsDone) {
  EXPECT_EQ(After(Outcome::kAccepted, Exit::kAccepted).verdict, Verdict::kDone);
}

TEST(Decision, RefusedForGoodIsParked) {
  const Decision decision = After(Outcome::kRefused, Exit::kRefused);
  EXPECT_EQ(decision.verdict, Verdict::kPark);
  EXPECT_EQ(decision.why, "it was refused for good");
}

TEST(Decision, RefusedForNowIsTriedAgain) {
  EXPECT_EQ(After(Outcome::kRefused, Exit::kRetry).verdict, Verdict::kAgain);
}

TEST(Decision, UnusableIsParked) {
  for (const Exit exit : {Exit::kMessage, Exit::kSettings}) {
    const Decision decision = After(Outcome::kUnusable, exit);
    EXPECT_EQ(decision.verdict, Verdict::kPark);
    EXPECT_EQ(decision.why, "it cannot be sent as it is");
  }
}

TEST(Decision, UnreachableIsTriedSoonThenSeldomThenParked) {
  const auto pause = [](std::int32_t attempts) {
    return After(Outcome::kUnreachable, Exit::kRetry, attempts).pause;
  };
  EXPECT_EQ(pause(1), 10s);
  EXPECT_EQ(pause(2), 30s);
  EXPECT_EQ(pause(3), 5min);
  EXPECT_EQ(pause(4), 5min);
  const Decision last = After(Outcome::kUnreachable, Exit::kRetry, 5);
  EXPECT_EQ(last.verdict, Verdict::kPark);
  EXPECT_EQ(last.why, "it was tried 5 times");
}

TEST(Decision, ATryThatNobodyCountedIsTheFirst) {
  EXPECT_EQ(After(Outcome::kUnreachable, Exit::kRetry, 0).pause, kRules.quick.front());
}

TEST(Decision, WithoutQuickTriesTheDelayHoldsFromTheFirst) {
  const RetryRules rules{.retries = 1, .delay = 5min};
  EXPECT_EQ(After(Outcome::kUnreachable, Exit::kRetry, 1, rules).pause, 5min);
  EXPECT_EQ(After(Outcome::kUnreachable, Exit::kRetry, 2, rules).verdict, Verdict::kPark);
}

TEST(Decision, UnknownIsTriedAgainAsOftenAsOneThatDidNotGoOut) {
  EXPECT_EQ(After(Outcome::kUnknown, Exit::kUnknown).verdict, Verdict::kAgain);
  EXPECT_EQ(After(Outcome::kUnknown, Exit::kUnknown, 5).verdict, Verdict::kPark);
}

TEST(Decision, UnknownIsParkedWhereNobodyWantsItTwice) {
  RetryRules rules = kRules;
  rules.repeat_unknown = false;
  const Decision decision = After(Outcome::kUnknown, Exit::kUnknown, 1, rules);
  EXPECT_EQ(decision.verdict, Verdict::kPark);
  EXPECT_EQ(decision.why, "it is not to go out twice");
}

TEST(Pauses, AreSecondsBetweenBlanks) {
  EXPECT_THAT(ReadPauses("10 30 60"), Optional(ElementsAre(10s, 30s, 60s)));
  EXPECT_THAT(ReadPauses("  0   86400 "), Optional(ElementsAre(0s, 86400s)));
  EXPECT_THAT(ReadPauses(""), Optional(IsEmpty()));
}

TEST(Pauses, AreNothingElse) {
  for (const char* text : {"10,30", "ten", "10s", "-1", "86401", "99999999999", "1.5", "10 x"}) {
    EXPECT_EQ(ReadPauses(text), std::nullopt) << text;
  }
}

class Rules : public testing::Test {
 protected:
  RetryRules Read() { return ReadRetryRules(Profile(platform_.registry(), profile_.base_key())); }

  memory::MemoryPlatform platform_;
  test::Profile profile_{platform_.registry()};
};

TEST_F(Rules, AreThoseThatNobodySet) {
  const RetryRules rules = Read();
  EXPECT_THAT(rules.quick, ElementsAre(10s, 30s, 60s));
  EXPECT_EQ(rules.retries, 3);
  EXPECT_EQ(rules.delay, 1min);
  EXPECT_TRUE(rules.repeat_unknown);
}

TEST_F(Rules, AreThoseOfTheProfile) {
  profile_.Set("QuickRetries", "5");
  profile_.Set("Retries", 7);
  profile_.Set("RetryDelay", 15);
  profile_.Set("OnUnknown", "park");
  const RetryRules rules = Read();
  EXPECT_THAT(rules.quick, ElementsAre(5s));
  EXPECT_EQ(rules.retries, 7);
  EXPECT_EQ(rules.delay, 15min);
  EXPECT_FALSE(rules.repeat_unknown);
}

TEST_F(Rules, WhatCannotBeReadIsAsWhenNobodySetIt) {
  profile_.Set("QuickRetries", "soon");
  profile_.Set("Retries", "many");
  profile_.Set("RetryDelay", -1);
  profile_.Set("OnUnknown", "whatever");
  const RetryRules rules = Read();
  EXPECT_THAT(rules.quick, ElementsAre(10s, 30s, 60s));
  EXPECT_EQ(rules.retries, 3);
  EXPECT_EQ(rules.delay, 0min);
  EXPECT_TRUE(rules.repeat_unknown);
}

}  // namespace
}  // namespace mvsms::dispatch
