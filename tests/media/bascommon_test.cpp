// Waiting and the send log.
#include "media/bascommon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "media/guard.h"
#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

using memory::MemoryPlatform;
using testing::ElementsAre;
using testing::Pair;

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

class SendLogTest : public testing::Test {
 protected:
  void Write(const std::string& text, const std::string& path = {}) {
    basCommon::WriteLog(machine, text, path);
  }
  std::string DefaultPathIn(const std::string& folder) {
    machine.component_folder = folder;
    machine.files.clear();
    Write("x");
    return machine.files.empty() ? "" : machine.files.begin()->first;
  }
  MemoryPlatform machine;
};

TEST_F(SendLogTest, ALineIsDateBlankTimeTabText) {
  Write("Connected.", "C:\\log.txt");
  EXPECT_THAT(machine.files,
              ElementsAre(Pair("C:\\log.txt", "2026-01-02 03:04:05\tConnected.\r\n")));
}

TEST_F(SendLogTest, LinesAreAppendedAsTheyStand) {
  Write("begin\r\n", "log");
  machine.loop().Sleep(memory::Millis(1000));
  Write("caf\xE9", "log");
  EXPECT_EQ(machine.files["log"],
            "2026-01-02 03:04:05\tbegin\r\n\r\n2026-01-02 03:04:06\tcaf\xE9\r\n");
}

TEST_F(SendLogTest, TheDefaultLiesInTheComponentsFolder) {
  EXPECT_EQ(DefaultPathIn("C:\\Programs\\mvSMS"), "C:\\Programs\\mvSMS\\SMSLog.txt");
}

TEST_F(SendLogTest, ADriveRootGetsOneBackslash) {
  EXPECT_EQ(DefaultPathIn("C:\\"), "C:\\SMSLog.txt");
}

TEST_F(SendLogTest, DoubledBackslashesInsideBecomeSingle) {
  EXPECT_EQ(DefaultPathIn("C:\\a\\\\b"), "C:\\a\\b\\SMSLog.txt");
  EXPECT_EQ(DefaultPathIn("C:\\a\\\\\\\\b"), "C:\\a\\\\b\\SMSLog.txt");
}

TEST_F(SendLogTest, ANetworkPathKeepsItsTwoLeadingBackslashes) {
  EXPECT_EQ(DefaultPathIn("\\\\server\\share"), "\\\\server\\share\\SMSLog.txt");
  EXPECT_EQ(DefaultPathIn("\\\\server\\share\\"), "\\\\server\\share\\SMSLog.txt");
}

TEST_F(SendLogTest, AGivenPathIsTakenAsItStands) {
  Write("x", "D:\\\\logs\\\\sms.log");
  EXPECT_EQ(machine.files.begin()->first, "D:\\\\logs\\\\sms.log");
}

TEST_F(SendLogTest, AMissingFolderIsSwallowed) {
  machine.folders = {"C:\\there"};
  Write("x", "C:\\elsewhere\\log.txt");
  EXPECT_TRUE(machine.files.empty());
}

TEST_F(SendLogTest, AWriteThatFailsIsSwallowed) {
  machine.fail = [](const std::string& operation) { return operation == "TextFile.Append"; };
  Write("x");
  EXPECT_TRUE(machine.files.empty());
}

TEST_F(SendLogTest, AnExceptionUnderneathIsSwallowed) {
  machine.fail = [](const std::string& operation) -> bool {
    if (operation == "Locale.ComponentFolder") throw std::runtime_error("no folder");
    return false;
  };
  EXPECT_NO_THROW(Write("x"));
}

// --- the boundary of exceptions ---------------------------------------------------------------

TEST(Guarded, GivesTheResultWhenNothingIsThrown) {
  EXPECT_EQ(Guarded(-1, [] { return 7; }, [](std::int32_t, const std::string&) { FAIL(); }), 7);
}

TEST(Guarded, ReportsARaisedErrorByItsNumber) {
  std::string report;
  const int result = Guarded(
      -1, []() -> int { throw RaisedError(4457, "SetDevice", "in use"); },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(result, -1);
  EXPECT_EQ(report, "4457 in use");
}

TEST(Guarded, ReportsAnyOtherExceptionAsUnnumbered) {
  std::string report;
  Guarded(
      false, []() -> bool { throw std::runtime_error("odd"); },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(report, "-2147467259 odd");
}

TEST(Guarded, ReportsWhateverElseIsThrown) {
  std::string report;
  Guarded(
      false, []() -> bool { throw 5; },
      [&](std::int32_t number, const std::string& text) {
        report = std::to_string(number) + " " + text;
      });
  EXPECT_EQ(report, "-2147467259 Unknown error");
}

}  // namespace
}  // namespace mvsms
