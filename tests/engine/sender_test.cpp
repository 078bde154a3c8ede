// Whole sends that succeed, and what a Sender keeps and tells its host.
#include "engine/sender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/host.h"

namespace mvsms {
namespace {

using test::TapBlock;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class SenderTest : public testing::Test {
 protected:
  memory::Millis Elapsed() { return host_.platform.slept(); }

  test::Host host_;
  Sender& sender_ = host_.sender;
};

// --- the two protocols, line by line -----------------------------------------------------------

TEST_F(SenderTest, TapSendReportsEveryStep) {
  host_.AddTapService();
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(
      host_.Lines(),
      ElementsAreArray(std::vector<std::string>{
          test::kBeginLine + "0049 171-5", "",  //
          "Preparing input data.", "Entry not found in routing table; using default service: Pager",
          "Dialling Pager (0123456) using modem: Modem", "Dialed number: 0123456", "Connected.",
          "Initiating TAP Login Session", "Sending <CR>",
          "Transmitter Response: ID=", "Received Logon prompt: ID=", "Sending Terminal ID: PG1",
          "Transmitter acknowledge: <CR><ACK><CR><ESC>[p<CR>",
          "Sending TAP Message: \x02"
          "00491715<CR>Hello<CR>\x03"
          "3:><CR>",
          "Response received: <CR><ACK><CR>", "Closing connection..", "Connection closed.",
          test::kSuccessLine}));
  EXPECT_THAT(host_.errors, IsEmpty());
}

TEST_F(SenderTest, UcpSendReportsEveryStep) {
  host_.AddUcpService();
  EXPECT_TRUE(host_.Send("Hello"));
  ASSERT_THAT(host_.ucp.frames, SizeIs(1));
  EXPECT_THAT(
      host_.Lines(),
      ElementsAreArray(std::vector<std::string>{
          test::kBeginLine + "0049 171-5", "",  //
          "Preparing input data.", "Entry not found in routing table; using default service: Pager",
          "Dialling Pager (0123456) using modem: Modem", "Dialed number: 0123456", "Connected.",
          "Initiating UCP protocol...", "UCP Message sent: " + host_.ucp.frames[0],
          "Received response: " + test::UcpResult("A//pager:1/"), "Message sent!",
          "Closing connection..", "Connection closed.", test::kSuccessLine}));
  EXPECT_THAT(host_.errors, IsEmpty());
}

TEST_F(SenderTest, TheSettingsAreReadInFewGoes) {
  host_.AddUcpService();
  const int before = host_.platform.registry_readings();
  EXPECT_TRUE(host_.Send("Hello"));
  // The profile's values, the rules for the address (it is mended twice), the route, the service.
  EXPECT_EQ(host_.platform.registry_readings() - before, 5);
}

TEST_F(SenderTest, StatusStartsWithALineBreakAndNamesTheTime) {
  host_.AddTapService();
  const std::string begin = "\r\n****************** " + host_.Now() +
                            " - Begin send message to 0049 171-5\r\n\r\nPreparing input data.";
  host_.Send("Hello");
  EXPECT_THAT(sender_.Status, StartsWith(begin));
  EXPECT_THAT(sender_.Status, EndsWith("\r\n****************** " + host_.Now() +
                                       " - End sending message. Result:  Success"));
}

TEST_F(SenderTest, TapCentreGetsLoginAndBlock) {
  host_.AddTapService({{"Password", "secret"}});
  host_.Send("Hello");
  EXPECT_THAT(host_.tap.numbers, ElementsAre("0123456"));
  EXPECT_THAT(host_.tap.logins, ElementsAre("\x1bsecret\r"));
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("00491715", "Hello")));
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

TEST_F(SenderTest, UcpCentreGetsOriginatorAndTransactionZero) {
  host_.AddUcpService();
  host_.Send("Hello");
  ASSERT_THAT(host_.ucp.frames, SizeIs(1));
  EXPECT_THAT(host_.ucp.frames[0], StartsWith("\x02"
                                              "00/"));
  EXPECT_THAT(host_.ucp.frames[0], testing::HasSubstr("/O/51/00491715/Ward 7/////"));
  EXPECT_EQ(host_.ucp.hang_ups, 1);
}

TEST_F(SenderTest, TapSendTakesTheTimeOfItsPauses) {
  host_.AddTapService();
  host_.Send("Hello");
  // ring 2000, before login 1000, prompt 2000, settle 1000, login 1000, TimeOut 2000, answer 2000
  EXPECT_EQ(Elapsed(), memory::Millis(11'000));
}

TEST_F(SenderTest, UcpSendTakesTheTimeOfItsPauses) {
  host_.AddUcpService();
  host_.Send("Hello");
  // ring 2000, before the frame 1000, TimeOut 2000
  EXPECT_EQ(Elapsed(), memory::Millis(5'000));
}

TEST_F(SenderTest, NothingStaysOpenAfterASend) {
  host_.AddTapService();
  host_.Send("Hello");
  EXPECT_EQ(host_.platform.open_ports(), 0U);
  EXPECT_EQ(host_.platform.open_keys(), 0U);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderTest, LineSettingsReachThePort) {
  const auto settings = [this](const char* baud_rate, const char* framing) {
    host_.AddTapService({{"BaudRate", baud_rate}, {"ModemSetting", framing}});
    EXPECT_TRUE(host_.Send("Hello"));
    const Dcb& dcb = host_.platform.ports.back()->requests.dcbs.back();
    return std::vector<int>{static_cast<int>(dcb.BaudRate), dcb.ByteSize, dcb.Parity, dcb.StopBits};
  };
  EXPECT_THAT(settings("1200", "7E1"), ElementsAre(1200, 7, 1, 1));
  EXPECT_THAT(settings("300", "8N2"), ElementsAre(300, 8, 0, 2));
}

TEST_F(SenderTest, LinesOwnRateStaysWhereTheServiceNamesNone) {
  host_.platform.lines[0].port.dcb.BaudRate = 19200;
  for (const char* baud_rate : {"Auto", "ISDN", ""}) {
    host_.AddTapService({{"BaudRate", baud_rate}});
    EXPECT_TRUE(host_.Send("Hello"));
    EXPECT_EQ(host_.platform.ports.back()->requests.dcbs.back().BaudRate, 19200U) << baud_rate;
  }
}

// --- the arguments -----------------------------------------------------------------------------

TEST_F(SenderTest, RewritesItsArguments) {
  host_.AddTapService();
  host_.recipient = "  0049/171-5 ";
  host_.profile.Route("0049", "Pager");
  EXPECT_TRUE(host_.Send("  Hello  "));
  EXPECT_EQ(host_.recipient, "00491715");
  EXPECT_EQ(host_.message, "Hello");
  EXPECT_EQ(host_.service, "Pager");
  EXPECT_EQ(host_.originator, "Ward 7");
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("00491715", "Hello")));
}

TEST_F(SenderTest, EmptyServiceNameReceivesTheDefaultServiceAtTheEndOfTheSearch) {
  host_.AddTapService();
  host_.Send("Hello");
  EXPECT_EQ(host_.service, "Pager");
}

TEST_F(SenderTest, OnlyBlanksAreTrimmedOffTheMessage) {
  host_.AddTapService();
  host_.Send(" \tHello\r\n ");
  EXPECT_EQ(host_.message, "\tHello\r\n");
}

TEST_F(SenderTest, RoutedServiceIsUsed) {
  host_.AddTapService();
  host_.AddService("Routed", "TAP", {{"PhoneNumber", "99"}});
  host_.profile.Route("0049171", "Routed");
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_TRUE(host_.HasLine("Found entry in routing table; using service: Routed"));
  EXPECT_THAT(host_.tap.numbers, ElementsAre("99"));
  EXPECT_EQ(host_.service, "Routed");
}

TEST_F(SenderTest, NamedServiceIsAnnouncedAsIfItWereRouted) {
  host_.AddTapService();
  host_.AddService("Named", "TAP", {{"PhoneNumber", "98"}});
  host_.profile.Route("0049", "Pager");
  EXPECT_TRUE(host_.Send("Hello", "Named"));
  EXPECT_TRUE(host_.HasLine("Found entry in routing table; using service: Named"));
  EXPECT_THAT(host_.tap.numbers, ElementsAre("98"));
}

TEST_F(SenderTest, OnlyTapHasSoftwareFlowControl) {
  const auto flags = [this] {
    EXPECT_TRUE(host_.Send("Hello"));
    return host_.platform.ports.back()->requests.dcbs.back().flags &
           (dcb_flag::kOutX | dcb_flag::kInX);
  };
  host_.AddTapService();
  EXPECT_EQ(flags(), dcb_flag::kOutX | dcb_flag::kInX);
  host_.AddUcpService();
  EXPECT_EQ(flags(), 0U);
}

TEST_F(SenderTest, ServiceMayNameItsOwnModem) {
  host_.AddTapService({{"ModemName", "Second"}});
  host_.AddLine("Second");
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_TRUE(host_.HasLine("Dialling Pager (0123456) using modem: Second"));
}

TEST_F(SenderTest, EmptyProfileNameIsWrittenBack) {
  EXPECT_EQ(sender_.HostAppName, "");
  host_.Send("Hello");
  EXPECT_EQ(sender_.HostAppName, "Standard");
}

TEST_F(SenderTest, ProfileIsTheHostsOwn) {
  test::Profile ward(host_.platform.registry(), "Ward");
  sender_.HostAppName = "Ward";
  EXPECT_FALSE(host_.Send("Hello"));
  ward.Set("DefaultModem", "Modem");
  ward.Set("DefaultService", "Pager");
  host_.far_end = [this](const std::string& number) { return host_.tap.Answer(number); };
  ward.SetService("Pager", {{"Protocol", "TAP"},
                            {"MaxLength", "160"},
                            {"MaxMessages", "1"},
                            {"MessageType", "3"},
                            {"BaudRate", "9600"},
                            {"ModemSetting", "8N1"}});
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_EQ(sender_.HostAppName, "Ward");
}

TEST_F(SenderTest, SettingsAreReadAfreshBySendsOfOneObject) {
  host_.AddTapService();
  EXPECT_TRUE(host_.Send("Hello"));
  host_.AddTapService({{"PhoneNumber", "777"}});
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(host_.tap.numbers, ElementsAre("0123456", "777"));
}

// --- pieces ------------------------------------------------------------------------------------

TEST_F(SenderTest, MessageThatJustFitsIsOnePiece) {
  host_.AddTapService({{"MaxMessages", "1"}});
  EXPECT_TRUE(host_.Send(std::string(160, 'x')));
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("00491715", std::string(160, 'x'))));
}

TEST_F(SenderTest, LongerMessageGoesOutInPiecesWithOneLogin) {
  host_.AddTapService();
  EXPECT_TRUE(host_.Send(std::string(160, 'x') + "y"));
  EXPECT_THAT(host_.tap.blocks,
              ElementsAre(TapBlock("00491715", std::string(160, 'x')), TapBlock("00491715", "y")));
  EXPECT_THAT(host_.tap.logins, SizeIs(1));
}

TEST_F(SenderTest, EveryUcpPieceCarriesTransactionZero) {
  host_.AddUcpService({{"MaxLength", "2"}, {"MaxMessages", "3"}});
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(host_.ucp.frames, SizeIs(3));
  EXPECT_THAT(host_.ucp.frames, Each(StartsWith("\x02"
                                                "00/")));
}

TEST_F(SenderTest, RefusedPieceIsTheLastOne) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x15\r"};
  EXPECT_FALSE(host_.Send(std::string(161, 'x')));
  EXPECT_THAT(host_.tap.blocks, SizeIs(1));
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderTest, LastPieceDecides) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x06\r", "\r\x15\r"};
  EXPECT_FALSE(host_.Send(std::string(161, 'x')));
  EXPECT_THAT(host_.tap.blocks, SizeIs(2));
}

TEST_F(SenderTest, MessageFarBelowThePieceLengthIsDialledButNotSent) {
  host_.AddTapService({{"MaxLength", "20000"}});
  EXPECT_FALSE(host_.Send("x"));
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_THAT(host_.tap.blocks, IsEmpty());
  EXPECT_EQ(host_.tap.prompted, 0);
  EXPECT_THAT(host_.errors, IsEmpty());
  EXPECT_EQ(host_.tap.hang_ups, 1);
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderTest, SmallExcessOfAPieceIsDroppedSilently) {
  host_.AddTapService({{"MaxLength", "100000"}});
  EXPECT_TRUE(host_.Send(std::string(100'001, 'x')));
  EXPECT_THAT(host_.tap.blocks, ElementsAre(TapBlock("00491715", std::string(100'000, 'x'))));
}

TEST(CutMessage, CountsPiecesWithAnInexactCeiling) {
  const auto count = [](std::size_t length, std::int32_t max_length) {
    return CutMessage(std::string(length, 'x'), max_length).size();
  };
  EXPECT_EQ(count(160, 160), 1U);
  EXPECT_EQ(count(161, 160), 2U);
  EXPECT_EQ(count(320, 160), 2U);
  EXPECT_EQ(count(1, 20'000), 0U);
  EXPECT_EQ(count(1, 10'000), 1U);
  EXPECT_EQ(count(1, 10'001), 0U);
  EXPECT_EQ(count(10'001, 10'000), 2U);
  EXPECT_EQ(count(100'001, 100'000), 1U);
  EXPECT_EQ(count(100'010, 100'000), 2U);
  EXPECT_EQ(count(5, -10), 0U);
  EXPECT_EQ(count(100, -10), 0U);
}

TEST(CutMessage, KeepsTheCharactersInOrder) {
  EXPECT_THAT(CutMessage("abcdefg", 3), ElementsAre("abc", "def", "g"));
}

// --- Status, RetrySuggested, abort -------------------------------------------------------------

TEST_F(SenderTest, StartsWithEmptyProperties) {
  EXPECT_EQ(sender_.Status, "");
  EXPECT_FALSE(sender_.RetrySuggested);
  EXPECT_EQ(sender_.HostAppName, "");
  EXPECT_EQ(sender_.LogFilePath, "");
}

TEST_F(SenderTest, StatusGrowsOverSendsUntilTheHostAssignsIt) {
  host_.AddTapService();
  host_.Send("Hello");
  const std::string first = sender_.Status;
  host_.Send("Again");
  EXPECT_THAT(sender_.Status, StartsWith(first + "\r\n******************"));
  sender_.Status = "";
  host_.Send("Third");
  EXPECT_THAT(sender_.Status, StartsWith("\r\n******************"));
}

TEST_F(SenderTest, EveryLineRaisesStatusChangeWithTheWholeText) {
  host_.AddTapService();
  host_.Send("Hello");
  EXPECT_THAT(host_.statuses, SizeIs(17));
  EXPECT_EQ(host_.statuses.back(), sender_.Status);
  for (std::size_t i = 1; i < host_.statuses.size(); ++i) {
    EXPECT_THAT(host_.statuses[i], StartsWith(host_.statuses[i - 1] + "\r\n"));
  }
}

TEST_F(SenderTest, EventHandsOverThePropertyItself) {
  host_.AddTapService();
  int changes = 0;
  host_.on_status = [&](std::string& status) {
    EXPECT_EQ(&status, &sender_.Status);
    if (++changes < 17) status.clear();
  };
  host_.Send("Hello");
  EXPECT_THAT(host_.Lines(), ElementsAre(test::kSuccessLine));
}

TEST_F(SenderTest, RefusedTapMessageSuggestsRetryBeforeTheLineIsClosed) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x15\r"};
  std::vector<bool> seen;
  host_.on_status = [&](std::string& status) {
    if (status.ends_with("Closing connection..")) seen.push_back(sender_.RetrySuggested);
  };
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_TRUE(sender_.RetrySuggested);
  EXPECT_THAT(seen, ElementsAre(true));
}

TEST_F(SenderTest, RefusedUcpMessageSuggestsRetryAsSoonAsItIsReported) {
  host_.AddUcpService();
  host_.ucp.answers = {test::UcpResult("N/04/busy/")};
  std::vector<bool> seen;
  host_.on_status = [&](std::string& status) {
    if (status.ends_with("Failed to send message: System message: busy/")) {
      seen.push_back(sender_.RetrySuggested);
    }
  };
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(seen, ElementsAre(true));
}

TEST_F(SenderTest, PermanentRefusalSuggestsNoRetry) {
  host_.AddUcpService();
  host_.ucp.answers = {test::UcpResult("N/02/syntax/")};
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_FALSE(sender_.RetrySuggested);
}

TEST_F(SenderTest, NextSendStartsWithoutASuggestion) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x15\r"};
  host_.Send("Hello");
  ASSERT_TRUE(sender_.RetrySuggested);
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_FALSE(sender_.RetrySuggested);
}

TEST_F(SenderTest, HostMayTakeTheSuggestionBackDuringTheSend) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x15\r"};
  host_.on_status = [&](std::string&) { sender_.RetrySuggested = false; };
  host_.Send("Hello");
  EXPECT_FALSE(sender_.RetrySuggested);
}

TEST_F(SenderTest, EachSendLogsInAnew) {
  host_.AddTapService();
  host_.Send("Hello");
  host_.Send("Again");
  EXPECT_THAT(host_.tap.logins, SizeIs(2));
}

TEST_F(SenderTest, AbortWhileDiallingEndsTheCallWithinHalfASecond) {
  host_.AddTapService();
  host_.platform.lines[0].outcome = CallState::kInProgress;
  host_.platform.After(memory::Millis(3100), [this] { sender_.AbortAction(); });
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_EQ(Elapsed(), memory::Millis(3500));
  EXPECT_THAT(host_.errors, ElementsAre("4570|Unable to connect to the specified phone number|"
                                        "Sender.SendMessage"));
}

TEST_F(SenderTest, AbortDuringTheSessionEndsItAtItsNextCheck) {
  host_.AddTapService();
  host_.tap.prompt = "";
  host_.platform.After(memory::Millis(6000), [this] { sender_.AbortAction(); });
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_TRUE(host_.HasLine("Sending was aborted!"));
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

TEST_F(SenderTest, AbortedSenderStaysAborted) {
  host_.AddTapService();
  sender_.AbortAction();
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(host_.Send("Hello"));
    EXPECT_TRUE(host_.HasLine("Sending was aborted!"));
    EXPECT_THAT(host_.tap.logins, IsEmpty());
  }
  EXPECT_EQ(host_.tap.prompted, 2);
  Sender fresh(host_.apartment);
  host_.message = "Hello";
  EXPECT_TRUE(fresh.SendMessage(host_.recipient, host_.originator, host_.message, host_.service));
}

TEST_F(SenderTest, HandlerMayAbort) {
  host_.AddTapService();
  host_.on_status = [&](std::string& status) {
    if (status.ends_with("Connected.")) sender_.AbortAction();
  };
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_TRUE(host_.HasLine("Sending was aborted!"));
}

// --- handlers ----------------------------------------------------------------------------------

TEST_F(SenderTest, WorksWithoutHandlers) {
  host_.AddTapService();
  sender_.OnError = {};
  sender_.OnStatusChange = {};
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_FALSE(host_.Send(""));
}

TEST_F(SenderTest, HandlerThatThrowsCostsNothingButItself) {
  host_.AddTapService();
  host_.on_status = [](std::string&) { throw std::runtime_error("display is gone"); };
  host_.on_error = [](std::int32_t&, std::string&, std::string&) { throw 5; };
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_EQ(host_.tap.hang_ups, 1);
  EXPECT_FALSE(host_.Send(""));
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderTest, HandlerMayUnbindItself) {
  host_.AddTapService();
  std::string guard(100, 'g');  // lives in the handler, beyond any small-object storage
  int calls = 0;
  sender_.OnStatusChange = [this, guard, &calls](std::string&) {
    sender_.OnStatusChange = {};
    calls += guard.size() == 100 ? 1 : 100;
  };
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_EQ(calls, 1);
}

TEST_F(SenderTest, ArgumentsOfTheErrorEventAreTheHostsToChange) {
  host_.on_error = [](std::int32_t& number, std::string& text, std::string& module) {
    number = 0;
    text.clear();
    module.clear();
  };
  EXPECT_FALSE(host_.Send(""));
  EXPECT_TRUE(host_.HasLine("6: Message is empty! Please specify a message!"));
}

}  // namespace
}  // namespace mvsms
