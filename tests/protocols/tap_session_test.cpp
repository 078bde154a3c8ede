// The TAP dialogue against a scripted centre, in virtual time.
#include "protocols/tap_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/protocols/fake_host.h"

namespace mvsms {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::SizeIs;

constexpr char kAborted[] = "Sending was aborted!";
constexpr char kNoPrompt[] =
    "58|Time limit exceeded waiting for TAP login prompt ('ID=')|Sender.DoTAPLogin";
constexpr char kNoGoAhead[] =
    "59|Time limit exceeded waiting for TAP login acknowledge ('[p')|Sender.DoTAPLogin";
constexpr char kNoAck[] =
    "68|Retry limit exceeded waiting for TAP message response ('<ACK>')|Sender.DoTAPLogin";
constexpr char kSilence[] = "Error Logging In (Terminal ID error).  Will Attempt Again";

// --- login ------------------------------------------------------------------------------------

class TapLogin : public ::testing::Test {
 protected:
  TapLogin() { service.Password = "SECRET"; }

  // The centre prompts after the first CR, so that the login frame is the second Send. The frame
  // leaves at 4000 ms and its answer is polled every second from 5000 ms.
  void CentrePrompts() { host.Answers(1, 100, "ID="); }
  void CentreAnswersLogin(std::int64_t delay, const std::string& text) {
    host.Answers(2, delay, text);
  }
  void LogIn() { DoTAPLogin(host, service); }

  FakeHost host;
  ServiceRecord service;
};

TEST_F(TapLogin, GoesStepByStep) {
  host.Arrives(0, "CONNECT 1200\r\n");
  CentrePrompts();
  host.Arrives(3400, "more banner");
  CentreAnswersLogin(200, "\r\x06\r\x1B[p\r");
  LogIn();
  EXPECT_THAT(host.record,
              ElementsAre("receive", "pause 1000", "status Initiating TAP Login Session", "send \r",
                          "status Sending <CR>", "pause 2000", "receive",
                          "status Transmitter Response: ID=", "status Received Logon prompt: ID=",
                          "pause 500", "receive", "pause 500", "receive",
                          "status Sending Terminal ID: SECRET", "send \x1BSECRET\r", "pause 1000",
                          "receive", "status Transmitter acknowledge: <CR><ACK><CR><ESC>[p<CR>"));
  EXPECT_TRUE(host.logged_in);
  EXPECT_FALSE(host.retry);
  EXPECT_EQ(host.now, 5000);
}

TEST_F(TapLogin, ShowsAnAnswerToCRRawAndThePromptInNotation) {
  host.Answers(1, 100, "ID=\r\n");
  LogIn();
  EXPECT_THAT(host.Statuses(), IsSupersetOf({"Transmitter Response: ID=\r\n",
                                             "Received Logon prompt: ID=<CR><LF>"}));
}

TEST_F(TapLogin, DiscardsWhatArrivedDuringCallSetUp) {
  host.Arrives(0, "ID=");
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoPrompt));
}

TEST_F(TapLogin, TakesAPromptThatArrivesByItselfAfterTheFirstReceive) {
  host.Arrives(500, "ID=");
  LogIn();
  EXPECT_THAT(host.Statuses(), Contains("Received Logon prompt: ID="));
}

TEST_F(TapLogin, SixthUnansweredCarriageReturnGivesError58) {
  LogIn();
  EXPECT_THAT(host.Sent(), ElementsAre("\r", "\r", "\r", "\r", "\r", "\r"));
  EXPECT_THAT(host.Statuses(),
              ElementsAre("Initiating TAP Login Session", "Sending <CR>", "Transmitter Response: ",
                          "Sending <CR>", "Transmitter Response: ", "Sending <CR>",
                          "Transmitter Response: ", "Sending <CR>",
                          "Transmitter Response: ", "Sending <CR>",
                          "Transmitter Response: ", "Sending <CR>", "Transmitter Response: "));
  EXPECT_THAT(host.Errors(), ElementsAre(kNoPrompt));
  EXPECT_EQ(host.record.back(), std::string("error ") + kNoPrompt);
  EXPECT_EQ(host.now, 1000 + 6 * 2000);
  EXPECT_FALSE(host.logged_in);
  EXPECT_FALSE(host.retry);
}

TEST_F(TapLogin, PromptAfterTheSixthCarriageReturnIsInTime) {
  host.Answers(6, 2000, "ID=");
  host.Answers(7, 100, "\x1B[p\r");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapLogin, PromptMustBeginTheAnswer) {
  for (int cr = 1; cr <= 6; ++cr) host.Answers(cr, 100, "\r\nID=");
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoPrompt));
  EXPECT_THAT(host.Statuses(), Contains("Transmitter Response: \r\nID="));
}

TEST_F(TapLogin, ShorterAnswersAreNoPrompt) {
  host.Answers(1, 100, "ID");
  host.Answers(2, 100, "id=");
  host.Answers(3, 100, "=");
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoPrompt));
}

TEST_F(TapLogin, EmptyPasswordBecomesPG1AlsoForTheCaller) {
  service.Password.clear();
  CentrePrompts();
  CentreAnswersLogin(100, "[p");
  LogIn();
  EXPECT_THAT(host.Sent(), ElementsAre("\r", "\x1BPG1\r"));
  EXPECT_THAT(host.Statuses(), Contains("Sending Terminal ID: PG1"));
  EXPECT_EQ(service.Password, "PG1");
}

TEST_F(TapLogin, PasswordStaysEmptyWithoutPrompt) {
  service.Password.clear();
  LogIn();
  EXPECT_EQ(service.Password, "");
}

TEST_F(TapLogin, GoAheadASecondAfterTheAcceptanceIsInTime) {
  CentrePrompts();
  CentreAnswersLogin(500, "\r\x06\r");
  CentreAnswersLogin(1500, "\x1B[p\r");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_EQ(host.now, 6000);
  EXPECT_EQ(host.Statuses().back(), "Transmitter acknowledge: <ESC>[p<CR>");
  EXPECT_THAT(host.Sent(), SizeIs(2));
}

TEST_F(TapLogin, TenSilentPollsGiveError59) {
  CentrePrompts();
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoGoAhead));
  EXPECT_EQ(host.record.back(), std::string("error ") + kNoGoAhead);
  EXPECT_EQ(host.record[host.record.size() - 2], std::string("status ") + kSilence);
  std::vector<std::string> statuses = host.Statuses();
  statuses.erase(statuses.begin(), statuses.begin() + 5);
  EXPECT_THAT(statuses, SizeIs(10));
  EXPECT_THAT(statuses, Each(kSilence));
  EXPECT_EQ(host.now, 1000 + 2000 + 500 + 500 + 10 * 1000);
  EXPECT_THAT(host.Sent(), SizeIs(2)) << "the login is not sent again";
  EXPECT_FALSE(host.logged_in);
}

TEST_F(TapLogin, AnswerToTheTenthPollIsInTime) {
  CentrePrompts();
  CentreAnswersLogin(10'000, "[p");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapLogin, AcceptanceIsNotCountedAsASilentPoll) {
  CentrePrompts();
  CentreAnswersLogin(500, "\r\x06\r");
  CentreAnswersLogin(1500, "\r\x06\r");
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoGoAhead));
  EXPECT_EQ(host.now, 4000 + 12 * 1000);
}

TEST_F(TapLogin, RefusalSendsTheLoginAgainUntilItIsAccepted) {
  CentrePrompts();
  for (int login = 2; login <= 4; ++login) host.Answers(login, 100, "\r\x15\r");
  host.Answers(5, 100, "\r\x06\r\x1B[p\r");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_THAT(host.Sent(),
              ElementsAre("\r", "\x1BSECRET\r", "\x1BSECRET\r", "\x1BSECRET\r", "\x1BSECRET\r"));
  EXPECT_EQ(host.now, 4000 + 4 * 1000);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapLogin, ThereIsNoLimitOnRefusals) {
  CentrePrompts();
  for (int login = 2; login <= 200; ++login) host.Answers(login, 100, "\x15");
  host.Answers(201, 100, "[p");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_THAT(host.Sent(), SizeIs(201));
}

TEST_F(TapLogin, CounterOfSilentPollsStartsAgainAfterARefusal) {
  CentrePrompts();
  CentreAnswersLogin(9'500, "\x15");  // after nine silent polls
  LogIn();
  EXPECT_THAT(host.Errors(), ElementsAre(kNoGoAhead));
  EXPECT_EQ(host.now, 4000 + 10 * 1000 + 10 * 1000);
  EXPECT_THAT(host.Sent(), SizeIs(3));
}

TEST_F(TapLogin, DiscardsWhatFollowedARefusalBeforeTheNextLogin) {
  CentrePrompts();
  CentreAnswersLogin(100, "\x15");
  host.AbortsAt(6000);
  LogIn();
  const std::vector<std::string> tail(host.record.end() - 6, host.record.end());
  EXPECT_THAT(tail,
              ElementsAre("receive", "receive", "status Sending Terminal ID: SECRET",
                          "send \x1BSECRET\r", "pause 1000", std::string("status ") + kAborted));
}

TEST_F(TapLogin, GoAheadCountsMoreThanARefusalInTheSameAnswer) {
  for (const char* answer : {"\x15\x1B[p\r", "\x1B[p\r\x15", "noise[pnoise\x1B\x04"}) {
    FakeHost fresh;
    fresh.Answers(1, 100, "ID=");
    fresh.Answers(2, 100, answer);
    DoTAPLogin(fresh, service);
    EXPECT_TRUE(fresh.logged_in);
  }
}

TEST_F(TapLogin, AcceptanceCountsMoreThanARefusalInTheSameAnswer) {
  CentrePrompts();
  CentreAnswersLogin(100, "\x15\r\x06\r\x1B\x04");
  CentreAnswersLogin(1100, "[p");
  LogIn();
  EXPECT_TRUE(host.logged_in);
  EXPECT_THAT(host.Sent(), SizeIs(2));
}

TEST_F(TapLogin, RefusalCountsMoreThanAForcedEndInTheSameAnswer) {
  CentrePrompts();
  CentreAnswersLogin(100, "\x1B\x04\x15");
  host.Answers(3, 100, "[p");
  LogIn();
  EXPECT_TRUE(host.logged_in);
}

TEST_F(TapLogin, ForcedEndIsSilent) {
  CentrePrompts();
  CentreAnswersLogin(100, "\r\x1B\x04\r");
  LogIn();
  EXPECT_FALSE(host.logged_in);
  EXPECT_FALSE(host.retry);
  EXPECT_THAT(host.Errors(), IsEmpty());
  EXPECT_EQ(host.Statuses().back(), "Sending Terminal ID: SECRET");
  EXPECT_EQ(host.record.back(), "receive");
}

TEST_F(TapLogin, AnyOtherAnswerGivesError58InNotation) {
  CentrePrompts();
  CentreAnswersLogin(100,
                     "\r\x1E"
                     "110 busy\x06\r\x04");
  LogIn();
  EXPECT_THAT(host.Errors(),
              ElementsAre("58|TAP response not understood: <CR><RS>110 busy<ACK><CR><EOT>"
                          "|Sender.DoTAPLogin"));
  EXPECT_FALSE(host.logged_in);
  EXPECT_FALSE(host.retry);
  EXPECT_EQ(host.now, 5000);
}

// --- abort of the login -----------------------------------------------------------------------

TEST_F(TapLogin, AbortWhileWaitingForThePromptEndsAfterItsAnswer) {
  CentrePrompts();
  host.AbortsAt(2000);
  LogIn();
  EXPECT_THAT(host.Statuses(), ElementsAre("Initiating TAP Login Session", "Sending <CR>",
                                           "Transmitter Response: ID=", kAborted));
  EXPECT_EQ(host.now, 3000);
}

TEST_F(TapLogin, AbortBeforehandStillSendsOneCarriageReturn) {
  host.abort = true;
  LogIn();
  EXPECT_THAT(host.Sent(), ElementsAre("\r"));
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapLogin, AbortAtTheLastPromptBeatsError58) {
  host.AbortsAt(13'000);
  LogIn();
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapLogin, AbortAtThePromptEndsAfterThePasswordIsCompleted) {
  service.Password.clear();
  CentrePrompts();
  host.AbortsOnStatus("Received Logon prompt");
  LogIn();
  EXPECT_EQ(host.record.back(), std::string("status ") + kAborted);
  EXPECT_EQ(service.Password, "PG1");
  EXPECT_EQ(host.now, 3000) << "no pause after the prompt";
}

TEST_F(TapLogin, AbortWhileThePromptFinishesEndsBeforeTheLogin) {
  for (const int time : {3500, 4000}) {
    FakeHost fresh;
    fresh.Answers(1, 100, "ID=");
    fresh.AbortsAt(time);
    DoTAPLogin(fresh, service);
    EXPECT_EQ(fresh.Statuses().back(), kAborted);
    EXPECT_THAT(fresh.Sent(), ElementsAre("\r"));
    EXPECT_EQ(fresh.now, 4000);
  }
}

TEST_F(TapLogin, AbortWhileWaitingForTheGoAheadEndsBeforeItsAnswerIsRead) {
  CentrePrompts();
  CentreAnswersLogin(100, "[p");
  host.AbortsAt(5000);
  LogIn();
  EXPECT_FALSE(host.logged_in);
  const std::vector<std::string> tail(host.record.end() - 2, host.record.end());
  EXPECT_THAT(tail, ElementsAre("pause 1000", std::string("status ") + kAborted));
}

TEST_F(TapLogin, AbortEndsAnEndlessRefusal) {
  CentrePrompts();
  for (int login = 2; login < 100; ++login) host.Answers(login, 100, "\x15");
  host.AbortsAt(20'000);
  LogIn();
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_EQ(host.now, 20'000);
}

// --- messages ---------------------------------------------------------------------------------

class TapMessage : public ::testing::Test {
 protected:
  TapMessage() {
    host.logged_in = true;
    service.MessageType = kMessageTypeAlphanumeric;
    service.TimeOut = 500;
  }

  bool Send(std::string text, const std::string& pager = "1") {
    message = std::move(text);
    return SendTapMessage(host, pager, "ignored originator", message, service, 77);
  }

  FakeHost host;
  ServiceRecord service;
  std::string message;
};

TEST_F(TapMessage, GoesStepByStep) {
  host.Answers(1, 100, "\r\x06\r");
  EXPECT_TRUE(Send("A"));
  EXPECT_THAT(host.record,
              ElementsAre("pause 500",
                          "status Sending TAP Message: \x02"
                          "1<CR>A<CR>\x03"
                          "091<CR>",
                          "send \x02"
                          "1\rA\r\x03"
                          "091\r",
                          "pause 2000", "receive", "status Response received: <CR><ACK><CR>"));
  EXPECT_FALSE(host.retry);
  EXPECT_EQ(host.now, 2500);
}

TEST_F(TapMessage, ConvertsTheTextButNotThePager) {
  host.Answers(1, 100, "\x06");
  EXPECT_TRUE(Send("\xFC\n", "\xFC/1"));
  // 2+252+47+49+13+125+32+13+3 = 536 = 2*256 + 1*16 + 8
  EXPECT_THAT(host.Sent(), ElementsAre("\x02\xFC/1\r\x7D \r\x03"
                                       "218\r"));
  EXPECT_EQ(message, "\xFC\n") << "the caller's message is not converted";
}

TEST_F(TapMessage, NumericServiceSendsDigitsOnly) {
  service.MessageType = kMessageTypeNumeric;
  host.Answers(1, 100, "\x06");
  EXPECT_TRUE(Send("call 12-34"));
  // 2+49+13+49+50+51+52+13+3 = 282 = 1*256 + 1*16 + 10
  EXPECT_THAT(host.Sent(), ElementsAre("\x02"
                                       "1\r1234\r\x03"
                                       "11:\r"));
}

TEST_F(TapMessage, EmptyMessageIsSentAsOneSpace) {
  host.Answers(1, 100, "\x06");
  EXPECT_TRUE(Send(""));
  // 2+49+13+32+13+3 = 112 = 7*16
  EXPECT_THAT(host.Sent(), ElementsAre("\x02"
                                       "1\r \r\x03"
                                       "070\r"));
  EXPECT_EQ(message, " ");
}

TEST_F(TapMessage, EmptyNumericMessageGivesError62WithoutReason) {
  service.MessageType = kMessageTypeNumeric;
  EXPECT_FALSE(Send(""));
  EXPECT_THAT(host.record, ElementsAre("error 62|Error checking TAP MessageText: "
                                       "|Sender.SendTapMessage"));
  EXPECT_EQ(message, " ");
}

TEST_F(TapMessage, RefusedTextGivesError62WithItsReason) {
  EXPECT_FALSE(Send("tr\xE8s"));
  EXPECT_THAT(host.record,
              ElementsAre("error 62|Error checking TAP MessageText: Error in function: "
                          "CalcTAPCheckSum - Type mismatch|Sender.SendTapMessage"));
  EXPECT_FALSE(host.retry);
  EXPECT_EQ(host.now, 0);
}

TEST_F(TapMessage, UnknownMessageTypeGivesError62WithoutReason) {
  service.MessageType = 0;
  EXPECT_FALSE(Send("A"));
  EXPECT_THAT(host.Errors(),
              ElementsAre("62|Error checking TAP MessageText: |Sender.SendTapMessage"));
}

TEST_F(TapMessage, ChecksumOverflowGivesError64) {
  const std::string half(4'250'000, '\xFF');
  EXPECT_FALSE(Send("A", half + half));
  EXPECT_THAT(host.record,
              ElementsAre("error 64|Error in calculating TAP checksum: Error in function: "
                          "CalcTAPCheckSum - Overflow|Sender.SendTapMessage"));
}

TEST_F(TapMessage, AnyOtherAnswerFailsAtOnceAndSuggestsARetry) {
  for (const char* answer : {"\r\x15\r", "\r\x1E\r", "garbage", "\x1B\x04\r", " "}) {
    FakeHost fresh;
    fresh.logged_in = true;
    fresh.Answers(1, 100, answer);
    message = "A";
    EXPECT_FALSE(SendTapMessage(fresh, "1", "", message, service, 0));
    EXPECT_TRUE(fresh.retry);
    EXPECT_THAT(fresh.Errors(), IsEmpty());
    EXPECT_EQ(fresh.now, 2500);
  }
}

TEST_F(TapMessage, ReportsARefusalInNotation) {
  host.Answers(1, 100,
               "\x1E"
               "511\r\n\x15");
  EXPECT_FALSE(Send("A"));
  EXPECT_EQ(host.Statuses().back(), "Response received: <RS>511<CR><LF><NAK>");
}

TEST_F(TapMessage, AcknowledgementCountsAnywhereInTheAnswer) {
  host.Answers(1, 100, "\x15noise\x06\x1E");
  EXPECT_TRUE(Send("A"));
  EXPECT_FALSE(host.retry);
}

TEST_F(TapMessage, AcknowledgementCountsAlsoInLetters) {
  host.Answers(1, 100, "<ACK>");
  EXPECT_TRUE(Send("A"));
}

TEST_F(TapMessage, NinthSilentPollGivesError68FromTheLogin) {
  EXPECT_FALSE(Send("A"));
  EXPECT_THAT(host.Errors(), ElementsAre(kNoAck));
  EXPECT_THAT(host.Pauses(), ElementsAre("500", "2000", "2000", "2000", "2000", "2000", "2000",
                                         "2000", "2000", "2000"));
  EXPECT_EQ(host.now, 500 + 9 * 2000);
  EXPECT_THAT(host.Statuses(), SizeIs(1));
  EXPECT_FALSE(host.retry) << "silence is no answer";
  EXPECT_TRUE(host.logged_in);
}

TEST_F(TapMessage, AnswerToTheNinthPollIsInTime) {
  host.Answers(1, 18'000, "\x06");
  EXPECT_TRUE(Send("A"));
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapMessage, DoesNotDiscardWhatArrivedBeforeTheBlock) {
  host.Arrives(0, "\x06");
  EXPECT_TRUE(Send("A"));
}

TEST_F(TapMessage, TimeOutZeroSendsAtOnce) {
  service.TimeOut = 0;
  host.Answers(1, 100, "\x06");
  EXPECT_TRUE(Send("A"));
  EXPECT_EQ(host.record.front(), "pause 0");
  EXPECT_EQ(host.now, 2000);
}

TEST_F(TapMessage, AbortDuringTheTimeOutStillSendsTheBlock) {
  host.AbortsAt(500);
  host.Answers(1, 100, "\x06");
  EXPECT_FALSE(Send("A"));
  EXPECT_THAT(host.Sent(), SizeIs(1));
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_EQ(host.now, 2500);
}

TEST_F(TapMessage, AbortWhileWaitingEndsBeforeTheAnswerIsRead) {
  host.AbortsAt(6500);
  host.Answers(1, 5900, "\x06");
  EXPECT_FALSE(Send("A"));
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_EQ(host.now, 6500);
  EXPECT_FALSE(host.retry);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

TEST_F(TapMessage, AbortAtTheLastPollBeatsError68) {
  host.AbortsAt(18'500);
  EXPECT_FALSE(Send("A"));
  EXPECT_EQ(host.Statuses().back(), kAborted);
  EXPECT_THAT(host.Errors(), IsEmpty());
}

// --- login and messages together ----------------------------------------------------------------

class TapConnection : public TapMessage {
 protected:
  TapConnection() { host.logged_in = false; }
};

TEST_F(TapConnection, FirstMessageLogsInAndTheSecondDoesNot) {
  host.Answers(1, 100, "ID=");
  host.Answers(2, 100, "\r\x06\r\x1B[p\r");
  host.Answers(3, 100, "\r\x06\r");
  host.Answers(4, 100, "\r\x06\r");
  EXPECT_TRUE(Send("A"));
  EXPECT_TRUE(Send("A"));
  EXPECT_THAT(host.Sent(), ElementsAre("\r", "\x1BPG1\r",
                                       "\x02"
                                       "1\rA\r\x03"
                                       "091\r",
                                       "\x02"
                                       "1\rA\r\x03"
                                       "091\r"));
  EXPECT_EQ(service.Password, "PG1");
}

TEST_F(TapConnection, SendsNothingAfterAFailedLogin) {
  EXPECT_FALSE(Send(""));
  EXPECT_THAT(host.Errors(), ElementsAre(kNoPrompt));
  EXPECT_THAT(host.Sent(), Each("\r"));
  EXPECT_EQ(message, "") << "the message is left alone";
}

TEST_F(TapConnection, EveryFurtherMessageTriesTheLoginAgain) {
  EXPECT_FALSE(Send("A"));
  host.Answers(7, 100, "ID=");
  host.Answers(8, 100, "[p");
  host.Answers(9, 100, "\x06");
  EXPECT_TRUE(Send("A"));
  EXPECT_TRUE(host.logged_in);
}

TEST_F(TapConnection, ForcedEndOfTheLoginSendsNothing) {
  host.Answers(1, 100, "ID=");
  host.Answers(2, 100, "\x1B\x04\r");
  EXPECT_FALSE(Send("A"));
  EXPECT_THAT(host.Sent(), SizeIs(2));
  EXPECT_THAT(host.Errors(), IsEmpty());
  EXPECT_FALSE(host.retry);
  EXPECT_THAT(host.Statuses(), Not(Contains(kAborted)));
}

}  // namespace
}  // namespace mvsms
