// The dialogue with a modem, against a scripted one: every result in words and as a number, with
// and without echo, in one piece and in many; modems that do not listen; giving up; hanging up.
#include "backends/posix/line/hayes_modem.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/backends/posix/scripted_modem.h"

namespace mvsms::posix {
namespace {

using Millis = ModemPort::Millis;

class ModemDialogue : public testing::Test {
 protected:
  /// A modem that says OK to ATZ and `answer` to the dialling of 123, two seconds later.
  void Modem(const std::string& answer) {
    modem_.On("ATZ", {{100, "\r\nOK\r\n"}});
    modem_.On("ATD123", {{2000, answer}});
  }
  CallCause Dial(const std::string& init = "", const std::string& dial = "ATD") {
    dialogue_.emplace(modem_, init, dial);
    result_ = dialogue_->Dial("123");
    return result_.cause;
  }
  /// Sets up a call, and forgets how.
  void Connect() {
    Modem("\r\nCONNECT 2400\r\n");
    ASSERT_EQ(Dial(), CallCause::kNone);
    modem_.record.clear();
    modem_.writes.clear();
    modem_.On("+++", {{900, "\r\nOK\r\n"}});
    modem_.On("ATH", {{100, "\r\nOK\r\n"}});
  }
  Millis SilenceBefore(std::size_t write) {
    return modem_.writes[write].first - (write > 0 ? modem_.writes[write - 1].first : started_);
  }
  void HangUp() {
    started_ = modem_.Now();
    dialogue_->HangUp();
  }
  Millis Taken() { return modem_.Now() - started_; }

  ScriptedModem modem_;
  std::optional<HayesModem> dialogue_;
  DialResult result_;
  Millis started_{1000};
};

// --- what kept the modem from dialling ---------------------------------------------------------

using Obstacle = DialResult::Obstacle;

TEST_F(ModemDialogue, ASilentModemDidNotDial) {
  EXPECT_EQ(Dial(), CallCause::kDisconnectFailed);
  EXPECT_EQ(result_.obstacle, Obstacle::kSilent);
}

TEST_F(ModemDialogue, AModemWithoutADialToneDidNotDial) {
  for (const char* answer : {"\r\nNO DIALTONE\r\n", "\r\nNO DIAL TONE\r\n", "6\r"}) {
    modem_ = ScriptedModem();
    Modem(answer);
    EXPECT_EQ(Dial(), CallCause::kDisconnectFailed);
    EXPECT_EQ(result_.obstacle, Obstacle::kNoLine) << answer;
  }
}

TEST_F(ModemDialogue, AModemWhoseLineIsNotFreeDidNotDial) {
  for (const char* answer : {"\r\nLINE IN USE\r\n", "\r\nNO LINE\r\n", "\r\nRING\r\n", "2\r"}) {
    modem_ = ScriptedModem();
    Modem(answer);
    Dial();
    EXPECT_EQ(result_.obstacle, Obstacle::kNoLine) << answer;
  }
}

TEST_F(ModemDialogue, AModemThatDialledIsNoObstacle) {
  for (const char* answer :
       {"CONNECT", "NO CARRIER", "BUSY", "NO ANSWER", "ERROR", "VOICE", "FAX", "DELAYED", ""}) {
    modem_ = ScriptedModem();
    Modem("\r\n" + std::string(answer) + "\r\n");
    Dial();
    EXPECT_EQ(result_.obstacle, Obstacle::kNone) << answer;
  }
}

TEST_F(ModemDialogue, GivingUpIsNoObstacle) {
  modem_.cancelled_at = Millis(2000);
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(result_.obstacle, Obstacle::kNone);
}

// --- results -----------------------------------------------------------------------------------

struct Result {
  const char* words;
  const char* number;
  CallCause cause;
};
void PrintTo(const Result& result, std::ostream* out) { *out << result.words; }

class ModemResult : public ModemDialogue,
                    public testing::WithParamInterface<std::tuple<Result, bool, bool, bool>> {};

TEST_P(ModemResult, EndsTheDiallingWithItsCause) {
  const auto& [result, numeric, echo, one_by_one] = GetParam();
  modem_.echo = echo;
  modem_.one_by_one = one_by_one;
  const auto framed = [&](const std::string& words, const std::string& number) {
    return numeric ? number + "\r" : "\r\n" + words + "\r\n";
  };
  modem_.On("ATZ", {{100, framed("OK", "0")}});
  modem_.On("ATDT123", {{1500, framed(result.words, result.number)}});
  EXPECT_EQ(Dial("ATZ", "ATDT"), result.cause);
  EXPECT_EQ(modem_.record, "ATZ\rATDT123\r");
  if (result.cause == CallCause::kNone) {
    EXPECT_EQ(result_.early_data + modem_.unread(), "");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Every, ModemResult,
    testing::Combine(testing::Values(Result{"CONNECT", "1", CallCause::kNone},
                                     Result{"CONNECT 1200", "5", CallCause::kNone},
                                     Result{"CONNECT 600", "9", CallCause::kNone},
                                     Result{"CONNECT 14400", "25", CallCause::kNone},
                                     Result{"CONNECT 19200", "85", CallCause::kNone},
                                     Result{"CONNECT 28800", "107", CallCause::kNone},
                                     Result{"FAX", "33", CallCause::kDisconnectFailed},
                                     Result{"RING", "2", CallCause::kDisconnectBusy},
                                     Result{"CONNECT 2400", "10", CallCause::kNone},
                                     Result{"CONNECT 9600/ARQ/V32/LAPM", "12", CallCause::kNone},
                                     Result{"CONNECT/V42", "59", CallCause::kNone},
                                     Result{"CONNECT 33600", "84", CallCause::kNone},
                                     Result{"NO CARRIER", "3", CallCause::kDisconnectFailed},
                                     Result{"ERROR", "4", CallCause::kDisconnectBadAddress},
                                     Result{"+CME ERROR: 30", "4",
                                            CallCause::kDisconnectBadAddress},
                                     Result{"NO DIALTONE", "6", CallCause::kDisconnectFailed},
                                     Result{"NO DIAL TONE", "6", CallCause::kDisconnectFailed},
                                     Result{"BUSY", "7", CallCause::kDisconnectBusy},
                                     Result{"NO ANSWER", "8", CallCause::kDisconnectNoAnswer},
                                     Result{"DELAYED", "24", CallCause::kDisconnectRejected},
                                     Result{"BLACKLISTED", "32", CallCause::kDisconnectRejected}),
                     testing::Bool(), testing::Bool(), testing::Bool()));

// Words that have no number, or numbers that mean a speed elsewhere.
struct Words {
  const char* line;
  CallCause cause;
  const char* remark;
};
constexpr Words kWords[] = {
    {"VOICE", CallCause::kDisconnectFailed, "heard a voice at the other end"},
    {"FAX", CallCause::kDisconnectFailed, "heard a fax machine at the other end"},
    {"LINE IN USE", CallCause::kDisconnectBusy, "finds its telephone line in use"},
    {"NO LINE", CallCause::kDisconnectFailed, "finds no telephone line"},
    {"NO PROMPTTONE", CallCause::kDisconnectFailed, "hears no dial tone"},
    {"NO DIALTONE", CallCause::kDisconnectFailed, "hears no dial tone"},
    {"REORDER", CallCause::kDisconnectFailed, "was told that all circuits are busy"},
    {"DELAYED 00:02:00", CallCause::kDisconnectRejected,
     "refuses the number for a while, for it was dialled too often"},
    {"BLACKLISTED 01:00:00", CallCause::kDisconnectRejected,
     "refuses the number, for it was dialled in vain too often"},
    {"BLACKLIST FULL", CallCause::kDisconnectRejected,
     "refuses to dial, for too many numbers were dialled in vain"},
    {"RING", CallCause::kDisconnectBusy, "was called by somebody before it could dial"},
};

TEST_F(ModemDialogue, WordsThatEndACallEndItAtOnceAndSayWhy) {
  for (const Words& words : kWords) {
    modem_ = ScriptedModem();
    Modem("\r\n" + std::string(words.line) + "\r\n");
    EXPECT_EQ(Dial(), words.cause) << words.line;
    EXPECT_EQ(result_.remark, words.remark) << words.line;
    EXPECT_LT(modem_.Now(), Millis(4000)) << words.line;
  }
}

TEST_F(ModemDialogue, AFaxThatIsUpIsHungUp) {
  for (const char* words : {"CONNECT FAX", "+FCON", "+FCO"}) {
    modem_ = ScriptedModem();
    Modem("\r\n" + std::string(words) + "\r\n");
    modem_.On("+++", {{1000, "\r\nOK\r\n"}});
    EXPECT_EQ(Dial(), CallCause::kDisconnectFailed) << words;
    EXPECT_EQ(result_.remark, "has reached a fax machine") << words;
    EXPECT_THAT(modem_.record, testing::EndsWith("+++ATH\r")) << words;
  }
}

TEST_F(ModemDialogue, ARingBeforeTheDiallingEndsNothing) {
  modem_.On("ATZ", {{50, "\r\nRING\r\n"}, {100, "\r\nOK\r\n"}});
  modem_.On("ATD123", {{100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectBusy);
  EXPECT_EQ(modem_.record, "ATZ\rATD123\r");
}

TEST(ModemAnswer, OtherLinesAreNone) {
  for (const char* line : {"",
                           "RING",
                           "2",
                           "+CRING: REL ASYNC",
                           "CONNECTING",
                           "CONNECTING TO 123",
                           "OKAY",
                           "BUSYBODY",
                           "ATDT123",
                           "ATZ",
                           "ok",
                           "NO",
                           "CARRIER 2400",
                           "PROTOCOL: LAP-M",
                           "RRING",
                           "VOICEMAIL",
                           "FAX MODEM V.34",
                           "DELAYEDLY",
                           "40",
                           "999",
                           "1234",
                           "00000000001",
                           "RINGING",
                           "+",
                           "\xFF\x80"}) {
    EXPECT_FALSE(ParseResultCode(line)) << line;
  }
}

TEST(ModemAnswer, NoiseBeforeAndBlanksAfterDoNotCount) {
  EXPECT_EQ(ParseResultCode("\xFE\x02~}BUSY  ")->cause, CallCause::kDisconnectBusy);
  EXPECT_EQ(ParseResultCode("\x80"
                            "7")
                ->cause,
            CallCause::kDisconnectBusy);
}

TEST(ModemAnswer, AnyBytesCanBeParsed) {
  std::mt19937 random(4711);
  for (int round = 0; round < 5000; ++round) {
    std::string line(random() % 20, ' ');
    for (char& code : line) code = static_cast<char>(random());
    ParseResultCode(line);
  }
}

// --- initialising and dialling -----------------------------------------------------------------

TEST_F(ModemDialogue, InitStringMayLackItsAt) {
  modem_.On("ATX3", {{100, "\r\nOK\r\n"}});
  modem_.On("ATD0,123", {{100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial("X3", "D0,"), CallCause::kDisconnectBusy);
}

TEST_F(ModemDialogue, InitStringMayBeInSmallLetters) {
  modem_.On("atz", {{100, "\r\nOK\r\n"}});
  modem_.On("atd123", {{100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial("atz", "atd"), CallCause::kDisconnectBusy);
}

TEST_F(ModemDialogue, ProgressReportsAreSkipped) {
  modem_.On("ATZ", {{100, "\r\nOK\r\n"}});
  modem_.On("ATD123", {{100, "\r\nRINGING\r\n\r\nRRING\r\n"},
                       {500, "\r\n+CRING: X\r\n\r\nCONNECTING\r\n\r\nCARRIER 2400\r\n"},
                       {900, "\r\nNO ANSWER\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectNoAnswer);
}

TEST_F(ModemDialogue, NoiseBeforeAnAnswerIsSkipped) {
  Modem("\xFF\x81{~\r\xFE}\r\nBUSY\r\n");
  modem_.Say("\r\nRING\r\nleft over from before");
  EXPECT_EQ(Dial(), CallCause::kDisconnectBusy);
}

TEST_F(ModemDialogue, EndlessNoiseEndsAtTheLimit) {
  Modem(std::string(5000, 'x'));
  EXPECT_EQ(Dial(), CallCause::kDisconnectNoAnswer);
}

TEST_F(ModemDialogue, SilenceAfterDiallingIsNoAnswer) {
  Modem("");
  EXPECT_EQ(Dial(), CallCause::kDisconnectNoAnswer);
  EXPECT_GE(modem_.Now(), Millis(60000));
}

TEST_F(ModemDialogue, LateOkOfTheInitDoesNotEndTheDialling) {
  modem_.On("ATZ", {{100, "\r\nOK\r\n"}});
  modem_.On("ATD123", {{50, "\r\nOK\r\n"}, {100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectBusy);
}

TEST_F(ModemDialogue, LateErrorOfTheInitDoesNotEndTheDialling) {
  modem_.On("ATZ", {{100, "\r\nOK\r\n"}, {150, "\r\nERROR\r\n"}});
  modem_.On("ATD123", {{100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectBusy);
}

TEST_F(ModemDialogue, ModemLeftInACallIsBroughtBack) {
  modem_.On("ATZ", {});
  modem_.On("ATZ", {{100, "\r\nOK\r\n"}});
  modem_.On("+++", {{900, "\r\nOK\r\n"}});
  modem_.On("ATH", {{100, "\r\nOK\r\n"}});
  modem_.On("ATD123", {{100, "\r\nBUSY\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectBusy);
  EXPECT_EQ(modem_.record, "ATZ\r+++ATH\rATZ\rATD123\r");
  EXPECT_GE(SilenceBefore(1), Millis(1000));
  EXPECT_GE(SilenceBefore(2), Millis(1000));
}

TEST_F(ModemDialogue, ModemThatNeverAnswersFailsWithinHalfTheTimeOfACall) {
  EXPECT_EQ(Dial(), CallCause::kDisconnectFailed);
  EXPECT_EQ(modem_.record, "ATZ\r+++ATH\rATZ\r+++ATH\rATZ\r");
  EXPECT_LT(modem_.Now() - started_, Millis(20000));
}

TEST_F(ModemDialogue, InitThatTheModemRefusesFails) {
  modem_.On("ATQQ", {{100, "\r\nERROR\r\n"}});
  EXPECT_EQ(Dial("QQ"), CallCause::kDisconnectFailed);
  EXPECT_EQ(modem_.record.find("ATD"), std::string::npos);
}

TEST_F(ModemDialogue, DeviceThatVanishesWhileDiallingFails) {
  Modem("");
  modem_.After(1000, [this] { modem_.gone = true; });
  EXPECT_EQ(Dial(), CallCause::kDisconnectFailed);
  EXPECT_LT(modem_.Now() - started_, Millis(2000));
}

// --- what follows the CONNECT ------------------------------------------------------------------

TEST_F(ModemDialogue, HandshakeBytesBelongToTheData) {
  Modem("\r\nCONNECT 2400\r\n\rID=");
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_EQ(result_.early_data + modem_.unread(), "\rID=");
}

TEST_F(ModemDialogue, DataRightAfterANumericConnectIsKept) {
  modem_.On("ATZ", {{100, "0\r"}});
  modem_.On("ATD123", {{100, "1\rID="}});
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_EQ(result_.early_data + modem_.unread(), "ID=");
}

TEST_F(ModemDialogue, LineEndThatComesInPiecesIsNotData) {
  modem_.On("ATZ", {{100, "\r\nOK\r\n"}});
  modem_.On("ATD123", {{500, "\r\nCONNECT\r"}, {580, "\n"}, {900, "ID="}});
  EXPECT_EQ(Dial(), CallCause::kNone);
  modem_.Wait(Millis(1000));
  EXPECT_EQ(result_.early_data + modem_.unread(), "ID=");
}

// --- the carrier line --------------------------------------------------------------------------

TEST_F(ModemDialogue, CarrierThatComesOnWithTheCallTells) {
  modem_.has_lines = true;
  modem_.After(2380, [this] { modem_.carrier = true; });  // 130 ms after CONNECT
  Modem("\r\nCONNECT\r\n");
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_TRUE(result_.carrier_tells);
}

TEST_F(ModemDialogue, CarrierThatWasAlwaysOnTellsNothing) {
  modem_.has_lines = true;
  modem_.carrier = true;
  Modem("\r\nCONNECT\r\n");
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_FALSE(result_.carrier_tells);
}

TEST_F(ModemDialogue, CarrierThatNeverComesOnTellsNothing) {
  modem_.has_lines = true;
  Modem("\r\nCONNECT\r\n");
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_FALSE(result_.carrier_tells);
}

TEST_F(ModemDialogue, PortWithoutACarrierLineTellsNothing) {
  Modem("\r\nCONNECT\r\n");
  EXPECT_EQ(Dial(), CallCause::kNone);
  EXPECT_FALSE(result_.carrier_tells);
}

// --- giving up ---------------------------------------------------------------------------------

TEST_F(ModemDialogue, GivingUpWhileDiallingStopsTheModemAtOnce) {
  Modem("");
  modem_.cancelled_at = Millis(3000);
  modem_.On("", {{100, "\r\nNO CARRIER\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(modem_.record, "ATZ\rATD123\r\r");
  EXPECT_LT(modem_.Now(), Millis(3200));
}

TEST_F(ModemDialogue, GivingUpDropsDtrWhereThereIsOne) {
  modem_.has_lines = true;
  Modem("");
  modem_.cancelled_at = Millis(3000);
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(modem_.record, "ATZ\rATD123\r\r<DTR off><DTR on>");
  EXPECT_LT(modem_.Now(), Millis(4200));
}

TEST_F(ModemDialogue, GivingUpWhileInitialisingDoesNotDial) {
  modem_.cancelled_at = Millis(1500);
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(modem_.record, "ATZ\r\r");
  EXPECT_LT(modem_.Now(), Millis(2200));
}

TEST_F(ModemDialogue, GivingUpInTheGuardTimeIsNoticed) {
  modem_.cancelled_at = Millis(4500);  // ATZ is given three seconds
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(modem_.record, "ATZ\r\r");
}

TEST_F(ModemDialogue, CallThatComesUpJustWhenGivingUpIsHungUp) {
  Modem("");
  modem_.cancelled_at = Millis(3000);
  modem_.On("", {{10, "\r\nCONNECT\r\n"}});
  modem_.On("ATH", {{100, "\r\nOK\r\n"}});
  EXPECT_EQ(Dial(), CallCause::kDisconnectCancelled);
  EXPECT_EQ(modem_.record, "ATZ\rATD123\r\r+++ATH\r");
}

// --- hanging up --------------------------------------------------------------------------------

TEST_F(ModemDialogue, HangUpWithoutModemLinesEscapesWithGuardTimes) {
  Connect();
  HangUp();
  EXPECT_EQ(modem_.record, "+++ATH\r");
  EXPECT_GE(SilenceBefore(0), Millis(1000));
  EXPECT_GE(SilenceBefore(1), Millis(1000));
  EXPECT_LT(Taken(), Millis(2600));
}

TEST_F(ModemDialogue, HangUpDoesNotWaitLongForAModemThatIsSilent) {
  Connect();
  modem_.On("ATH", {});
  HangUp();
  EXPECT_LT(Taken(), Millis(5000));
}

TEST_F(ModemDialogue, HangUpByDtrIsEnoughWhenTheCarrierGoes) {
  modem_.has_lines = true;
  modem_.After(2300, [this] { modem_.carrier = true; });
  modem_.on_dtr_drop = [this] { modem_.After(200, [this] { modem_.carrier = false; }); };
  Connect();
  HangUp();
  EXPECT_EQ(modem_.record, "<DTR off><DTR on>");
  EXPECT_GE(Taken(), Millis(500));
  EXPECT_LT(Taken(), Millis(600));
}

TEST_F(ModemDialogue, HangUpEscapesWhenTheCarrierStays) {
  modem_.has_lines = true;
  modem_.After(2300, [this] { modem_.carrier = true; });
  Connect();
  HangUp();
  EXPECT_EQ(modem_.record, "<DTR off><DTR on>+++ATH\r");
}

TEST_F(ModemDialogue, HangUpEscapesWhenTheCarrierTellsNothing) {
  modem_.has_lines = true;
  Connect();
  HangUp();
  EXPECT_EQ(modem_.record, "<DTR off><DTR on>+++ATH\r");
}

TEST_F(ModemDialogue, HangUpDoesNothingWhenTheCarrierIsGone) {
  modem_.has_lines = true;
  modem_.After(2300, [this] { modem_.carrier = true; });
  Connect();
  modem_.carrier = false;
  HangUp();
  EXPECT_EQ(modem_.record, "");
}

TEST_F(ModemDialogue, HangUpDoesNothingWhenTheDeviceIsGone) {
  Connect();
  modem_.gone = true;
  HangUp();
  EXPECT_EQ(modem_.record, "");
  EXPECT_EQ(Taken(), Millis(0));
}

TEST_F(ModemDialogue, HangUpAlsoWorksAfterTheDiallingWasCancellable) {
  Connect();
  modem_.cancelled_at = Millis(0);
  HangUp();
  EXPECT_EQ(modem_.record, "+++ATH\r");
}

// --- asking ------------------------------------------------------------------------------------

TEST_F(ModemDialogue, AskReturnsAllLinesUpToTheResult) {
  modem_.echo = true;
  modem_.On("ATI", {{50, "\r\r\nmodel 5\r\n"}, {80, "rev 2\r\n\r\nOK\r\nRING\r\n"}});
  HayesModem modem(modem_, "", "");
  EXPECT_EQ(modem.Ask("ATI", Millis(1000)), "ATI\nmodel 5\nrev 2\nOK\n");
}

TEST_F(ModemDialogue, AskReturnsNothingFromASilentModem) {
  HayesModem modem(modem_, "", "");
  EXPECT_EQ(modem.Ask("AT", Millis(1000)), "");
  EXPECT_EQ(Taken(), Millis(1000));
}

}  // namespace
}  // namespace mvsms::posix
