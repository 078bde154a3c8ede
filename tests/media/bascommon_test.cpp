// Waiting.
#include "media/bascommon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

using memory::MemoryPlatform;

class RecordingLoop : public EventLoop {
 public:
  void Sleep(std::chrono::milliseconds duration) override {
    steps.push_back("sleep " + std::to_string(duration.count()));
  }
  void DoEvents() override { steps.push_back("events"); }
  std::vector<std::string> steps;
};

std::vector<std::string> StepsOfPause(std::int32_t milliseconds) {
  RecordingLoop loop;
  basCommon::Pause(loop, milliseconds);
  return loop.steps;
}

std::vector<std::string> TenRounds(const std::string& sleep) {
  std::vector<std::string> steps;
  for (int i = 0; i < 10; ++i) steps.insert(steps.end(), {sleep, "events"});
  return steps;
}

TEST(Pause, TakesTenRoundsOfSleepAndEvents) { EXPECT_EQ(StepsOfPause(500), TenRounds("sleep 50")); }

TEST(Pause, SleepsTheIntegerPartOfATenth) { EXPECT_EQ(StepsOfPause(109), TenRounds("sleep 10")); }

TEST(Pause, BelowTenMillisecondsOnlyProcessesEvents) {
  EXPECT_EQ(StepsOfPause(5), TenRounds("sleep 0"));
  EXPECT_EQ(StepsOfPause(0), TenRounds("sleep 0"));
}

TEST(Pause, ANegativeTimeDoesNotSleep) {
  MemoryPlatform machine;
  basCommon::Pause(machine.loop(), -1000);
  EXPECT_EQ(machine.slept(), memory::Millis(0));
}

}  // namespace
}  // namespace mvsms
