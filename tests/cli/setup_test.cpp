// mvsms setup: the questions, what is stored after the last one, and what is not before.
#include <filesystem>
#include <fstream>

#include "cli/posix/serial_devices.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class SetupCommand : public CommandTest {
 protected:
  Outcome Answer(const std::string& answers) { return Run({"setup"}, answers); }
};

TEST_F(SetupCommand, TheAnswersAreStoredAndTheTestPageDecidesTheExitCode) {
  const Outcome outcome = Answer(
      "t\n"            // a TCP line
      "\n"             // Modem
      "UCP\n"          //
      "localhost:1\n"  // where nothing listens
      "\n"             // operation 51
      "\n"             // Pager
      "01711234567\n"  //
      "y\n"            // store
      "y\n");          // send
  EXPECT_EQ(outcome.exit_code, kExitRetry) << outcome.err;
  EXPECT_EQ(Ask({"modem", "list"})[0]["kind"], "tcp");
  EXPECT_EQ(Do({"config", "get", "DefaultModem"}), "Modem\n");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
  EXPECT_EQ(Do({"config", "get", "ReplacePlus"}), "1\n");
  const Json service = Ask({"service", "show", "Pager"});
  EXPECT_EQ(service["Protocol"], "UCP");
  EXPECT_EQ(service["UCPCommand"], "51");
  EXPECT_EQ(service["ModemName"], "Modem");
  EXPECT_EQ(service["ModemSetting"], "8N1");
}

TEST_F(SetupCommand, AWrongAnswerIsToldAndAskedForAgain) {
  const Outcome outcome = Answer(
      "/dev/no-such-device\nt\nDefault\nNet\nfax\nTAP\n0123\nlocalhost:1\n\nNight\nnobody\n0171\n"
      "y\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("does not exist"), HasSubstr("means the default modem"),
                    HasSubstr("Protocol must be TAP or UCP"), HasSubstr("host:port is wanted"),
                    HasSubstr("a number is wanted")));
  EXPECT_EQ(Do({"service", "get", "Night", "PhoneNumber"}), "localhost:1\n");
}

TEST_F(SetupCommand, UntilTheLastAnswerNothingIsStored) {
  const std::string before = State();
  for (const char* answers :
       {"", "t\n", "t\n\nUCP\nlocalhost:1\n\n\n0171\n", "t\n\nUCP\nlocalhost:1\n\n\n0171\nn\n"}) {
    const Outcome outcome = Answer(answers);
    EXPECT_EQ(outcome.exit_code, kExitFailed);
    EXPECT_THAT(outcome.err, HasSubstr("nothing was stored"));
    EXPECT_EQ(State(), before);
  }
}

TEST_F(SetupCommand, AModemThatDoesNotAnswerIsTakenOnlyOnRequest) {
  const Outcome outcome = Answer(
      "/dev/ptmx\n"  // no modem behind it
      "y\n"          // choose again
      "/dev/ptmx\nn\n"
      "\n\n0123\n\n\n0171\ny\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_EQ(Ask({"modem", "show", "Modem"})["device"], "/dev/ptmx");
}

TEST_F(SetupCommand, ACatalogueIsOfferedAndBringsItsRoutes) {
  std::ofstream(Path("smstransports.inf"))
      << "7,Alpha,Germany,TAP,pw,,localhost:1,160,2,49,Auto,7,E,1,2000,3,0171;0172\n";
  const Outcome outcome = Answer("t\n\n9\n7\n\n0171\ny\nn\n");
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("7  Alpha (Germany)"), HasSubstr("no such number"),
                                 Not(HasSubstr("pw"))));
  EXPECT_EQ(Ask({"route", "test", "01729"})["service"], "Alpha");
  EXPECT_EQ(Ask({"service", "show", "Alpha"})["ModemSetting"], "7E1");
}

TEST_F(SetupCommand, ASecondTimeAddsAndLeavesTheDefaults) {
  const std::string answers = "t\n\nUCP\nlocalhost:1\n\n\n0171\ny\nn\n";
  Answer(answers);
  Answer(answers);
  EXPECT_EQ(Ask({"modem", "list"})[1]["name"], "Modem2");
  EXPECT_EQ(Ask({"service", "show", "Pager2"})["ModemName"], "Modem2");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
}

TEST(SerialDevices, AreNamedByTheirLastingNamesWhereTheyHaveOne) {
  const TempFolder folder;
  const std::filesystem::path dev = folder.path();
  std::filesystem::create_directories(dev / "serial" / "by-id");
  for (const char* name : {"ttyUSB0", "ttyUSB1", "ttyACM0", "ttyS0", "tty1", "null"}) {
    std::ofstream(dev / name) << "";
  }
  std::filesystem::create_symlink("../../ttyUSB1", dev / "serial" / "by-id" / "usb-modem");
  EXPECT_THAT(SerialDevices(dev), ElementsAre(dev / "serial/by-id/usb-modem", dev / "ttyACM0",
                                              dev / "ttyS0", dev / "ttyUSB0"));
  EXPECT_THAT(SerialDevices(dev / "none"), ElementsAre());
}

}  // namespace
}  // namespace mvsms::cli
