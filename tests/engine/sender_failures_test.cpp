// Sends that fail: every foreseen failure with its number, text, events and closing steps, and the
// unforeseen ones, which end a send where it stands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/raised_error.h"
#include "tests/support/host.h"

namespace mvsms {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class SenderFailure : public testing::Test {
 protected:
  /// An error that no step foresees, in the middle of a session.
  void BreakAfter(int milliseconds) {
    host_.platform.After(memory::Millis(milliseconds),
                         [] { throw RaisedError(7, "system", "Out of memory"); });
  }
  bool Dialled() { return !host_.tap.numbers.empty(); }

  test::Host host_;
  Sender& sender_ = host_.sender;
};

TEST_F(SenderFailure, UnconfiguredProfileGivesError5) {
  host_.profile.Set("DefaultService", "");
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("5|Unable to load settings. SMS must be configured first!|"
                                        "Sender.SendMessage"));
  EXPECT_THAT(
      host_.Lines(),
      ElementsAre(test::kBeginLine + "0049 171-5", "",
                  "5: Unable to load settings. SMS must be configured first!", test::kFailedLine));
}

TEST_F(SenderFailure, UnreadableSettingsGiveError5) {
  host_.AddTapService();
  host_.profile.Set("WriteLogfile", "perhaps");
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, SizeIs(1));
  EXPECT_THAT(host_.errors[0], HasSubstr("5|Unable to load settings."));
}

TEST_F(SenderFailure, SettingsAreCheckedBeforeTheMessage) {
  host_.profile.Set("DefaultModem", "");
  EXPECT_FALSE(host_.Send("   "));
  EXPECT_EQ(host_.message, "   ");
  EXPECT_THAT(host_.errors[0], HasSubstr("5|"));
}

TEST_F(SenderFailure, MessageOfBlanksGivesError6) {
  EXPECT_FALSE(host_.Send("   "));
  EXPECT_EQ(host_.message, "");
  EXPECT_THAT(host_.errors, ElementsAre("6|Message is empty! Please specify a message!|"
                                        "Sender.SendMessage"));
  EXPECT_FALSE(host_.HasLine("Preparing input data."));
  EXPECT_EQ(host_.recipient, "0049 171-5");
}

TEST_F(SenderFailure, EachReportedErrorRaisesTwoStatusChangesAroundTheErrorEvent) {
  host_.Send("");
  EXPECT_THAT(host_.events, ElementsAre("StatusChange", "StatusChange", "Error 6", "StatusChange",
                                        "StatusChange"));
  EXPECT_EQ(host_.statuses[1], host_.statuses[2]);
  EXPECT_THAT(host_.statuses[1], EndsWith("\r\n6: Message is empty! Please specify a message!"));
}

TEST_F(SenderFailure, RecipientWithoutDigitsGivesError12) {
  host_.recipient = " - ";
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors,
              ElementsAre("12|Unable to parse recipient address.|Sender.SendMessage"));
  EXPECT_EQ(host_.recipient, "");
}

TEST_F(SenderFailure, InvalidRecipientIsReportedByBothNormalisationsAndThenAsError12) {
  host_.AddTapService();
  host_.recipient = " 0171#5 ";
  EXPECT_FALSE(host_.Send("Hello"));
  const std::string invalid =
      "45|The recipient address contains invalid characters: 0171#5|Sender.FixAddress";
  EXPECT_THAT(
      host_.errors,
      ElementsAre(invalid, invalid, "12|Unable to parse recipient address.|Sender.SendMessage"));
  EXPECT_EQ(host_.recipient, "");
  EXPECT_FALSE(Dialled());
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderFailure, UnreadableServiceGivesError22) {
  host_.AddTapService({{"MaxMessages", "many"}});
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors,
              ElementsAre("22|Unable to get service information for Pager|Sender.SendMessage"));
  EXPECT_EQ(host_.service, "Pager");
  EXPECT_FALSE(Dialled());
}

TEST_F(SenderFailure, LongMessageGivesError24) {
  host_.AddTapService({{"MaxMessages", "1"}});
  EXPECT_FALSE(host_.Send(std::string(161, 'x')));
  EXPECT_THAT(host_.errors,
              ElementsAre("24|Message is too long (161) to send in one session. (1 messages per "
                          "session * 160 chars per message = 160)|Sender.SendMessage"));
  EXPECT_FALSE(Dialled());
}

TEST_F(SenderFailure, LengthIsCheckedAfterTrimming) {
  host_.AddTapService({{"MaxMessages", "1"}});
  EXPECT_TRUE(host_.Send("  " + std::string(160, 'x') + "  "));
}

TEST_F(SenderFailure, MaxLengthOfZeroRefusesEveryMessage) {
  host_.AddTapService({{"MaxLength", "none"}});
  EXPECT_FALSE(host_.Send("x"));
  EXPECT_THAT(host_.errors,
              ElementsAre("24|Message is too long (1) to send in one session. (2 messages per "
                          "session * 0 chars per message = 0)|Sender.SendMessage"));
}

TEST_F(SenderFailure, ServiceThatDoesNotExistRefusesEveryMessage) {
  EXPECT_FALSE(host_.Send("x", "Nobody"));
  EXPECT_THAT(host_.errors[0], HasSubstr("24|Message is too long (1)"));
}

TEST_F(SenderFailure, NegativeLimitsSendNothing) {
  host_.AddTapService({{"MaxLength", "-10"}, {"MaxMessages", "-10"}});
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, IsEmpty());
  EXPECT_THAT(host_.tap.blocks, IsEmpty());
}

TEST_F(SenderFailure, UnknownModemGivesTheMediumsErrorAndError25) {
  host_.AddTapService({{"ModemName", "Gone"}});
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors,
              ElementsAre("4455|This device does not exist!|SetDevice",
                          "25|The selected modem (Gone) cannot be used|Sender.SendMessage"));
  EXPECT_FALSE(host_.HasLine("Closing connection.."));
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderFailure, ModemInUseGivesError25) {
  host_.AddTapService();
  host_.platform.lines[0].in_use = true;
  EXPECT_FALSE(host_.Send("Hello"));
  ASSERT_THAT(host_.errors, SizeIs(2));
  EXPECT_EQ(host_.errors[1], "25|The selected modem (Modem) cannot be used|Sender.SendMessage");
}

TEST_F(SenderFailure, BusyLineIsReportedByTheMediumAndAsError4570) {
  host_.AddTapService();
  host_.platform.lines[0].outcome = CallState::kDisconnected;
  host_.platform.lines[0].cause = CallCause::kDisconnectBusy;
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.Lines(), ElementsAreArray(std::vector<std::string>{
                                 test::kBeginLine + "0049 171-5", "", "Preparing input data.",
                                 "Entry not found in routing table; using default service: Pager",
                                 "Dialling Pager (0123456) using modem: Modem",
                                 "4462: Unable to connect, reason: Busy", "Dialed number: 0123456",
                                 "4570: Unable to connect to the specified phone number",
                                 "Closing connection..", "Connection closed.", test::kFailedLine}));
  EXPECT_THAT(host_.errors, ElementsAre("4462|Unable to connect, reason: Busy|Connect",
                                        "4570|Unable to connect to the specified phone number|"
                                        "Sender.SendMessage"));
  EXPECT_FALSE(sender_.RetrySuggested);
}

TEST_F(SenderFailure, UnansweredCallIsGivenUpAfterFortySeconds) {
  host_.AddTapService();
  host_.platform.lines[0].outcome = CallState::kInProgress;
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_EQ(host_.platform.slept(), memory::Millis(40'000));
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, SilentCentreGivesTheSessionsError) {
  host_.AddTapService();
  host_.tap.prompt = "";
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors,
              ElementsAre("58|Time limit exceeded waiting for TAP login prompt ('ID=')|"
                          "Sender.DoTAPLogin"));
  EXPECT_TRUE(host_.HasLine("Connection closed."));
  EXPECT_EQ(host_.tap.prompted, 6);
}

TEST_F(SenderFailure, SilentUcpCentreSuggestsARetryAfterItsTimeOuts) {
  host_.AddUcpService();
  host_.ucp.answers = {""};
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_TRUE(host_.HasLine("No response received within timeout!"));
  EXPECT_TRUE(sender_.RetrySuggested);
  EXPECT_EQ(host_.platform.slept(), memory::Millis(2000 + 1000 + 21 * 2000));
}

TEST_F(SenderFailure, FailedHangUpIsReportedAndTheResultStands) {
  host_.AddTapService();
  host_.platform.lines[0].hang_up_fails = true;
  EXPECT_TRUE(host_.Send("Hello"));
  ASSERT_FALSE(host_.errors.empty());
  EXPECT_EQ(host_.errors.back(), "0|Error closing connection: |Sender.SendMessage");
  EXPECT_THAT(host_.errors, testing::Contains(HasSubstr("4571|Unable to disconnect|"
                                                        "TAPILine.ISMSMedium_Disconnect")));
  EXPECT_FALSE(host_.HasLine("Connection closed."));
  EXPECT_EQ(host_.Lines().back(), test::kSuccessLine);
}

TEST_F(SenderFailure, PortThatCannotBeTakenOverIsClosedAgain) {
  host_.AddTapService();
  host_.platform.lines[0].port_error = 5;
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, testing::Contains(HasSubstr("4463|Failed to get Comm-Handle!|")));
  EXPECT_EQ(host_.errors.back(),
            "4570|Unable to connect to the specified phone number|Sender.SendMessage");
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, FailedHangUpOfAFailedCallIsReportedWithTheTextOfTheCall) {
  host_.AddTapService();
  host_.platform.lines[0].port_error = 5;
  host_.platform.lines[0].hang_up_fails = true;
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_EQ(host_.errors.back(),
            "4570|Error closing connection: Unable to connect to the specified phone number|"
            "Sender.SendMessage");
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
}

TEST_F(SenderFailure, PortThatCannotBeOpenedIsReportedByTheMediumAndAsError0) {
  host_.AddTapService();
  host_.platform.lines[0].dead_port = true;
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("-2147190494|Unable to open communications device|"
                                        "TAPILine.ISMSMedium_Connect",
                                        "0||Sender.SendMessage"));
  EXPECT_THAT(host_.Lines(), testing::IsSupersetOf({"0: ", "Closing connection.."}));
  EXPECT_EQ(host_.Lines().back(), test::kFailedLine);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, The101stSendOfAThreadFindsNoTimer) {
  host_.AddTapService();
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("-2147207853|No more than 10 timers allowed per class|"
                                        "TAPILine.ISMSMedium_Connect",
                                        "0||Sender.SendMessage"));
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, SecondSendFromAnEventFindsTheModemInUseAndTheFirstGoesOn) {
  host_.AddTapService();
  bool second = true;
  host_.on_status = [&](const std::string& status) {
    if (!status.ends_with("Connected.")) return;
    std::string message = "Second";
    second = sender_.SendMessage(host_.recipient, host_.originator, message, host_.service);
  };
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_FALSE(second);
  EXPECT_THAT(host_.errors,
              ElementsAre("25|The selected modem (Modem) cannot be used|Sender.SendMessage"));
  EXPECT_THAT(host_.tap.blocks, SizeIs(1));
}

TEST_F(SenderFailure, SendFromTheLastEventOfAnotherOneIsASendLikeAnyOther) {
  host_.AddTapService();
  bool second = false;
  host_.on_status = [&](const std::string& status) {
    if (!status.ends_with("Success") || second) return;
    std::string message = "Second";
    second = true;
    second = sender_.SendMessage(host_.recipient, host_.originator, message, host_.service);
  };
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_TRUE(second);
  EXPECT_THAT(host_.tap.blocks, SizeIs(2));
}

// --- unforeseen errors -------------------------------------------------------------------------

TEST_F(SenderFailure, ProtocolWithoutAMediumGivesError91AndNoEndLine) {
  for (const char* protocol : {"UCP LA", "", "tap", "SMPP"}) {
    host_.AddTapService({{"Protocol", protocol}});
    host_.errors.clear();
    sender_.Status = "";
    EXPECT_FALSE(host_.Send("Hello"));
    ASSERT_THAT(host_.errors, SizeIs(1)) << protocol;
    EXPECT_EQ(host_.errors[0],
              "91|Object reference is not set: there is no medium for the protocol \"" +
                  std::string(protocol) + "\"|Sender.SendMessage");
    EXPECT_THAT(sender_.Status, Not(HasSubstr("End sending message")));
    EXPECT_THAT(sender_.Status, Not(HasSubstr("Dial")));
  }
}

TEST_F(SenderFailure, LimitsWhoseProductOverflowsGiveError6AndNoEndLine) {
  host_.AddTapService({{"MaxLength", "100000"}, {"MaxMessages", "100000"}});
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("6|Overflow|Sender.SendMessage"));
  EXPECT_EQ(host_.Lines().back(), "6: Overflow");
}

TEST_F(SenderFailure, LimitsWhoseProductIsTheLastWholeNumberDoNotOverflow) {
  host_.AddTapService({{"MaxLength", "1"}, {"MaxMessages", "2147483647"}});
  EXPECT_TRUE(host_.Send("Hello")) << sender_.Status;
  host_.AddTapService({{"MaxLength", "32768"}, {"MaxMessages", "-65536"}});
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, Each(Not(HasSubstr("Overflow"))));
}

TEST_F(SenderFailure, SwitchThatIsNoNumberEndsTheSendWithItsError) {
  host_.AddTapService();
  host_.profile.Set("AddCountry", "sometimes");
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("13|Type mismatch|Sender.SendMessage"));
  EXPECT_EQ(host_.Lines().back(), "13: Type mismatch");
}

TEST_F(SenderFailure, ErrorInASessionLeavesTheLineOpen) {
  host_.AddTapService();
  BreakAfter(4000);
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("7|Out of memory|Sender.SendMessage"));
  EXPECT_EQ(host_.Lines().back(), "7: Out of memory");
  EXPECT_EQ(host_.platform.active_calls(), 1U);
  EXPECT_EQ(host_.tap.hang_ups, 0);
}

TEST_F(SenderFailure, LineLeftOpenEndsWithTheObject) {
  host_.AddTapService();
  BreakAfter(4000);
  {
    Sender brief(host_.apartment);
    std::string message = "Hello";
    EXPECT_FALSE(brief.SendMessage(host_.recipient, host_.originator, message, host_.service));
    EXPECT_EQ(host_.platform.active_calls(), 1U);
  }
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, LineLeftOpenMakesWayForTheNextSend) {
  host_.AddTapService();
  BreakAfter(4000);
  host_.Send("Hello");
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_EQ(host_.tap.hang_ups, 2);
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, LineLeftOpenIsClosedByASendThatFailsBeforeDialling) {
  host_.AddTapService();
  BreakAfter(4000);
  host_.Send("Hello");
  sender_.Status = "";
  EXPECT_FALSE(host_.Send(""));
  EXPECT_TRUE(host_.HasLine("Connection closed."));
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(SenderFailure, ErrorThatIsNoRaisedOneIsReportedAsInternal) {
  host_.AddTapService();
  host_.platform.After(memory::Millis(4000), [] { throw std::runtime_error("broken"); });
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("51|broken|Sender.SendMessage"));
}

TEST_F(SenderFailure, WhateverTheHostsMessageLoopThrowsIsReportedAsInternal) {
  host_.AddTapService();
  host_.platform.After(memory::Millis(4000), [] { throw 5; });
  EXPECT_FALSE(host_.Send("Hello"));
  EXPECT_THAT(host_.errors, ElementsAre("51|Unknown error|Sender.SendMessage"));
}

// --- the status window ---------------------------------------------------------------------------

/// Works until it is told to break.
struct FragileWindow : StatusWindow {
  explicit FragileWindow(std::string& at) : breaks_at(at) {}
  void Show() override { BreakIf("Show"); }
  void SetText(const std::string&) override { BreakIf("SetText"); }
  void StartHide() override { BreakIf("StartHide"); }
  void BreakIf(const std::string& operation) const {
    if (breaks_at == operation) throw RaisedError(7, "Form", "Out of memory");
  }
  std::string& breaks_at;
};

TEST_F(SenderFailure, StatusWindowThatBreaksCostsNothingButItself) {
  std::string broken;
  Sender sender(host_.apartment, [&] { return std::make_unique<FragileWindow>(broken); });
  host_.Listen(sender);
  host_.AddTapService();
  host_.profile.Set("ShowStatus", 1);
  for (const char* operation : {"", "SetText", "StartHide", "Show"}) {
    broken = operation;
    std::string text = "Hello";
    EXPECT_TRUE(sender.SendMessage(host_.recipient, host_.originator, text, host_.service));
    EXPECT_THAT(host_.errors, IsEmpty()) << operation;
  }
}

}  // namespace
}  // namespace mvsms
