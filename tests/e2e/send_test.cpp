// Messages on their whole way: mvsms send, the modem or socket, the line, the message centre, and
// what the command says in the end.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "tests/e2e/trip.h"

namespace mvsms::cli {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int kExitRefused = 1;

// A pseudo-terminal at whose other end nobody reads.
class SilentTerminal {
 public:
  SilentTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    grantpt(master_);
    unlockpt(master_);
  }
  ~SilentTerminal() { close(master_); }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  std::string path() const { return ptsname(master_); }

 private:
  int master_;
};

class SendTrip : public Trip {
 protected:
  static void ExpectAccepted(const Ending& ending) {
    EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.out << ending.err;
    EXPECT_EQ(ending.err, "");
    EXPECT_EQ(ending.json()["result"], true);
    EXPECT_EQ(ending.json()["errors"], Json::array());
  }
  static void ExpectFailed(const Ending& ending, const char* outcome, int exit_code,
                           const std::string& status) {
    EXPECT_EQ(ending.exit_code, exit_code) << ending.out << ending.err;
    const Json json = ending.json();
    EXPECT_EQ(json["result"], false);
    EXPECT_EQ(json["outcome"], outcome);
    EXPECT_EQ(json["exit_code"], exit_code);
    EXPECT_THAT(json["status"].dump(), HasSubstr(status));
    EXPECT_THAT(ending.err, StartsWith("mvsms: " + json["reason"].get<std::string>() + "; "));
  }
};

// --- accepted

TEST_F(SendTrip, TapOverAModem) {
  CentreOnModem("tap");
  ExpectAccepted(Send({"Pump 3 has stopped"}));
  EXPECT_THAT(Received(), ElementsAre("0172: Pump 3 has stopped, accepted"));
}

TEST_F(SendTrip, TapOverTcp) {
  CentreOnTcp("tap");
  ExpectAccepted(Send({"Pump 3 has stopped"}));
  EXPECT_THAT(Received(), ElementsAre("0172: Pump 3 has stopped, accepted"));
}

TEST_F(SendTrip, TapInTwoPiecesOverOneCall) {
  CentreOnModem("tap", {}, {"MaxLength=4", "MaxMessages=2"});
  ExpectAccepted(Send({"abcdefg"}));
  EXPECT_THAT(Received(), ElementsAre("0172: abcd, accepted", "0172: efg, accepted"));
}

TEST_F(SendTrip, TapWithAPasswordAfterARefusedLogin) {
  CentreOnModem("tap", {"login-refusals=1", "password=geheim"}, {"Password=PG1geheim"});
  ExpectAccepted(Send({"text"}));
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, TapThroughNoiseAndAnswersInPieces) {
  CentreOnModem("tap", {"chunk-bytes=1", "chunk-gap=5", "noise=<xFF>~~", "connect-text=2400/V42"});
  ExpectAccepted(Send({"text"}));
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, TapToACentreThatWantsEvenParity) {
  CentreOnModem("tap", {"even-parity=on"});
  Do({"modem", "set", "Modem", "--framing", "7E1-soft"});
  ExpectAccepted(Send({"text"}));
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, UcpOverAModemWithCharactersBeyondAscii) {
  CentreOnModem("ucp");
  ExpectAccepted(Send({"--from", "0301230", "Höhe 3 é: 5£"}));
  EXPECT_THAT(Received(), ElementsAre("0172: Höhe 3 é: 5£, accepted"));
}

TEST_F(SendTrip, UcpOverTcpWithTheOldOperation) {
  CentreOnTcp("ucp", {}, {"UCPCommand=01"});
  ExpectAccepted(Send({"Backup has finished"}));
  EXPECT_THAT(Received(), ElementsAre("0172: Backup has finished, accepted"));
}

TEST_F(SendTrip, UcpOverAModemBehindASerialServer) {
  CentreOnSerialServer("ucp");
  ExpectAccepted(Send({"Backup has finished"}));
  EXPECT_THAT(Received(), ElementsAre("0172: Backup has finished, accepted"));
}

TEST_F(SendTrip, RoutesANumberAndNormalisesIt) {
  CentreOnTcp("ucp");
  Do({"config", "set", "DefaultService", ""});
  Do({"service", "add", "Other", "PhoneNumber=1"});
  Do({"config", "set", "DefaultService", "Other"});
  Do({"config", "set", "ReplacePlus", "1"});
  Do({"route", "add", "0049", "Pager"});
  const Ending ending = Run({"send", "--json", "--to", "+49 (171) 123-456", "text"});
  ExpectAccepted(ending);
  EXPECT_EQ(ending.json()["recipient"], "0049171123456");
  EXPECT_EQ(ending.json()["service"], "Pager");
  EXPECT_THAT(Received(), ElementsAre("0049171123456: text, accepted"));
}

// --- refused by the centre

TEST_F(SendTrip, TapRefusalIsForGood) {
  CentreOnModem("tap", {"refuse=all"});
  ExpectFailed(Send({"text"}), "refused", kExitRefused, "Response received: 511 Invalid pager ID");
  EXPECT_THAT(Received(), ElementsAre("0172: text, refused"));
}

TEST_F(SendTrip, UcpRefusalSuggestsARetryByItsCode) {
  CentreOnModem("ucp", {"refuse=all", "ucp-refusal=4"});
  ExpectFailed(Send({"text"}), "refused", kExitRetry, "Failed to send message: ");
}

TEST_F(SendTrip, UcpRefusalForGoodSuggestsNone) {
  CentreOnTcp("ucp", {"refuse=all", "ucp-refusal=2"});
  ExpectFailed(Send({"text"}), "refused", kExitRefused, "Failed to send message: ");
}

TEST_F(SendTrip, UcpAnswerWithAWrongChecksumTellsNothing) {
  CentreOnTcp("ucp", {"wrong-checksums=all"});
  ExpectFailed(Send({"text"}), "unknown", kExitUnknown, "Wrong checksum");
}

TEST_F(SendTrip, QuietStillSaysWhyTheCentreRefused) {
  CentreOnTcp("ucp", {"refuse=all", "ucp-refusal=2"});
  const Ending ending = Run({"send", "--quiet", "--to", "0172", "text"});
  EXPECT_EQ(ending.out, "");
  EXPECT_THAT(ending.err, StartsWith("mvsms: the message centre refused the message: "));
}

TEST_F(SendTrip, AWrongPasswordIsNamedAndNeverShown) {
  CentreOnModem("tap", {"password=geheim"}, {"Password=TopSecret9"});
  const Ending ending = Send({"text"});
  EXPECT_EQ(ending.exit_code, kExitRefused);
  EXPECT_EQ(ending.json()["outcome"], "refused");
  EXPECT_THAT(ending.err, HasSubstr("check the password (identifier) of the service \"Pager\""));
  EXPECT_THAT(ending.out + ending.err, Not(HasSubstr("TopSecret9")));
}

// --- no call

TEST_F(SendTrip, BusyLine) {
  CentreOnModem("tap", {"call=busy"});
  const Ending ending = Send({"text"});
  ExpectFailed(ending, "unreachable", kExitRetry, "Unable to connect, reason: Busy");
  EXPECT_THAT(ending.err, HasSubstr("is busy; try again later"));
}

TEST_F(SendTrip, NoAnswer) {
  CentreOnModem("ucp", {"call=no-answer"});
  ExpectFailed(Send({"text"}), "unreachable", kExitRetry, "Unable to connect, reason: No answer");
}

TEST_F(SendTrip, NobodyListensOnTheSocket) {
  CentreOnTcp("ucp");
  centre_.reset();
  ExpectFailed(Send({"text"}), "unreachable", kExitRetry, "Unable to connect, reason: ");
}

TEST_F(SendTrip, NoModemOnTheDevice) {
  CentreOnModem("tap");
  const SilentTerminal nobody;
  Do({"modem", "set", "Modem", "--device", nobody.path()});
  ExpectFailed(Send({"text"}), "unreachable", kExitRetry, "4570: Unable to connect");
}

// --- the call breaks, or the centre says nothing

TEST_F(SendTrip, TapDroppedBeforeThePrompt) {
  CentreOnModem("tap", {"carrier-loss=700"});
  ExpectFailed(Send({"text"}), "unreachable", kExitRetry,
               "Time limit exceeded waiting for TAP login prompt");
  EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(SendTrip, TapDroppedInTheBlock) {
  CentreOnTcp("tap", {"hang-up-after-received=20"});
  ExpectFailed(Send({"text"}), "unknown", kExitUnknown,
               "Retry limit exceeded waiting for TAP message response");
  EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(SendTrip, UcpDroppedInTheFrame) {
  CentreOnTcp("ucp", {"hang-up-after-received=10"}, {"TimeOut=50"});
  ExpectFailed(Send({"text"}), "unknown", kExitUnknown, "No response received within timeout!");
  EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(SendTrip, TapCentreWithoutAPrompt) {
  CentreOnModem("tap", {"silent-at=prompt"});
  ExpectFailed(Send({"text"}), "unreachable", kExitRetry,
               "Time limit exceeded waiting for TAP login prompt");
}

TEST_F(SendTrip, UcpCentreWithoutAnAnswer) {
  CentreOnTcp("ucp", {"silent-at=message"}, {"TimeOut=50"});
  ExpectFailed(Send({"text"}), "unknown", kExitUnknown, "No response received within timeout!");
}

// Where a real line drops is left to chance; these places are a sample of all of them, each of
// which drops once in virtual time.
struct Drop {
  const char* protocol;
  const char* line;
  const char* direction;  // of the bytes that are counted, as the centre sees it
  int bytes;              // that pass before
};

void PrintTo(const Drop& drop, std::ostream* out) {
  *out << drop.protocol << drop.line << drop.direction << drop.bytes;
}

class DroppedTrip : public SendTrip, public ::testing::WithParamInterface<Drop> {};

INSTANTIATE_TEST_SUITE_P(
    Sample, DroppedTrip,
    ::testing::Values(Drop{"tap", "Modem", "received", 1}, Drop{"tap", "Modem", "received", 4},
                      Drop{"tap", "Modem", "received", 21}, Drop{"tap", "Modem", "sent", 2},
                      Drop{"tap", "Modem", "sent", 12}, Drop{"tap", "Tcp", "received", 6},
                      Drop{"tap", "Tcp", "sent", 3}, Drop{"tap", "Tcp", "sent", 25},
                      Drop{"ucp", "Modem", "received", 1}, Drop{"ucp", "Modem", "received", 60},
                      Drop{"ucp", "Modem", "sent", 1}, Drop{"ucp", "Modem", "sent", 20},
                      Drop{"ucp", "Tcp", "received", 30}, Drop{"ucp", "Tcp", "sent", 10}),
    [](const ::testing::TestParamInfo<Drop>& drop) {
      return ::testing::PrintToString(drop.param);
    });

TEST_P(DroppedTrip, IsNeverCalledAcceptedAndEndsTheCall) {
  const Drop& drop = GetParam();
  const std::string setting =
      std::string("hang-up-after-") + drop.direction + "=" + std::to_string(drop.bytes);
  const Words service = {"TimeOut=100"};
  drop.line == std::string("Tcp") ? CentreOnTcp(drop.protocol, {setting}, service)
                                  : CentreOnModem(drop.protocol, {setting}, service);
  const Ending ending = Send({"Pump 3 has stopped"});
  EXPECT_TRUE(ending.exit_code == kExitUnknown || ending.exit_code == kExitRetry) << ending.out;
  EXPECT_EQ(ending.json()["result"], false);
  EXPECT_THAT(ending.json()["status"].dump(), HasSubstr("Connection closed."));
  EXPECT_TRUE(CallEnds());
}

// --- aborted

TEST_F(SendTrip, CtrlCDuringTheLoginHangsUp) {
  CentreOnModem("tap", {"silent-at=login"});
  const auto send = Start({"send", "--to", "0172", "text"});
  ASSERT_TRUE(WaitForLine(*send, "Sending Terminal ID"));
  send->Signal(SIGINT);
  EXPECT_TRUE(CallEnds());
  const Ending ending = Finish(*send);
  EXPECT_EQ(ending.exit_code, 128 + SIGINT);
  EXPECT_THAT(ending.out, HasSubstr("Sending was aborted!"));
  EXPECT_THAT(ending.out, HasSubstr("Connection closed."));
  EXPECT_THAT(ending.err, HasSubstr("the send was aborted before the message went out"));
}

TEST_F(SendTrip, SigtermWhileDiallingGivesUpTheCall) {
  CentreOnModem("tap", {"ring-time=30000"});
  const auto send = Start(SendCommand({"text"}));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(send->Wait(std::chrono::seconds(2)).has_value());
  send->Signal(SIGTERM);
  const Ending ending = Finish(*send);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
  EXPECT_EQ(ending.exit_code, 128 + SIGTERM);
  EXPECT_EQ(ending.json()["aborted"], true);
  EXPECT_EQ(ending.json()["outcome"], "unreachable");
}

TEST_F(SendTrip, CtrlCAfterTheMessageLeavesItsFateUnknown) {
  CentreOnTcp("tap", {"silent-at=message"});
  const auto send = Start({"send", "--to", "0172", "text"});
  ASSERT_TRUE(WaitForLine(*send, "Sending TAP Message"));
  send->Signal(SIGINT);
  const Ending ending = Finish(*send);
  EXPECT_EQ(ending.exit_code, kExitUnknown);
  EXPECT_THAT(ending.err, HasSubstr("aborted after the message went out"));
}

TEST_F(SendTrip, ATimeoutAbortsTheSend) {
  CentreOnModem("tap", {"ring-time=30000"});
  const Ending ending = Send({"--timeout", "1", "text"});
  EXPECT_EQ(ending.exit_code, kExitRetry);
  EXPECT_EQ(ending.json()["outcome"], "unreachable");
  EXPECT_THAT(ending.err, HasSubstr("the send was aborted before the message went out"));
}

TEST_F(SendTrip, ASecondCtrlCEndsTheProgramAtOnce) {
  CentreOnModem("tap", {"silent-at=prompt"});
  const auto send = Start({"send", "--to", "0172", "text"});
  ASSERT_TRUE(WaitForLine(*send, "Sending <CR>"));
  send->Signal(SIGINT);
  // Two signals that are pending at the same time count as one.
  EXPECT_FALSE(send->Wait(std::chrono::milliseconds(100)).has_value());
  send->Signal(SIGINT);
  EXPECT_EQ(send->Wait(std::chrono::seconds(5)), 128 + SIGINT);
}

TEST_F(SendTrip, TheEndOfTheTerminalHangsUp) {
  CentreOnModem("tap", {"silent-at=login"});
  const auto send = Start({"send", "--to", "0172", "text"});
  ASSERT_TRUE(WaitForLine(*send, "Sending Terminal ID"));
  send->Signal(SIGHUP);
  EXPECT_TRUE(CallEnds());
  EXPECT_EQ(Finish(*send).exit_code, 128 + SIGHUP);
}

TEST_F(SendTrip, GoesOnAfterTheEndOfTheTerminalWhenToldTo) {
  CentreOnTcp("tap");
  RunInShell("trap '' HUP; \"$0\" send --to 0172 text >&2 & sleep 3; kill -HUP $!; wait $!");
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, GoesOnWhenNobodyReadsItsProgress) {
  CentreOnTcp("tap");
  EXPECT_EQ(RunInShell("{ \"$0\" send --to 0172 text; echo $? >&2; } | head -n 1").err, "0\n");
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, AFullDiskDoesNotKeepAMessageFromGoingOut) {
  CentreOnTcp("tap");
  // What is written ends at this size: no setting can be added, and no log.
  const Ending ending = RunInShell("ulimit -f 0; \"$0\" send --to 0172 --log " + home_.path() +
                                   "/my.log text && ! \"$0\" config set Retries 7");
  EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.err;
  EXPECT_THAT(ending.err, HasSubstr("settings.db cannot be used"));
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

// --- the example script

TEST_F(SendTrip, TheExampleTriesABusyLineAgain) {
  CentreOnModem("tap", {"call=busy", "failed-calls=1"});
  Do({"config", "set", "RetryDelay", "0"});
  const Ending ending = RunInShell("MVSMS=\"$0\" " MVSMS_EXAMPLES "/send.sh 0172 text");
  EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.err;
  EXPECT_THAT(ending.err, HasSubstr("is busy"));
  EXPECT_THAT(Received(), ElementsAre("0172: text, accepted"));
}

TEST_F(SendTrip, TheExampleTriesAsOftenAsTheProfileSays) {
  CentreOnModem("tap", {"call=busy"});
  Do({"config", "set", "Retries", "2"});
  Do({"config", "set", "RetryDelay", "0"});
  const Ending ending = RunInShell("MVSMS=\"$0\" " MVSMS_EXAMPLES "/send.sh 0172 text");
  EXPECT_EQ(ending.exit_code, kExitRetry);
  EXPECT_EQ(std::count(ending.err.begin(), ending.err.end(), '\n'), 2) << ending.err;
}

TEST_F(SendTrip, TheExampleTakesARefusalForGood) {
  CentreOnTcp("ucp", {"refuse=all", "ucp-refusal=2"});
  const Ending ending = RunInShell("MVSMS=\"$0\" " MVSMS_EXAMPLES "/send.sh 0172 '-x text'");
  EXPECT_EQ(ending.exit_code, kExitRefused) << ending.err;
  EXPECT_THAT(Received(), ElementsAre("0172: -x text, refused"));
  EXPECT_EQ(RunInShell("MVSMS=\"$0\" " MVSMS_EXAMPLES "/send.sh 0172").exit_code, kExitUsage);
}

// --- two at once, progress, log

TEST_F(SendTrip, AModemInUseIsReportedWithItsOwner) {
  CentreOnModem("tap", {"silent-at=prompt"});
  const auto first = Start({"send", "--to", "0172", "text"});
  ASSERT_TRUE(WaitForLine(*first, "Connected."));
  const Ending second = Send({"text"});
  ExpectFailed(second, "unreachable", kExitRetry, "The selected modem (Modem) cannot be used");
  EXPECT_THAT(second.err, HasSubstr(device_));
  EXPECT_THAT(second.err, HasSubstr("mvsms"));
}

TEST_F(SendTrip, ProgressComesLineByLineAndGoesIntoTheLog) {
  CentreOnTcp("ucp");
  const auto follow = Start({"log", "--follow", "--file", home_ / "my.log"});
  const auto send = Start({"send", "--to", "0172", "--log", home_ / "my.log", "text"});
  EXPECT_TRUE(WaitForLine(*send, "Preparing input data."));
  EXPECT_FALSE(send->Wait({}).has_value());
  EXPECT_TRUE(WaitForLine(*send, "Connected."));
  EXPECT_FALSE(send->Wait({}).has_value());
  const Ending ending = Finish(*send);
  EXPECT_EQ(ending.exit_code, kExitAccepted);
  EXPECT_THAT(ending.out, HasSubstr("<STX>00/"));
  EXPECT_TRUE(WaitForLine(*follow, "Result:  Success"));
  follow->Signal(SIGINT);
  EXPECT_EQ(follow->Wait(std::chrono::seconds(5)), kExitAccepted);
}

// --- trying a modem

TEST_F(SendTrip, ModemTestHearsTheModemAndCalls) {
  CentreOnModem("ucp");
  const Ending ask = Run({"modem", "test", "Modem"});
  EXPECT_EQ(ask.exit_code, kExitAccepted) << ask.err;
  EXPECT_THAT(ask.out, HasSubstr("answers"));
  const Ending call = Run({"modem", "test", "Modem", "--dial", "0301234", "--service", "Pager"});
  EXPECT_EQ(call.exit_code, kExitAccepted) << call.err;
  EXPECT_THAT(call.out, HasSubstr("connected to 0301234 and hung up; the centre speaks UCP"));
}

TEST_F(SendTrip, ModemTestTellsWhyThereIsNoCall) {
  CentreOnModem("ucp", {"call=busy"});
  const Ending call = Run({"modem", "test", "Modem", "--dial", "0301234"});
  EXPECT_EQ(call.exit_code, kExitRetry);
  EXPECT_THAT(call.out, HasSubstr("0301234 is busy"));
}

// --- the demonstration

TEST(Demo, EveryMessageGoesAsItShould) {
  ChildProcess demo({MVSMS_PROGRAM, "demo"}, {});
  EXPECT_EQ(demo.Wait(std::chrono::seconds(100)), kExitAccepted) << demo.out() << demo.err();
  EXPECT_THAT(demo.out(), HasSubstr("centre Pager | TAP  page  00491711234567"));
}

}  // namespace
}  // namespace mvsms::cli
