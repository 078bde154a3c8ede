// The message loop, its timers and the clock, over every back end. On some of them this is real
// time, so the tests say what may not come too early, and leave room for what comes late.
#include <algorithm>
#include <string>

#include "tests/backends/contract.h"

namespace mvsms {
namespace {

using std::chrono::milliseconds;

// Long enough that a busy machine delivers a tick before the next one is due.
constexpr int kUnhurried = 100;  // milliseconds

class LoopContract : public Contract {
 protected:
  Timers::TimerProc Note(const std::string& text) {
    return [this, text](TimerId) { notes_ += text; };
  }
  void SleepAndDeliver(int ms) {
    loop_.Sleep(milliseconds(ms));
    loop_.DoEvents();
  }

  EventLoop& loop_ = platform_.loop();
  Timers& timers_ = platform_.timers();
  Clock& clock_ = platform_.clock();
  std::string notes_;
};

TEST_P(LoopContract, TimeGoesOnByAtLeastWhatWasSlept) {
  const milliseconds start = clock_.Now();
  loop_.Sleep(milliseconds(25));
  EXPECT_GE(clock_.Now() - start, milliseconds(25));
}

TEST_P(LoopContract, SleepingForNothingReturnsAtOnce) {
  const milliseconds start = clock_.Now();
  loop_.Sleep(milliseconds(0));
  loop_.Sleep(milliseconds(-100000));
  EXPECT_GE(clock_.Now(), start);
  EXPECT_LT(clock_.Now() - start, milliseconds(10000));
}

TEST_P(LoopContract, DateAndTimeAreTexts) {
  EXPECT_GE(clock_.ShortDate().size(), 8U);
  EXPECT_GE(clock_.TimeOfDay().size(), 7U);
}

TEST_P(LoopContract, TimersTickInDoEventsAndNotBefore) {
  timers_.SetTimer(kUnhurried, Note("t"));
  loop_.DoEvents();
  loop_.Sleep(milliseconds(kUnhurried + 20));
  EXPECT_EQ(notes_, "");
  loop_.DoEvents();
  EXPECT_EQ(notes_, "t");
}

TEST_P(LoopContract, ATimerTicksAgainAndAgain) {
  timers_.SetTimer(kUnhurried, Note("t"));
  for (int i = 0; i < 4; ++i) SleepAndDeliver(kUnhurried + 20);
  EXPECT_EQ(notes_, "tttt");
}

TEST_P(LoopContract, ALongSleepGivesOneTick) {
  timers_.SetTimer(kUnhurried, Note("t"));
  SleepAndDeliver(5 * kUnhurried / 2);
  EXPECT_EQ(notes_, "t");
}

TEST_P(LoopContract, TheTickKnowsItsTimer) {
  TimerId told = 0;
  const TimerId id = timers_.SetTimer(5, [&](TimerId self) { told = self; });
  EXPECT_NE(id, 0U);
  SleepAndDeliver(30);
  EXPECT_EQ(told, id);
}

TEST_P(LoopContract, EveryTimerThatFellDueTicks) {
  timers_.SetTimer(kUnhurried + 20, Note("c"));
  timers_.SetTimer(kUnhurried + 10, Note("b"));
  timers_.SetTimer(kUnhurried, Note("a"));
  SleepAndDeliver(kUnhurried + 40);
  std::sort(notes_.begin(), notes_.end());
  EXPECT_EQ(notes_, "abc");
}

TEST_P(LoopContract, AKilledTimerIsSilentAndCannotBeKilledTwice) {
  const TimerId id = timers_.SetTimer(5, Note("t"));
  loop_.Sleep(milliseconds(10));
  EXPECT_TRUE(timers_.KillTimer(id));
  loop_.DoEvents();
  EXPECT_EQ(notes_, "");
  EXPECT_FALSE(timers_.KillTimer(id));
  EXPECT_FALSE(timers_.KillTimer(0));
}

TEST_P(LoopContract, ATickMayStopItsOwnTimerAndOthers) {
  TimerId other = 0;
  timers_.SetTimer(5, [&](TimerId self) {
    timers_.KillTimer(self);
    timers_.KillTimer(other);
    notes_ += "t";
  });
  other = timers_.SetTimer(6, Note("o"));
  SleepAndDeliver(20);
  SleepAndDeliver(20);
  EXPECT_EQ(notes_, "t");
}

TEST_P(LoopContract, ATickMayStartATimerWhichThenWaitsForItsTime) {
  timers_.SetTimer(5, [&](TimerId self) {
    timers_.KillTimer(self);
    timers_.SetTimer(5, Note("n"));
  });
  SleepAndDeliver(30);
  EXPECT_EQ(notes_, "");
  SleepAndDeliver(30);
  EXPECT_EQ(notes_, "n");
}

TEST_P(LoopContract, ATickThatDeliversEventsRunsTheOthersOnceAndNotItself) {
  timers_.SetTimer(200, [&](TimerId) {
    notes_ += "(";
    loop_.DoEvents();
    notes_ += ")";
  });
  timers_.SetTimer(201, Note("o"));
  SleepAndDeliver(205);
  EXPECT_EQ(notes_, "(o)");
}

TEST_P(LoopContract, AnIdentifierIsNotGivenTwiceWhileItsTimerRuns) {
  const TimerId first = timers_.SetTimer(1000, Note("1"));
  const TimerId second = timers_.SetTimer(1000, Note("2"));
  EXPECT_NE(first, second);
  EXPECT_TRUE(timers_.KillTimer(first));
  EXPECT_TRUE(timers_.KillTimer(second));
}

MVSMS_FOR_EACH_BACK_END(LoopContract);

}  // namespace
}  // namespace mvsms
