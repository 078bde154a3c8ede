// What is made of a send: every ending of a call with a real message centre on a machine in memory,
// with the outcome, the exit code and the words of the reason. To be read as one table.
#include "dispatch/outcome.h"

#include <gmock/gmock.h>

#include <sstream>

#include "tests/sweep/paging_host.h"

namespace mvsms::dispatch {
namespace {

using sweep::kTap;
using sweep::kUcp;
using sweep::PagingHost;
using sweep::Protocol;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> Words(const std::string& settings) {
  std::istringstream words(settings);
  return {std::istream_iterator<std::string>(words), {}};
}

void Expect(const Judgement& judgement, Outcome outcome, Exit exit, const std::string& reason) {
  EXPECT_EQ(NameOf(judgement.outcome), NameOf(outcome)) << judgement.reason;
  EXPECT_EQ(judgement.exit_code, static_cast<int>(exit)) << judgement.reason;
  EXPECT_THAT(judgement.reason, HasSubstr(reason));
  EXPECT_EQ(judgement.advice.empty(), outcome == Outcome::kAccepted) << judgement.advice;
}

constexpr char kText[] = "Pump 3 has stopped";

// --- the centre and the line to it

struct CentreRow {
  Protocol protocol;
  const char* settings;  // of the centre
  Outcome outcome;
  Exit exit;
  const char* reason;
};

constexpr CentreRow kCentreRows[] = {
    {kTap, "", Outcome::kAccepted, Exit::kAccepted, "has acknowledged"},
    {kUcp, "", Outcome::kAccepted, Exit::kAccepted, "has acknowledged"},
    {kUcp, "system-message=", Outcome::kAccepted, Exit::kAccepted, "has acknowledged"},
    {kUcp, "noise=~x~", Outcome::kAccepted, Exit::kAccepted, "has acknowledged"},

    {kUcp, "refuse=all ucp-refusal=2", Outcome::kRefused, Exit::kRefused, "Syntax error"},
    {kUcp, "refuse=all ucp-refusal=6", Outcome::kRefused, Exit::kRefused, "/N/06/"},
    {kUcp, "refuse=all ucp-refusal=24", Outcome::kRefused, Exit::kRefused, "/N/24/"},
    {kUcp, "refuse=all ucp-refusal=4", Outcome::kRefused, Exit::kRetry, "Operation not allowed"},
    {kUcp, "refuse=all ucp-refusal=33", Outcome::kRefused, Exit::kRetry, "/N/33/"},
    {kTap, "refuse=all refusal=rs", Outcome::kRefused, Exit::kRefused, "511 Invalid pager ID"},
    {kTap, "refuse=all refusal=nak", Outcome::kRefused, Exit::kRetry, "511 Invalid pager ID"},
    {kTap, "recipients=999", Outcome::kRefused, Exit::kRefused, "Invalid pager ID"},

    {kTap, "password=secret", Outcome::kRefused, Exit::kRefused, "refused the login"},
    {kTap, "identifier=XX9", Outcome::kRefused, Exit::kRefused, "refused the login"},

    {kTap, "silent-at=prompt", Outcome::kUnreachable, Exit::kRetry, "did not ask for a login"},
    {kTap, "silent-at=login", Outcome::kUnreachable, Exit::kRetry, "not answer the login"},
    {kTap, "login-refusals=1 login-refusal=rs", Outcome::kUnreachable, Exit::kRetry,
     "not understood"},
    {kTap, "hang-up-after-sent=1", Outcome::kUnreachable, Exit::kRetry, "line was lost"},
    {kTap, "hang-up-after-received=6", Outcome::kUnreachable, Exit::kRetry, "line was lost"},

    {kTap, "silent-at=message", Outcome::kUnknown, Exit::kUnknown, "did not answer"},
    {kUcp, "silent-at=message", Outcome::kUnknown, Exit::kUnknown, "did not answer"},
    {kTap, "ack=ok", Outcome::kUnknown, Exit::kUnknown, "neither yes nor no"},
    {kTap, "ack=.<ACK>.<CR><NAK>", Outcome::kUnknown, Exit::kUnknown, "neither yes nor no"},
    {kUcp, "wrong-checksums=all", Outcome::kUnknown, Exit::kUnknown, "damaged"},
    {kUcp, "truncate-answers=20", Outcome::kUnknown, Exit::kUnknown, "damaged"},
    {kUcp, "chunk-bytes=5 chunk-gap=3000", Outcome::kUnknown, Exit::kUnknown, "damaged"},
    {kTap, "hang-up-after-received=20", Outcome::kUnknown, Exit::kUnknown, "line was lost after"},
    {kUcp, "hang-up-after-received=20", Outcome::kUnknown, Exit::kUnknown, "line was lost after"},
    {kUcp, "hang-up-after-sent=3", Outcome::kUnknown, Exit::kUnknown, "line was lost after"},
};

TEST(Outcome, OfEveryWordOfTheCentre) {
  for (const CentreRow& row : kCentreRows) {
    SCOPED_TRACE(std::string(row.protocol.name) + ": " + row.settings);
    PagingHost host(row.protocol, Words(row.settings));
    host.Send(kText);
    Expect(Judge(host.sender.Report()), row.outcome, row.exit, row.reason);
  }
}

TEST(Outcome, OfEveryCallThatDoesNotComeUp) {
  constexpr std::pair<CallCause, const char*> kCauses[] = {
      {CallCause::kDisconnectBusy, "0123456 is busy"},
      {CallCause::kDisconnectNoAnswer, "nobody answers at 0123456"},
      {CallCause::kDisconnectBadAddress, "0123456 cannot be dialled"},
      {CallCause::kDisconnectRejected, "rejected"},
      {CallCause::kDisconnectFailed, "no dial tone"},
      {CallCause::kNone, "reason: None"},
      {CallCause::kDisconnectNormal, "reason: Normal"},
  };
  for (const auto& [cause, reason] : kCauses) {
    PagingHost host(kTap);
    host.platform.lines[0].outcome = CallState::kDisconnected;
    host.platform.lines[0].cause = cause;
    host.Send(kText);
    Expect(Judge(host.sender.Report()), Outcome::kUnreachable, Exit::kRetry, reason);
  }
}

TEST(Outcome, OfALoginThatTheLineWasRefusedIsRefused) {
  SendReport report;
  report.step = SendStep::kCall;
  report.modem = "Net";
  report.call_cause = CallCause::kDisconnectRejected;
  report.call_refusal = "07/Authentication failure";
  Expect(Judge(report), Outcome::kRefused, Exit::kRefused,
         "refused the login: \"07/Authentication failure\"");
  EXPECT_EQ(Judge(report).advice, "check --login and --password-file of the modem \"Net\"");
}

TEST(Outcome, OfACallThatRingsForEverIsUnreachable) {
  PagingHost host(kUcp);
  host.platform.lines[0].outcome = CallState::kInProgress;
  host.Send(kText);
  Expect(Judge(host.sender.Report()), Outcome::kUnreachable, Exit::kRetry, "did not come up");
}

// --- the modem, the settings and the message

struct HostRow {
  const char* name;
  void (*spoil)(PagingHost& host);
  Outcome outcome;
  Exit exit;
  const char* reason;
};

const HostRow kHostRows[] = {
    {"ModemInUse",
     [](PagingHost& host) {
       host.platform.fail = [](const std::string& operation) {
         return operation == "ITTAPI.RegisterCallNotifications";
       };
     },
     Outcome::kUnreachable, Exit::kRetry, "\"Modem\" is in use"},
    {"NoTelephony",
     [](PagingHost& host) {
       host.platform.fail = [](const std::string& operation) {
         return operation == "ITTAPI.Initialize";
       };
     },
     Outcome::kUnreachable, Exit::kRetry, "\"Modem\" cannot be used"},
    {"NoPort",
     [](PagingHost& host) {
       host.platform.fail = [](const std::string& operation) {
         return operation.find("GetPortHandle") != operation.npos;
       };
     },
     Outcome::kUnreachable, Exit::kRetry, "its port could not be used"},
    {"NoModem", [](PagingHost& host) { host.profile.Set("DefaultModem", "Gone"); },
     Outcome::kUnusable, Exit::kSettings, "no usable modem \"Gone\""},
    {"NotConfigured", [](PagingHost& host) { host.profile.Set("DefaultService", ""); },
     Outcome::kUnusable, Exit::kSettings, "no default"},
    {"NoService", [](PagingHost& host) { host.profile.Set("DefaultService", "Gone"); },
     Outcome::kUnusable, Exit::kSettings, "\"Gone\" does not exist"},
    {"NoNumberOfPieces",
     [](PagingHost& host) { host.profile.SetService("Pager", {{"MaxMessages", "many"}}); },
     Outcome::kUnusable, Exit::kSettings, "service \"Pager\""},
    {"TooManyPieces",
     [](PagingHost& host) {
       host.profile.SetService("Pager", {{"MaxMessages", "100000"}, {"MaxLength", "100000"}});
     },
     Outcome::kUnusable, Exit::kSettings, "Overflow"},
    {"PiecesTooLong",
     [](PagingHost& host) { host.profile.SetService("Pager", {{"MaxLength", "1000000"}}); },
     Outcome::kUnusable, Exit::kSettings, "service \"Pager\""},
    {"UnknownProtocol",
     [](PagingHost& host) { host.profile.SetService("Pager", {{"Protocol", "SMPP"}}); },
     Outcome::kUnusable, Exit::kSettings, "service \"Pager\""},
    {"UnknownKindOfMessage",
     [](PagingHost& host) { host.profile.SetService("Pager", {{"MessageType", "4"}}); },
     Outcome::kUnusable, Exit::kSettings, "service \"Pager\""},
    {"TextWithoutDigits",
     [](PagingHost& host) { host.profile.SetService("Pager", {{"MessageType", "2"}}); },
     Outcome::kUnusable, Exit::kMessage, "text"},
    {"EmptyMessage", [](PagingHost& host) { host.message = "  "; }, Outcome::kUnusable,
     Exit::kMessage, "empty"},
    {"NoNumber", [](PagingHost& host) { host.recipient = "Karl"; }, Outcome::kUnusable,
     Exit::kMessage, "Karl"},
    {"EmptyRecipient", [](PagingHost& host) { host.recipient = ""; }, Outcome::kUnusable,
     Exit::kMessage, "recipient"},
    {"TooLong", [](PagingHost& host) { host.message = std::string(41, 'x'); }, Outcome::kUnusable,
     Exit::kMessage, "too long (41)"},
};

TEST(Outcome, OfWhateverStandsInTheWayOfACall) {
  for (const Protocol& protocol : {kTap, kUcp}) {
    for (const HostRow& row : kHostRows) {
      SCOPED_TRACE(std::string(protocol.name) + ": " + row.name);
      PagingHost host(protocol);
      host.message = "alarm";
      row.spoil(host);
      host.Send();
      host.platform.fail = nullptr;
      Expect(Judge(host.sender.Report()), row.outcome, row.exit, row.reason);
      EXPECT_EQ(host.Accepted(), 0U);
    }
  }
}

TEST(Outcome, OfAnUnknownUcpOperationIsTheSettingsFault) {
  PagingHost host(Protocol{"UCP", "99"});
  host.Send(kText);
  Expect(Judge(host.sender.Report()), Outcome::kUnusable, Exit::kSettings, "Invalid UCP Operation");
}

TEST(Outcome, OfACharacterThatTapCannotCarryIsTheTextsFault) {
  PagingHost host(kTap);
  host.Send("M\xFCller: \xE8");
  Expect(Judge(host.sender.Report()), Outcome::kUnusable, Exit::kMessage, "a character");
}

// --- aborted

Judgement AbortedAt(const Protocol& protocol, const std::string& line) {
  PagingHost host(protocol, {"silent-at=message"});
  host.on_status = [&](std::string& status) {
    if (status.ends_with(line)) host.sender.AbortAction();
  };
  host.Send(kText);
  return Judge(host.sender.Report());
}

TEST(Outcome, OfAnAbortBeforeTheMessageIsUnreachable) {
  Expect(AbortedAt(kTap, "Connected."), Outcome::kUnreachable, Exit::kRetry, "aborted before");
  Expect(AbortedAt(kTap, "Preparing input data."), Outcome::kUnreachable, Exit::kRetry,
         "aborted before");
}

TEST(Outcome, OfAnAbortAfterTheMessageIsUnknown) {
  PagingHost host(kUcp, {"silent-at=message"});
  host.on_status = [&](std::string& status) {
    if (status.find("UCP Message sent") != status.npos) host.sender.AbortAction();
  };
  host.Send(kText);
  Expect(Judge(host.sender.Report()), Outcome::kUnknown, Exit::kUnknown, "aborted after");
}

// --- stricter and kinder than the Boolean

TEST(Outcome, AHundredPagesToNumbersOfFourteenDigitsAreAccepted) {
  int called_failed = 0;
  for (int i = 0; i < 100; ++i) {
    PagingHost host(kUcp, {"system-message={recipient}:{time}"});
    host.recipient = "004917112345" + std::to_string(10 + i % 90);
    host.platform.loop().Sleep(memory::Millis{i * 3777});
    if (!host.Send(kText)) ++called_failed;
    EXPECT_EQ(host.Accepted(), 1U);
    Expect(Judge(host.sender.Report()), Outcome::kAccepted, Exit::kAccepted, "");
  }
  EXPECT_GT(called_failed, 0);
}

/// A frame's result, with the checksum that belongs to it.
std::string Result(const std::string& fields) {
  unsigned sum = 0;
  for (const char c : fields) sum += static_cast<unsigned char>(c);
  constexpr char kDigits[] = "0123456789ABCDEF";
  return "\x02" + fields + kDigits[sum / 16 % 16] + kDigits[sum % 16] + "\x03";
}

struct ScriptedHost : test::Host {
  Judgement AfterUcp(const std::string& answer, bool expected) {
    AddUcpService();
    ucp.answers = {answer};
    EXPECT_EQ(Send(kText), expected) << answer;
    return Judge(sender.Report());
  }
  Judgement AfterTap(const std::string& answer, bool expected) {
    AddTapService();
    tap.block_answers = {answer};
    EXPECT_EQ(Send(kText), expected) << answer;
    return Judge(sender.Report());
  }
};

TEST(Outcome, OfAnAcknowledgementWhoseChecksumBeginsWithZeroIsAccepted) {
  // "00/00019/R/01/A//" with these system messages has checksums 00 to 0F.
  int below_ten = 0;
  for (char c = 'A'; c <= 'z'; ++c) {
    const std::string answer = Result(std::string("00/00020/R/51/A//") + c + "/");
    if (answer[answer.size() - 3] != '0') continue;
    ++below_ten;
    Expect(ScriptedHost().AfterUcp(answer, false), Outcome::kAccepted, Exit::kAccepted, "");
  }
  EXPECT_GT(below_ten, 0);
}

TEST(Outcome, OfARefusalWithoutTextIsARefusal) {
  Expect(ScriptedHost().AfterUcp(Result("00/00022/R/51/N/06//"), false), Outcome::kRefused,
         Exit::kRefused, "/N/06/");
  Expect(ScriptedHost().AfterUcp(Result("00/00022/R/51/N/02//"), false), Outcome::kRefused,
         Exit::kRefused, "/N/02/");
  ScriptedHost later;
  Expect(later.AfterUcp(Result("00/00022/R/51/N/10//"), false), Outcome::kRefused, Exit::kRetry,
         "/N/10/");
}

TEST(Outcome, OfAnotherTransactionsAnswerIsUnknown) {
  for (const char* fields : {"07/00020/R/51/A//x/", "00/00021/R/01/A//xz/"}) {
    Expect(ScriptedHost().AfterUcp(Result(fields), true), Outcome::kUnknown, Exit::kUnknown,
           "something else");
  }
  Expect(ScriptedHost().AfterUcp(Result("00/00044/O/31/0234765439845/0539/"), false),
         Outcome::kUnknown, Exit::kUnknown, "something else");
}

TEST(Outcome, OfAnAcknowledgementInsideALineEndIsAccepted) {
  const std::string result = Result("00/00020/R/51/A//xyz/");
  Expect(ScriptedHost().AfterUcp("\r\n" + result + "\r\n", false), Outcome::kAccepted,
         Exit::kAccepted, "");
  const std::string echo = Result("00/00044/O/51/0234765439845/0539/");
  Expect(ScriptedHost().AfterUcp(echo + result, false), Outcome::kAccepted, Exit::kAccepted, "");
}

TEST(Outcome, OfTheLettersOfAnAcknowledgementIsUnknown) {
  Expect(ScriptedHost().AfterTap("<ACK>", true), Outcome::kUnknown, Exit::kUnknown, "<ACK>");
  Expect(ScriptedHost().AfterTap("\r\x06\r", true), Outcome::kAccepted, Exit::kAccepted, "");
}

TEST(Outcome, OfAnAcknowledgementWithAnEndOrARefusalIsUnknown) {
  for (const char* answer : {"\x06\r\x15", "\x06\x1e", "\x06\r\x1b\x04\r"}) {
    Expect(ScriptedHost().AfterTap(answer, true), Outcome::kUnknown, Exit::kUnknown, "neither");
  }
  Expect(ScriptedHost().AfterTap("503\r\x1b\x04\r", false), Outcome::kRefused, Exit::kRetry, "503");
}

// Lets every caller in, acknowledges the login once more a while later, and says nothing to a
// block.
class LateToAcknowledgeTheLogin : public memory::FarEnd {
 public:
  void Connected(memory::Wire& wire) override { wire_ = &wire; }
  void Received(std::string_view bytes) override {
    if (bytes == "\r") wire_->Write("ID=");
    if (!bytes.starts_with('\x1b')) return;
    wire_->Write("\x1b[p\r");
    wire_->After(memory::Millis{1500}, [this] { wire_->Write("\r\x06\r"); });
  }
  void HungUp() override {}

 private:
  memory::Wire* wire_ = nullptr;
};

TEST(Outcome, OfAnAcknowledgementThatCameBeforeTheMessageIsUnknown) {
  test::Host host;
  host.AddTapService();
  host.far_end = [](const std::string&) { return std::make_unique<LateToAcknowledgeTheLogin>(); };
  EXPECT_TRUE(host.Send(kText));
  Expect(Judge(host.sender.Report()), Outcome::kUnknown, Exit::kUnknown, "did not answer");
}

// --- pieces

TEST(Outcome, OfTwoPiecesIsThatOfTheFirstOneNotAcknowledged) {
  PagingHost both(kTap);
  EXPECT_TRUE(both.SendTwoPieces());
  EXPECT_EQ(Judge(both.sender.Report()).pieces_accepted, 2);

  test::Host second_refused;
  second_refused.AddTapService({{"MaxLength", "10"}});
  second_refused.tap.block_answers = {"\r\x06\r", "\r\x1e\r"};
  EXPECT_FALSE(second_refused.Send(kText));
  const Judgement judgement = Judge(second_refused.sender.Report());
  Expect(judgement, Outcome::kRefused, Exit::kRefused, "(1 of 2 pieces accepted)");
  EXPECT_EQ(judgement.pieces_accepted, 1);
}

TEST(Outcome, OfALaterPieceRefusedForNowWarnsOfTheFirstOnes) {
  test::Host host;
  host.AddTapService({{"MaxLength", "10"}});
  host.tap.block_answers = {"\r\x06\r", "\r\x15\r"};
  EXPECT_FALSE(host.Send(kText));
  const Judgement judgement = Judge(host.sender.Report());
  Expect(judgement, Outcome::kRefused, Exit::kRetry, "(1 of 2 pieces accepted)");
  EXPECT_EQ(judgement.advice, "try again later; the pieces accepted so far arrive twice then");

  test::Host first_refused;
  first_refused.AddTapService({{"MaxLength", "10"}});
  first_refused.tap.block_answers = {"\r\x15\r"};
  EXPECT_FALSE(first_refused.Send(kText));
  EXPECT_EQ(Judge(first_refused.sender.Report()).advice, "try again later");
}

TEST(Outcome, OfAMessageWhoseRestWasNotSentIsUnknown) {
  test::Host host;
  host.AddUcpService({{"MaxLength", "10"}});
  for (char c = 'A'; c <= 'z' && host.ucp.answers.empty(); ++c) {
    const std::string answer = Result(std::string("00/00020/R/51/A//") + c + "/");
    if (answer[answer.size() - 3] == '0') host.ucp.answers = {answer};
  }
  EXPECT_FALSE(host.Send(kText));
  Expect(Judge(host.sender.Report()), Outcome::kUnknown, Exit::kUnknown,
         "a part of the message, and the rest did not go out (1 of 2 pieces accepted)");
}

// --- passwords

TEST(Outcome, NamesNoPassword) {
  ScriptedHost host;
  host.AddTapService({{"Password", "TopSecret9"}});
  host.tap.login_answer = "509 not TopSecret9\r\x1b\x04\r";
  EXPECT_FALSE(host.Send(kText));
  const Judgement judgement = Judge(host.sender.Report());
  Expect(judgement, Outcome::kRefused, Exit::kRefused, "509 not (hidden)");
  EXPECT_THAT(judgement.advice, HasSubstr("password"));
  EXPECT_THAT(DecidingAnswer(host.sender.Report()), Not(HasSubstr("TopSecret9")));
  EXPECT_THAT(WithoutPassword(host.sender.Report(), host.sender.Status),
              Not(HasSubstr("TopSecret9")));
}

// --- the report itself

TEST(SendReport, TellsStepTimesAndHowTheLineEnded) {
  PagingHost host(kTap);
  EXPECT_EQ(NameOf(host.sender.Report().step), "none");
  EXPECT_TRUE(host.Send(kText));
  const SendReport& report = host.sender.Report();
  EXPECT_EQ(NameOf(report.step), "answer");
  EXPECT_EQ(NameOf(report.line_end), "by us");
  EXPECT_EQ(report.service, "Pager");
  EXPECT_EQ(report.modem, "Modem");
  EXPECT_EQ(report.dialled, "0123456");
  EXPECT_TRUE(report.result);
  EXPECT_EQ(report.started.hour, 3);
  EXPECT_EQ(report.duration, host.platform.slept());
  ASSERT_EQ(report.pieces.size(), 1U);
  EXPECT_TRUE(report.pieces[0].out);
  EXPECT_EQ(report.pieces_accepted, 1);
}

TEST(SendReport, BeginsAnewWithEverySend) {
  PagingHost host(kTap);
  EXPECT_TRUE(host.Send(kText));
  EXPECT_FALSE(host.Send(" "));
  const SendReport& report = host.sender.Report();
  EXPECT_EQ(NameOf(report.step), "message");
  EXPECT_EQ(NameOf(report.line_end), "never up");
  EXPECT_TRUE(report.pieces.empty());
  ASSERT_EQ(report.errors.size(), 1U);
  EXPECT_EQ(report.errors[0].number, 6);
  EXPECT_EQ(report.errors[0].source, "Sender.SendMessage");
}

}  // namespace
}  // namespace mvsms::dispatch
