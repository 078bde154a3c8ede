// The UCP dialogue against a scripted centre, in virtual time.
#include "protocols/ucp_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/protocols/fake_host.h"
#include "tests/protocols/ucp_answers.h"

namespace mvsms {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr char kAborted[] = "Sending was aborted!";
constexpr char kNoResponse[] = "No response received within timeout!";
constexpr char kFrame[] =
    "\x02"
    "01/00036/O/01/0123456789///2/1234/BA\x03";

class UcpSession : public ::testing::Test {
 protected:
  UcpSession() {
    service.UCPCommand = "01";
    service.MessageType = kMessageTypeNumeric;
    service.TimeOut = 2000;
  }

  bool Send() { return SendUCPMessage(host, "0123456789", "", message, service, 1); }
  // The frame leaves at 1000 ms.
  void CentreAnswers(std::int64_t delay, const std::string& text) { host.Answers(1, delay, text); }
  std::string LastStatus() const { return host.Statuses().back(); }

  FakeHost host;
  ServiceRecord service;
  std::string message = "12 34";
};

TEST_F(UcpSession, GoesStepByStep) {
  const std::string answer = UCPAcknowledgement();
  CentreAnswers(2500, answer);
  EXPECT_TRUE(Send());
  EXPECT_THAT(
      host.record,
      ElementsAre("status Initiating UCP protocol...", "pause 1000", std::string("send ") + kFrame,
                  std::string("status UCP Message sent: ") + kFrame, "events", "pause 2000",
                  "receive", "events", "pause 2000", "receive",
                  "status Received response: " + answer, "status Message sent!"));
  EXPECT_TRUE(host.logged_in);
  EXPECT_FALSE(host.retry);
  EXPECT_EQ(host.now, 5000);
  EXPECT_EQ(message, "12 34");
}

TEST_F(UcpSession, WaitsTwentyOneTimeOutsForAnAnswer) {
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), kNoResponse);
  EXPECT_EQ(host.now, 1000 + 21 * 2000);
  EXPECT_THAT(host.Pauses(), SizeIs(1 + 21));
  EXPECT_TRUE(host.retry);
  EXPECT_THAT(host.Errors(), IsEmpty());
  EXPECT_THAT(host.Sent(), SizeIs(1));
}

TEST_F(UcpSession, AnswerToTheLastPollIsInTime) {
  CentreAnswers(42'000, UCPAcknowledgement());
  EXPECT_TRUE(Send());
  EXPECT_FALSE(host.retry);
}

TEST_F(UcpSession, TimeOutZeroPollsWithoutDelay) {
  service.TimeOut = 0;
  EXPECT_FALSE(Send());
  EXPECT_EQ(host.now, 1000);
  EXPECT_THAT(host.Pauses(), SizeIs(1 + 21));
  EXPECT_EQ(LastStatus(), kNoResponse);
}

TEST_F(UcpSession, SplitAnswerIsJudgedByItsFirstPart) {
  const std::string answer = UCPAcknowledgement();
  CentreAnswers(1900, answer.substr(0, 10));
  CentreAnswers(2100, answer.substr(10));
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), "Failed to send message: Received response invalid (Wrong checksum)!");
  EXPECT_TRUE(host.retry);
  EXPECT_EQ(host.now, 3000);
}

TEST_F(UcpSession, VeryShortFirstPartIsTooShort) {
  CentreAnswers(1900, UCPAcknowledgement().substr(0, 4));
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), "Failed to send message: Received response invalid (too short)!");
  EXPECT_TRUE(host.retry);
}

TEST_F(UcpSession, PartsWithinOnePollAreOneAnswer) {
  const std::string answer = UCPAcknowledgement();
  CentreAnswers(100, answer.substr(0, 10));
  CentreAnswers(1900, answer.substr(10));
  EXPECT_TRUE(Send());
}

TEST_F(UcpSession, NoiseBeforeTheAnswerSpoilsIt) {
  host.Arrives(0, "\r\n");
  CentreAnswers(100, UCPAcknowledgement());
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), "Failed to send message: Received response invalid (Wrong checksum)!");
}

TEST_F(UcpSession, RefusalGivesItsSystemMessage) {
  CentreAnswers(100, UCPRefusal("02", "/0123456789/"));
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), "Failed to send message: System message: 0123456789/");
  EXPECT_FALSE(host.retry);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(UcpSession, PassingRefusalSuggestsARetry) {
  CentreAnswers(100, UCPRefusal("04", "/busy/"));
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), "Failed to send message: System message: busy/");
  EXPECT_TRUE(host.retry);
}

TEST_F(UcpSession, RetryFlagSetBeforeStaysSet) {
  host.retry = true;
  CentreAnswers(100, UCPRefusal("02", "/no/"));
  EXPECT_FALSE(Send());
  EXPECT_TRUE(host.retry);
}

TEST_F(UcpSession, FrameThatCannotBeBuiltGivesError61) {
  service.UCPCommand = "30";
  EXPECT_FALSE(Send());
  EXPECT_THAT(host.record,
              ElementsAre("status Initiating UCP protocol...",
                          "error 61|Error in building UCP message: Invalid UCP Operation."
                          "|Sender.SendUCPMessage"));
  EXPECT_TRUE(host.logged_in);
  EXPECT_FALSE(host.retry);
}

TEST_F(UcpSession, Error61GivesTheReason) {
  message = "no digits";
  EXPECT_FALSE(Send());
  EXPECT_THAT(host.Errors(),
              ElementsAre("61|Error in building UCP message: Failed to encode Message or Message "
                          "empty!|Sender.SendUCPMessage"));
}

TEST_F(UcpSession, AbortBeforehandStillSendsTheFrame) {
  host.abort = true;
  CentreAnswers(0, UCPAcknowledgement());
  EXPECT_FALSE(Send());
  EXPECT_THAT(host.Sent(), SizeIs(1));
  const std::vector<std::string> tail(host.record.end() - 2, host.record.end());
  EXPECT_THAT(tail, ElementsAre("events", std::string("status ") + kAborted));
  EXPECT_EQ(host.now, 1000);
  EXPECT_FALSE(host.retry);
}

TEST_F(UcpSession, AbortInTheEventsOfAPollEndsBeforeItsPause) {
  host.AbortsInEvents(3);
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), kAborted);
  EXPECT_EQ(host.now, 1000 + 2 * 2000);
  EXPECT_FALSE(host.retry);
}

TEST_F(UcpSession, AbortDuringAPauseEndsBeforeTheNextOne) {
  host.AbortsAt(4000);
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), kAborted);
  EXPECT_EQ(host.now, 5000);
}

TEST_F(UcpSession, AnswerThatArrivesInThePauseOfAnAbortStillCounts) {
  host.AbortsAt(2000);
  CentreAnswers(1500, UCPAcknowledgement());
  EXPECT_TRUE(Send());
  EXPECT_EQ(LastStatus(), "Message sent!");
}

TEST_F(UcpSession, AbortInTheLastPauseIsTooLateToBeNoticed) {
  host.AbortsAt(43'000);
  EXPECT_FALSE(Send());
  EXPECT_EQ(LastStatus(), kNoResponse);
  EXPECT_TRUE(host.retry);
}

}  // namespace
}  // namespace mvsms
