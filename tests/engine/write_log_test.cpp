// Lines of the send log, and where it lies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "backends/memory/memory_platform.h"
#include "engine/send_log.h"

namespace mvsms {
namespace {

using memory::MemoryPlatform;
using testing::ElementsAre;
using testing::Pair;

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

}  // namespace
}  // namespace mvsms
