// A paging client's session: what each command is answered, and which pages come of it.
#include "gateway/snpp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace mvsms::gateway {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct Sink : SnppSink {
  bool open = true;
  Answer answer{End::kQueued, "id 7"};
  std::vector<PageRequest> pages;

  bool IsOpen() override { return open; }
  bool LogIn(const std::string& name, const std::string& password) override {
    return name == "ward" && password == "secret";
  }
  Found Find(const std::string& pager) override {
    if (pager == "night") return {"@night", ""};
    return {pager, pager == "0" ? "the recipient is no number: 0" : ""};
  }
  Answer Send(const PageRequest& page) override {
    pages.push_back(page);
    return answer;
  }
};

std::string NextId() {
  static int id = 0;
  return "id" + std::to_string(++id);
}

class AnSnppSession : public testing::Test {
 protected:
  /// The code of the answer to a line, after holding it to the form that every answer has.
  int Code(const std::string& line) {
    const std::string answer = session_.Take(line);
    EXPECT_THAT(answer, EndsWith("\r\n")) << line;
    EXPECT_EQ(answer.find_first_of("\r\n"), answer.size() - 2) << answer;
    return std::stoi(answer);
  }
  /// Lines that are each answered with 250.
  void Do(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) EXPECT_EQ(Code(line), 250) << line;
  }
  const PageRequest& Sent() { return sink_.pages.at(sink_.pages.size() - 1); }

  Sink sink_;
  SnppSession session_{sink_, NextId};
};

TEST_F(AnSnppSession, GreetsAndSaysGoodbye) {
  EXPECT_THAT(session_.Greeting(), AllOf(StartsWith("220 "), EndsWith("\r\n")));
  EXPECT_EQ(Code("QUIT"), 221);
  EXPECT_TRUE(session_.over());
  EXPECT_EQ(session_.Take("HELP"), "");
  EXPECT_THAT(SnppSession::Farewell(), StartsWith("421 "));
}

TEST_F(AnSnppSession, TakesAPageOfOneLine) {
  Do({"PAGE 01711234567", "MESS Pump 3 has stopped", "SEND"});
  ASSERT_THAT(sink_.pages, SizeIs(1));
  EXPECT_THAT(Sent().to, ElementsAre("01711234567"));
  EXPECT_EQ(Sent().text, "Pump 3 has stopped");
  EXPECT_EQ(Sent().fit, "yes") << "a pager must not miss an alarm for a letter";
  EXPECT_EQ(Sent().priority, "");
}

TEST_F(AnSnppSession, KnowsCommandsByFourLettersInAnyCase) {
  Do({"pager 0171", "Message x", "rese", "PAGE 0171"});
  EXPECT_EQ(Code("PAG 0171"), 500);
  EXPECT_EQ(Code("PAGERS 0171"), 500);
  EXPECT_EQ(Code(""), 500);
}

TEST_F(AnSnppSession, TakesATextOfSeveralLines) {
  Do({"PAGE 0171"});
  EXPECT_EQ(Code("DATA"), 354);
  EXPECT_EQ(session_.Take("QUIT this is text"), "");
  EXPECT_EQ(session_.Take("..dot"), "");
  Do({".", "SEND"});
  EXPECT_EQ(Sent().text, "QUIT this is text .dot");
}

TEST_F(AnSnppSession, APageGoesToSeveralRecipients) {
  Do({"PAGE 0171", "PAGE night", "MESS x", "SEND"});
  EXPECT_THAT(Sent().to, ElementsAre("0171", "@night"));
}

TEST_F(AnSnppSession, RefusesARecipientAtOnceAndKeepsTheOthers) {
  Do({"PAGE 0171"});
  EXPECT_EQ(session_.Take("PAGE 0"), "550 Error, the recipient is no number: 0\r\n");
  EXPECT_EQ(Code("PAGE"), 550);
  Do({"MESS x", "SEND"});
  EXPECT_THAT(Sent().to, ElementsAre("0171"));
}

TEST_F(AnSnppSession, TakesAHundredRecipientsAtMost) {
  for (std::size_t i = 0; i < SnppSession::kMostRecipients; ++i) Do({"PAGE 0171"});
  EXPECT_EQ(Code("PAGE 0171"), 552);
}

TEST_F(AnSnppSession, APageWithoutRecipientOrTextIsNotSent) {
  EXPECT_EQ(Code("SEND"), 503);
  Do({"PAGE 0171"});
  EXPECT_EQ(Code("SEND"), 503);
  EXPECT_EQ(Code("MESS"), 550);
  EXPECT_EQ(Code("DATA"), 354);
  EXPECT_EQ(Code("."), 550);
  EXPECT_EQ(Code("SEND"), 503);
  EXPECT_THAT(sink_.pages, IsEmpty());
}

TEST_F(AnSnppSession, OneTextIsEnough) {
  Do({"MESS x"});
  EXPECT_EQ(Code("MESS y"), 503);
  EXPECT_EQ(Code("DATA"), 503);
}

TEST_F(AnSnppSession, AfterAPageTheNextBeginsFromNothing) {
  Do({"PAGE 0171", "MESS x", "PRIO 1", "SUBJ s", "CALL c", "SEND"});
  EXPECT_EQ(Code("SEND"), 503);
  Do({"PAGE 0172", "MESS y", "SEND"});
  EXPECT_EQ(Sent().text, "y");
  EXPECT_EQ(Sent().priority + Sent().from, "");
  EXPECT_NE(sink_.pages[0].id, Sent().id);
}

TEST_F(AnSnppSession, ResetForgetsThePage) {
  Do({"PAGE 0171", "MESS x", "RESE"});
  EXPECT_EQ(Code("SEND"), 503);
}

TEST_F(AnSnppSession, ThePageSaysWhatWasSetOfItInAnyOrder) {
  Do({"SUBJ Ward 7", "PAGE 0171", "MESS Fire", "CALL Porter", "LEVE 0", "ALER 1", "SEND"});
  EXPECT_EQ(Sent().text, "Ward 7: Fire");
  EXPECT_EQ(Sent().from, "Porter");
  EXPECT_EQ(Sent().priority, "0");
}

TEST_F(AnSnppSession, ServiceLevelsArePriorities) {
  const char* const priorities[] = {"0", "5", "5", "6", "7", "8", "9", "9"};
  for (int level = 0; level < 8; ++level) {
    Do({"PAGE 0171", "MESS x", "LEVEL " + std::to_string(level), "SEND"});
    EXPECT_EQ(Sent().priority, priorities[level]) << level;
  }
}

TEST_F(AnSnppSession, RefusesWhatIsNoLevelPriorityAlertOrCaller) {
  for (const char* line : {"LEVE 8", "LEVE", "LEVE -1", "PRIO 10", "PRIO x", "PRIO 999", "ALER 2",
                           "CALL", "CALL a/b"}) {
    EXPECT_EQ(Code(line), 550) << line;
  }
  Do({"PRIO 9"});
}

TEST_F(AnSnppSession, HoldsAPageUntilAMoment) {
  Do({"PAGE 0171", "MESS x", "HOLD 361122070000", "SEND"});
  EXPECT_EQ(Sent().not_before, "2036-11-22 07:00:00");
  EXPECT_EQ(Code("HOLD 361322070000"), 550);
  EXPECT_EQ(Code("HOLD tomorrow"), 550);
  EXPECT_EQ(Code("HOLD"), 550);
}

TEST(MomentsOfSnpp, HaveADistanceFromUtcOrAreLocal) {
  EXPECT_EQ(ReadSnppMoment("361122070000 +0000"), 2110950000);
  EXPECT_EQ(ReadSnppMoment("361122070000 +0100"), 2110950000 - 3600);
  EXPECT_EQ(ReadSnppMoment("361122070000-0530"), 2110950000 + 19800);
  EXPECT_EQ(ReadSnppMoment("361122070000 +01"), 2110950000 - 3600);
  std::tm local{};
  local.tm_year = 136, local.tm_mon = 10, local.tm_mday = 22, local.tm_hour = 7;
  local.tm_isdst = -1;
  EXPECT_EQ(ReadSnppMoment("361122070000"), std::mktime(&local));
  for (const char* text : {"", "36112207000", "360230000000", "361122076100", "361122070000 CET",
                           "361122070000 +1", "36112207000x", "361122070000 +00:00"}) {
    EXPECT_EQ(ReadSnppMoment(text), std::nullopt) << text;
  }
}

TEST_F(AnSnppSession, WhatItDoesNotDoIsNotImplemented) {
  for (const char* line : {"2WAY", "PING 0171", "EXPT 1", "NOQU", "ACKR 1", "RTYP NONE", "MCRE 1 a",
                           "MSTA 1 2", "KTAG 1 2", "COVE 3", "SITE HELP"}) {
    EXPECT_EQ(Code(line), 500) << line;
  }
}

TEST_F(AnSnppSession, HelpNamesEveryCommand) {
  const std::string help = session_.Take("HELP");
  for (const char* name : {"PAGEr", "MESSage", "DATA", "SEND", "RESEt", "HOLDuntil", "QUIT"}) {
    EXPECT_THAT(help, HasSubstr(std::string("214 ") + name));
  }
  EXPECT_THAT(help, EndsWith("\r\n250 End of help information\r\n"));
}

TEST_F(AnSnppSession, AClosedDoorNeedsALogin) {
  sink_.open = false;
  EXPECT_EQ(Code("PAGE 0171"), 550);
  EXPECT_EQ(Code("LOGI ward wrong"), 550);
  EXPECT_EQ(Code("LOGI"), 550);
  Do({"LOGI ward secret", "PAGE 0171", "MESS x", "SEND"});
  EXPECT_EQ(Code("LOGI ward wrong"), 550);
  EXPECT_EQ(Code("PAGE 0171"), 550) << "a failed login takes the one before it back";
}

TEST_F(AnSnppSession, APageThatIsRefusedStaysAndIsTheSameWhenItIsSentAgain) {
  sink_.answer = {SnppSink::End::kRefused, "the text is too long"};
  Do({"PAGE 0171", "MESS x"});
  EXPECT_EQ(session_.Take("SEND"), "554 Message failed: the text is too long\r\n");
  sink_.answer = {SnppSink::End::kQueued, ""};
  Do({"SEND"});
  EXPECT_EQ(sink_.pages[0].id, sink_.pages[1].id);
}

TEST_F(AnSnppSession, WhenTheQueueCannotBeWrittenItEnds) {
  sink_.answer = {SnppSink::End::kUnavailable, "the disk is full"};
  Do({"PAGE 0171", "MESS x"});
  EXPECT_EQ(Code("SEND"), 421);
  EXPECT_TRUE(session_.over());
}

TEST_F(AnSnppSession, WhoMakesTooManyErrorsIsSentAway) {
  for (int i = 1; i < SnppSession::kMostErrors; ++i) EXPECT_EQ(Code("WHAT"), 500);
  EXPECT_EQ(Code("WHAT"), 421);
  EXPECT_TRUE(session_.over());
}

TEST_F(AnSnppSession, AWebPagePagesNobodyThroughItsBrowser) {
  EXPECT_EQ(Code("POST /?PAGE HTTP/1.1"), 421);
  EXPECT_EQ(session_.Take("PAGE 0171"), "");
}

TEST_F(AnSnppSession, ATextMayTellOfHttp) {
  Do({"PAGE 0171", "MESS GET / HTTP/1.1 failed", "SEND"});
}

TEST_F(AnSnppSession, LinesAndTextsHaveAnEnd) {
  EXPECT_EQ(Code("MESS " + std::string(SnppSession::kLongestLine, 'x')), 500);
  EXPECT_EQ(Code("DATA"), 354);
  for (std::size_t size = 0; size <= SnppSession::kLongestText; size += 1000) {
    EXPECT_EQ(session_.Take(std::string(1000, 'x')), "");
  }
  EXPECT_EQ(Code("."), 550);
  Do({"MESS x"});
}

TEST_F(AnSnppSession, TakesLatin1AndLeavesNoControlCharacter) {
  Do({"PAGE 0171", "MESS St\xF6rung\x1b[2J", "SEND", "PAGE 0171", "MESS Störung", "SEND"});
  EXPECT_EQ(sink_.pages[0].text, "Störung [2J");
  EXPECT_EQ(sink_.pages[1].text, "Störung");
}

TEST_F(AnSnppSession, AnAnswerIsOneLineWhateverTheSinkSays) {
  sink_.answer = {SnppSink::End::kRefused, "a\r\n250 b"};
  Do({"PAGE 0171", "MESS x"});
  EXPECT_EQ(Code("SEND"), 554);
}

}  // namespace
}  // namespace mvsms::gateway
