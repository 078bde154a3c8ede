// What the command that maintains lines is told about them.
#include "backends/posix/line/line_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;

class CheckedLine : public testing::Test {
 protected:
  CheckedLine() {
    line_.device = modem_.device();
    line_.flow = "none";
  }
  std::string Test() {
    report_.clear();
    return TestLine(line_, report_);
  }

  LockFolder folder_;
  PtyModem modem_;
  LineConfig line_;
  std::string report_;
};

TEST_F(CheckedLine, GoodSettingsAreFine) {
  EXPECT_EQ(CheckDevice(line_.device), "");
  for (const char* flow : {"rtscts", "xonxoff", "none"}) {
    line_.flow = flow;
    EXPECT_EQ(CheckSettings(line_), "");
  }
}

TEST_F(CheckedLine, TcpLineHasNothingToAsk) {
  line_ = {};
  line_.kind = LineKind::kTcp;
  EXPECT_EQ(Test(), "");
}

TEST_F(CheckedLine, BadDeviceIsNamed) {
  EXPECT_EQ(CheckDevice(""), "the device \"\" does not exist");
  EXPECT_EQ(CheckDevice("/dev/ttyNoSuch0"), "the device \"/dev/ttyNoSuch0\" does not exist");
  EXPECT_EQ(CheckDevice("/etc/hostname"), "\"/etc/hostname\" is not a serial device");
  EXPECT_EQ(CheckDevice("/dev/null"), "\"/dev/null\" is not a serial device");
}

TEST_F(CheckedLine, BadFramingIsNamed) {
  line_.framing = "7E1-hard";
  EXPECT_EQ(CheckSettings(line_),
            "\"7E1-hard\" is not a framing; use one such as 8N1, 7E1 or 7E1-soft");
}

TEST_F(CheckedLine, BadFlowIsNamed) {
  line_.flow = "dsrdtr";
  EXPECT_EQ(CheckSettings(line_), "\"dsrdtr\" is not a flow control; use rtscts, xonxoff or none");
}

TEST_F(CheckedLine, CommandOfTwoLinesIsRefused) {
  line_.init = "ATZ\rATD110";
  EXPECT_EQ(CheckSettings(line_), "an AT command must not contain a line end");
  line_.init = "";
  line_.dial = "ATD0\n";
  EXPECT_EQ(CheckSettings(line_), "an AT command must not contain a line end");
}

TEST_F(CheckedLine, ModemIsAskedForItsAnswers) {
  modem_.On("AT", "AT\r\r\nOK\r\n");
  modem_.On("ATI", "\r\nmodel 5\r\n\r\nOK\r\n");
  EXPECT_EQ(Test(), "");
  EXPECT_EQ(report_, "AT:\nAT\nOK\nATZ:\nOK\nATI:\nmodel 5\nOK\n");
  EXPECT_EQ(modem_.received(), "AT\rATZ\rATI\r");
}

TEST_F(CheckedLine, InitThatTheModemRefusesIsNamed) {
  line_.init = "QQ";
  modem_.On("AT", "\r\nOK\r\n");
  modem_.On("ATQQ", "\r\nERROR\r\n");
  EXPECT_EQ(Test(), "The modem on " + modem_.device() + " does not take ATQQ");
  EXPECT_EQ(report_, "AT:\nOK\nATQQ:\nERROR\n");
}

TEST_F(CheckedLine, VanishedModemIsNamed) {
  modem_.Vanish();
  EXPECT_NE(Test(), "");
}

TEST_F(CheckedLine, DeviceInUseIsNamedWithItsOwner) {
  std::ofstream(folder_.FileOf(modem_.device())) << getppid();
  EXPECT_THAT(Test(), HasSubstr("(process " + std::to_string(getppid()) + ")"));
}

TEST_F(CheckedLine, AModemSaysWhetherItHearsADialTone) {
  modem_.On("ATH", "\r\nOK\r\n");
  modem_.On("ATX4D;", "\r\nOK\r\n");
  EXPECT_EQ(HearsDialTone(line_), true);
  EXPECT_EQ(modem_.received(), "ATZ\rATX4D;\rATH\r");
  modem_.On("ATX4D;", "\r\nNO DIALTONE\r\n");
  EXPECT_EQ(HearsDialTone(line_), false);
}

TEST_F(CheckedLine, AModemThatCannotListenForAToneTellsNothing) {
  modem_.On("ATH", "\r\nOK\r\n");
  modem_.On("ATX4D;", "\r\nERROR\r\n");
  EXPECT_EQ(HearsDialTone(line_), std::nullopt);
  line_.device = "/dev/ttyNoSuch0";
  EXPECT_EQ(HearsDialTone(line_), std::nullopt);
  line_.kind = LineKind::kTcp;
  EXPECT_EQ(HearsDialTone(line_), std::nullopt);
}

}  // namespace
}  // namespace mvsms::posix
