// Timer objects and their table, over a system timer service that ticks when the test says so.
#include "media/ctimer.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "media/mtimer.h"
#include "tests/support/raised.h"

namespace mvsms {
namespace {

class FakeTimers : public Timers {
 public:
  TimerId SetTimer(std::uint32_t interval_ms, TimerProc proc) override {
    intervals.push_back(interval_ms);
    if (exhausted) return 0;
    running[++last_id] = std::move(proc);
    return last_id;
  }
  bool KillTimer(TimerId id) override { return running.erase(id) != 0; }
  void Tick(TimerId id) {
    const TimerProc proc = running.at(id);
    proc(id);
  }

  bool exhausted = false;
  TimerId last_id = 0;
  std::vector<std::uint32_t> intervals;
  std::map<TimerId, TimerProc> running;
};

class TimerTest : public testing::Test {
 protected:
  std::shared_ptr<CTimer> Make() {
    auto timer = CTimer::Create(table, "mvSMS");
    timer->ThatTime = [this] { ++ticks; };
    return timer;
  }
  std::shared_ptr<CTimer> Start(std::int32_t interval = 100) {
    auto timer = Make();
    timer->SetInterval(interval);
    return timer;
  }

  FakeTimers system;
  MTimer table{system};
  int ticks = 0;
};

TEST_F(TimerTest, ANewTimerIsStopped) {
  const auto timer = Make();
  EXPECT_EQ(timer->Interval(), 0);
  EXPECT_TRUE(system.running.empty());
}

TEST_F(TimerTest, SettingAnIntervalStartsASystemTimerThatRaisesTheEvent) {
  const auto timer = Start(250);
  EXPECT_EQ(timer->Interval(), 250);
  EXPECT_EQ(system.intervals, std::vector<std::uint32_t>{250});
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
}

TEST_F(TimerTest, TheSameIntervalTwiceStartsOneTimer) {
  const auto timer = Start(100);
  timer->SetInterval(100);
  EXPECT_EQ(system.intervals.size(), 1U);
}

TEST_F(TimerTest, AnotherIntervalRestartsTheTimer) {
  const auto timer = Start(100);
  timer->SetInterval(200);
  EXPECT_EQ(system.running.size(), 1U);
  EXPECT_EQ(system.intervals, (std::vector<std::uint32_t>{100, 200}));
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
}

TEST_F(TimerTest, AnIntervalBelowOneStopsTheTimer) {
  for (const int interval : {0, -1, -2147483647}) {
    const auto timer = Start();
    timer->SetInterval(interval);
    EXPECT_EQ(timer->Interval(), 0);
    EXPECT_TRUE(system.running.empty());
  }
}

TEST_F(TimerTest, StoppingAStoppedTimerDoesNothing) {
  const auto timer = Make();
  timer->SetInterval(0);
  timer->SetInterval(-7);
  EXPECT_TRUE(system.intervals.empty());
}

TEST_F(TimerTest, AReleasedRunningTimerTicksOn) {
  Start().reset();
  EXPECT_EQ(system.running.size(), 1U);
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
}

TEST_F(TimerTest, AReleasedTimerWithoutAHandlerTicksToNobody) {
  auto timer = Start();
  timer->ThatTime = nullptr;
  timer.reset();
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 0);
}

TEST_F(TimerTest, StoppingFreesTheTimerAndItsSlot) {
  auto timer = Start();
  const std::weak_ptr<CTimer> watch = timer;
  timer->SetInterval(0);
  timer.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(TimerTest, ATimerMayStopItselfAsItsLastOwnerIsTheTable) {
  const std::weak_ptr<CTimer> watch = Start();
  watch.lock()->ThatTime = [&] {
    ++ticks;
    watch.lock()->SetInterval(0);
  };
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
  EXPECT_TRUE(watch.expired());
}

TEST_F(TimerTest, AHandlerMayUnbindAndReleaseItsTimer) {
  auto timer = Make();
  int heavy = 0;
  timer->ThatTime = [this, &timer, &heavy] {
    timer->ThatTime = nullptr;
    timer.reset();
    ++heavy;
    ++ticks;
  };
  timer->SetInterval(100);
  system.Tick(system.last_id);
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(heavy, 1);
}

TEST_F(TimerTest, ATickReachesOnlyTheTimerOfItsIdentifier) {
  const auto first = Start();
  const auto second = CTimer::Create(table, "mvSMS");
  int others = 0;
  second->ThatTime = [&] { ++others; };
  second->SetInterval(100);
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 0);
  EXPECT_EQ(others, 1);
}

TEST_F(TimerTest, ATickWithAnUnknownIdentifierDoesNothing) {
  const auto timer = Start();
  const auto proc = system.running.at(system.last_id);
  proc(system.last_id + 1);
  timer->SetInterval(0);
  proc(system.last_id);  // one that was on its way when the timer was stopped
  EXPECT_EQ(ticks, 0);
}

TEST_F(TimerTest, PulseTimerRaisesTheEventWithoutASystemTimer) {
  Make()->PulseTimer();
  EXPECT_EQ(ticks, 1);
  CTimer::Create(table, "mvSMS")->PulseTimer();
}

TEST_F(TimerTest, WithoutASystemTimerTheStartRaises13652) {
  system.exhausted = true;
  const auto timer = Make();
  EXPECT_EQ(RaisedBy([&] { timer->SetInterval(100); }),
            Raised(-2147207852, "mvSMS.WindowProc", "Can't create system timer"));
  EXPECT_EQ(timer->Interval(), 0);
  system.exhausted = false;
  timer->SetInterval(100);
  EXPECT_EQ(system.running.size(), 1U);
}

TEST_F(TimerTest, The101stTimerRaises13651) {
  for (int i = 0; i < 100; ++i) Start();
  const auto timer = Make();
  EXPECT_EQ(RaisedBy([&] { timer->SetInterval(100); }),
            Raised(-2147207853, "mvSMS.WindowProc", "No more than 10 timers allowed per class"));
  EXPECT_EQ(timer->Interval(), 0);
  EXPECT_EQ(system.intervals.size(), 101U);
  EXPECT_EQ(system.running.size(), 100U);
}

TEST_F(TimerTest, AFreedSlotOfAFullTableIsUsedAgain) {
  std::vector<std::shared_ptr<CTimer>> timers;
  for (int i = 0; i < 100; ++i) timers.push_back(Start());
  timers[41]->SetInterval(0);
  const auto late = Start();
  EXPECT_EQ(late->Interval(), 100);
  system.Tick(system.last_id);
  EXPECT_EQ(ticks, 1);
  timers[99]->SetInterval(0);
  timers[0]->SetInterval(0);
  EXPECT_EQ(system.running.size(), 98U);
}

TEST_F(TimerTest, TheTableTellsWhetherItCouldStopATimer) {
  const auto running = Start();
  const auto stopped = Make();
  EXPECT_TRUE(table.StopTimer(*running));
  EXPECT_FALSE(table.StopTimer(*running));
  EXPECT_FALSE(table.StopTimer(*stopped));
}

TEST_F(TimerTest, TheTableReturnsFalseWithoutASystemTimer) {
  system.exhausted = true;
  EXPECT_FALSE(table.StartTimer(Make()));
}

TEST(TimerTable, ItsEndStopsEveryTimer) {
  FakeTimers system;
  std::weak_ptr<CTimer> released;
  std::shared_ptr<CTimer> held;
  {
    MTimer table(system);
    held = CTimer::Create(table, "mvSMS");
    held->SetInterval(10);
    const auto timer = CTimer::Create(table, "mvSMS");
    timer->SetInterval(10);
    released = timer;
  }
  EXPECT_TRUE(system.running.empty());
  EXPECT_TRUE(released.expired());
  EXPECT_EQ(held->Interval(), 0);
}

TEST(TimerErrors, ASmallCodeIsAPlainNumber) {
  EXPECT_EQ(RaisedBy([] { RaiseTimerError(1000, "app"); }), Raised(1000, "app.WindowProc", ""));
  EXPECT_EQ(RaisedBy([] { RaiseTimerError(1001, "app"); }),
            Raised(-2147220503, "app.WindowProc", ""));
}

}  // namespace
}  // namespace mvsms
