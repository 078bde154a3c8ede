// mvsms modem test: what it prints, sets and ends with. What it finds is tested where it is found.
#include <sys/socket.h>

#include <fstream>
#include <thread>

#include "backends/posix/line/ucp_login.h"
#include "tests/backends/posix/listener.h"
#include "tests/cli/command_test.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::cli {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class ModemTest : public CommandTest {
 protected:
  void AddModemOn(const std::string& name, const std::string& device) {
    Do({"modem", "add", name, "--kind", "hayes", "--device", device, "--flow", "none"});
  }
  /// A modem that answers, but in numbers unless it is told otherwise.
  void AddNumericModem() {
    modem_.On("AT", "0\r");
    modem_.On("ATZ", "0\r");
    modem_.On("AT&FV1", "\r\nOK\r\n");
    modem_.On("ATI", "\r\n56000\r\n\r\nOK\r\n");
    AddModemOn("Modem 1", modem_.device());
  }

  posix::LockFolder locks_;
  posix::PtyModem modem_;
};

TEST_F(ModemTest, AGoodModemIsWell) {
  modem_.On("AT", "\r\nOK\r\n");
  modem_.On("ATI", "\r\n56000\r\n\r\nOK\r\n");
  AddModemOn("Modem1", modem_.device());
  EXPECT_THAT(
      Do({"modem", "test", "Modem1"}),
      AllOf(HasSubstr("  asking for an answer (AT) (at most 1 s)\n"),
            HasSubstr("Modem1: the modem says that it is 56000\n"),
            HasSubstr("Modem1: the modem on " + modem_.device() + " answers; nothing is wrong\n")));
}

TEST_F(ModemTest, TheSettingToSetIsNamedAndNothingIsSet) {
  AddNumericModem();
  const std::string before = State();
  const Outcome outcome = Run({"modem", "test", "Modem 1"});
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  EXPECT_THAT(outcome.out, HasSubstr("answers in numbers (ATV0)"));
  EXPECT_THAT(outcome.out,
              HasSubstr("Modem 1: set this: mvsms modem set 'Modem 1' --init 'AT&FV1'\n"));
  EXPECT_EQ(State(), before);
}

TEST_F(ModemTest, FixSetsItAndSaysFromWhatToWhat) {
  AddNumericModem();
  const Outcome outcome = Run({"modem", "test", "Modem 1", "--fix"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_THAT(outcome.out, HasSubstr("Modem 1: changed: init from nothing to AT&FV1\n"));
  EXPECT_EQ(Ask({"modem", "show", "Modem 1"})["init"], "AT&FV1");
}

TEST_F(ModemTest, ProgramsGetOneObject) {
  AddNumericModem();
  const Outcome outcome = Run({"modem", "test", "Modem 1", "--json"});
  const Json json = Json::parse(outcome.out);
  EXPECT_EQ(json["well"], false);
  EXPECT_EQ(json["seen"]["answer_hex"], "30 0D");
  EXPECT_EQ(json["seen"]["model"], "56000");
  EXPECT_EQ(json["findings"][0]["id"], "numeric");
  EXPECT_EQ(
      json["settings"][0],
      (Json{{"of", "modem"}, {"name", "init"}, {"from", ""}, {"to", "AT&FV1"}, {"set", false}}));
}

TEST_F(ModemTest, AModemInUseIsForLater) {
  AddNumericModem();
  std::ofstream(locks_.FileOf(modem_.device())) << getppid();
  const Outcome outcome = Run({"modem", "test", "Modem 1"});
  EXPECT_EQ(outcome.exit_code, kExitRetry);
  EXPECT_THAT(outcome.out, HasSubstr("is in use by"));
}

TEST_F(ModemTest, ABusyNumberIsForLater) {
  modem_.On("AT", "\r\nOK\r\n");
  modem_.On("ATI", "\r\nOK\r\n");
  modem_.On("ATD0301", "\r\nBUSY\r\n");
  AddModemOn("Modem1", modem_.device());
  const Outcome outcome = Run({"modem", "test", "Modem1", "--dial", "030-1"});
  EXPECT_EQ(outcome.exit_code, kExitRetry);
  EXPECT_THAT(outcome.out, HasSubstr("Modem1: 0301 is busy\n"));
}

TEST_F(ModemTest, EachMemberOfAPoolIsLookedAt) {
  AddNumericModem();
  posix::PtyModem good;
  good.On("AT", "\r\nOK\r\n");
  good.On("ATI", "\r\nOK\r\n");
  AddModemOn("Modem2", good.device());
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem 1,Modem2"});
  const Outcome outcome = Run({"modem", "test", "Pool", "--json"});
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  const Json json = Json::parse(outcome.out);
  EXPECT_EQ(json["members"][0]["well"], false);
  EXPECT_EQ(json["members"][1]["well"], true);
}

TEST_F(ModemTest, WithoutANumberThereIsNothingToConnectTo) {
  Do({"modem", "add", "Net", "--kind", "tcp"});
  Refuse({"modem", "test", "Net"}, "--dial HOST:PORT or --service NAME");
  Refuse({"modem", "test", "Net", "--service", "Nowhere"}, "Nowhere");
  Run({"service", "add", "Blank", "Protocol=TAP"});
  AddNumericModem();
  Refuse({"modem", "test", "Modem 1", "--service", "Blank"}, "has no PhoneNumber");
  Refuse({"modem", "test", "Modem 1", "--dial", "-"}, "nothing to dial in \"-\"");
}

TEST_F(ModemTest, ANumberWhereNobodyListensIsNamed) {
  Do({"modem", "add", "Net", "--kind", "tcp"});
  const Outcome outcome = Run({"modem", "test", "Net", "--dial", "127.0.0.1:1"});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_THAT(outcome.out, HasSubstr("Net: 127.0.0.1:1 refuses connections"));
}

TEST_F(ModemTest, TheProtocolOfTheServiceIsSetByWhatTheCentreSpeaks) {
  const posix::Listener listener;
  std::jthread centre([&] {
    const posix::UniqueFd caller = listener.Accept();
    const std::string frame = posix::UcpFrame("60", "hello/");
    send(caller.get(), frame.data(), frame.size(), MSG_NOSIGNAL);
    char heard[64];
    while (recv(caller.get(), heard, sizeof heard, 0) > 0) {
    }
  });
  Do({"modem", "add", "Net", "--kind", "tcp"});
  Run({"service", "add", "City", "Protocol=TAP", "PhoneNumber=127.0.0.1:" + listener.port()});
  const Outcome outcome = Run({"modem", "test", "Net", "--service", "City", "--fix"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.out;
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("Net: the far end's first two seconds:\n"),
                                 HasSubstr("  02 30 30 2F "), HasSubstr("  <STX>00/"),
                                 HasSubstr("Net: the centre speaks UCP, and the service has"),
                                 HasSubstr("Net: changed: Protocol from TAP to UCP\n"),
                                 HasSubstr("Net: changed: UCPCommand from nothing to 51\n")));
  const Json service = Ask({"service", "show", "City"});
  EXPECT_EQ(service["Protocol"], "UCP");
  EXPECT_EQ(service["UCPCommand"], "51");
}

}  // namespace
}  // namespace mvsms::cli
