// A Sender that keeps its line: several messages in one call, and what ends it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "engine/sender.h"
#include "media/bascommon.h"
#include "tests/support/host.h"

namespace mvsms {
namespace {

using test::TapBlock;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class KeptLine : public testing::Test {
 protected:
  KeptLine() { sender_.KeepsLine = true; }
  bool Send(const std::string& text, const std::string& service = "") {
    sender_.Status = "";
    return host_.Send(text, service);
  }
  LineEnd End() const { return sender_.Report().line_end; }

  test::Host host_;
  Sender& sender_ = host_.sender;
};

TEST_F(KeptLine, TheNextMessageGoesOverItWithoutDialling) {
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  EXPECT_TRUE(sender_.HasLine());
  EXPECT_EQ(End(), LineEnd::kKept);
  EXPECT_TRUE(Send("Two"));
  EXPECT_THAT(host_.Lines(), ElementsAreArray(std::vector<std::string>{
                                 test::kBeginLine + "00491715", "",  //
                                 "Preparing input data.",
                                 "Entry not found in routing table; using default service: Pager",
                                 "Sending TAP Message: \x02"
                                 "00491715<CR>Two<CR>\x03"
                                 "2?4<CR>",
                                 "Response received: <CR><ACK><CR>", test::kSuccessLine}));
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
  EXPECT_THAT(host_.tap.logins, SizeIs(1));
  EXPECT_THAT(host_.tap.blocks,
              ElementsAre(TapBlock("00491715", "One"), TapBlock("00491715", "Two")));
  EXPECT_EQ(host_.tap.hang_ups, 0);
}

TEST_F(KeptLine, AReportIsThatOfItsOwnMessage) {
  host_.AddTapService();
  host_.tap.block_answers = {"\r\x06\r", "\r\x15\r"};
  EXPECT_TRUE(Send("One"));
  EXPECT_FALSE(Send("Two"));
  const SendReport& report = sender_.Report();
  EXPECT_THAT(report.pieces, SizeIs(1));
  EXPECT_EQ(report.pieces.at(0).answer, "\r\x15\r");
  EXPECT_TRUE(report.pieces.at(0).out);
  EXPECT_EQ(report.pieces_accepted, 0);
  EXPECT_EQ(report.step, SendStep::kAnswer);
  EXPECT_EQ(report.dialled, "0123456");
  EXPECT_EQ(report.login_answer, "");
}

TEST_F(KeptLine, ARefusedMessageLeavesItUp) {
  host_.AddUcpService();
  host_.ucp.answers = {test::UcpResult("N/04//")};
  EXPECT_FALSE(Send("One"));
  EXPECT_TRUE(sender_.HasLine());
  EXPECT_TRUE(Send("Two"));
  EXPECT_THAT(host_.ucp.frames, SizeIs(2));
  EXPECT_EQ(host_.ucp.hang_ups, 0);
}

TEST_F(KeptLine, AMessageThatComesToNoLineLeavesItUp) {
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  EXPECT_FALSE(Send(" "));
  EXPECT_EQ(End(), LineEnd::kNeverUp);
  EXPECT_TRUE(sender_.HasLine());
  EXPECT_FALSE(Send(std::string(321, 'x')));
  EXPECT_TRUE(Send("Two"));
  EXPECT_THAT(host_.tap.numbers, SizeIs(1));
}

TEST_F(KeptLine, ARefusedLoginEndsTheCall) {
  host_.AddTapService();
  host_.tap.login_answer = "\x1b\x04";
  EXPECT_FALSE(Send("One"));
  EXPECT_FALSE(sender_.HasLine());
  EXPECT_EQ(End(), LineEnd::kByUs);
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

TEST_F(KeptLine, AnotherServiceEndsItAndDialsAnew) {
  host_.AddTapService();
  host_.AddService("Area", "TAP", {{"PhoneNumber", "0987"}});
  EXPECT_TRUE(Send("One"));
  EXPECT_TRUE(Send("Two", "Area"));
  EXPECT_THAT(host_.tap.numbers, ElementsAre("0123456", "0987"));
  EXPECT_THAT(host_.Lines(), Contains("Connection closed."));
  EXPECT_EQ(host_.tap.hang_ups, 1);
  EXPECT_TRUE(sender_.HasLine());
}

TEST_F(KeptLine, ChangedSettingsApplyToTheNextMessage) {
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  host_.AddTapService({{"Password", "secret"}});
  EXPECT_TRUE(Send("Two"));
  EXPECT_THAT(host_.tap.logins, ElementsAre("\x1bPG1\r", "\x1bsecret\r"));
}

TEST_F(KeptLine, OneThatTheCentreHasHungUpIsDialledAnew) {
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  host_.tap.wire->HangUp();
  basCommon::Pause(host_.platform.loop(), 200);
  EXPECT_FALSE(sender_.HasLine());
  EXPECT_TRUE(Send("Two"));
  EXPECT_THAT(host_.tap.numbers, SizeIs(2));
}

TEST_F(KeptLine, WhatTheCentreSaidInBetweenAnswersNothing) {
  host_.AddUcpService();
  EXPECT_TRUE(Send("One"));
  host_.ucp.wire->Write(test::UcpResult("N/04//"));
  basCommon::Pause(host_.platform.loop(), 200);
  EXPECT_TRUE(Send("Two"));
}

TEST_F(KeptLine, HangingUpSaysWhatTheEndOfASendSays) {
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  sender_.Status = "";
  sender_.HangUp();
  EXPECT_THAT(host_.Lines(), ElementsAre("Closing connection..", "Connection closed."));
  EXPECT_EQ(host_.tap.hang_ups, 1);
  EXPECT_FALSE(sender_.HasLine());
  EXPECT_EQ(host_.platform.open_ports(), 0U);
  sender_.Status = "";
  sender_.HangUp();
  EXPECT_EQ(sender_.Status, "");
}

TEST_F(KeptLine, EndsWithItsSender) {
  host_.AddTapService();
  {
    Sender sender(host_.apartment);
    sender.KeepsLine = true;
    std::string text = "One";
    EXPECT_TRUE(sender.SendMessage(host_.recipient, host_.originator, text, host_.service));
  }
  EXPECT_EQ(host_.platform.active_calls(), 0U);
  EXPECT_EQ(host_.platform.open_ports(), 0U);
}

TEST_F(KeptLine, AnAbortEndsTheCall) {
  host_.AddTapService();
  host_.on_status = [&](const std::string& status) {
    if (status.find("Sending TAP Message") != status.npos) sender_.AbortAction();
  };
  EXPECT_FALSE(Send("One"));
  EXPECT_FALSE(sender_.HasLine());
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

TEST_F(KeptLine, TheHostMayChooseTheModem) {
  host_.AddTapService();
  host_.AddLine("Second");
  sender_.Modem = "Second";
  EXPECT_TRUE(Send("One"));
  EXPECT_EQ(sender_.Report().modem, "Second");
  EXPECT_THAT(host_.Lines(), Contains("Dialling Pager (0123456) using modem: Second"));
}

TEST_F(KeptLine, IsNothingThatASenderDoesUnasked) {
  sender_.KeepsLine = false;
  host_.AddTapService();
  EXPECT_TRUE(Send("One"));
  EXPECT_FALSE(sender_.HasLine());
  EXPECT_EQ(host_.tap.hang_ups, 1);
}

}  // namespace
}  // namespace mvsms
