// The emulated modem, as a program at the serial port sees it.
#include "centre/modem_emulator.h"

#include <gtest/gtest.h>

#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

const std::string kOk = "<CR><LF>OK<CR><LF>";
const std::string kError = "<CR><LF>ERROR<CR><LF>";
const std::string kConnect = "<CR><LF>CONNECT<CR><LF>";
const std::string kNoCarrier = "<CR><LF>NO CARRIER<CR><LF>";

struct ModemTest : TapTest {
  explicit ModemTest(std::vector<std::string> settings = {}) : TapTest(With(std::move(settings))) {}
  Call Port() { return Modem(); }
  /// A port with a call up, one second after the connection.
  Call Connected() {
    Call port = Port();
    port.Sends("ATDT123<CR>");
    port.Waits(1000);
    port.Hears();
    return port;
  }

 private:
  static std::vector<std::string> With(std::vector<std::string> settings) {
    settings.insert(settings.begin(), "echo=off");
    return settings;
  }
};

TEST(AtLine, IsTakenApart) {
  const auto commands =
      ParseAtLine("at e0 v1 &k3 \\n0 %c1 $f4 s7=45 s2? s38.3=1 x4 +ms=v22b,0;dt 0171-5");
  ASSERT_TRUE(commands);
  std::string shown;
  for (const AtCommand& command : *commands) shown += command.name + "(" + command.argument + ")";
  EXPECT_EQ(shown, "E(0)V(1)&K(3)\\N(0)%C(1)$F(4)S(7=45)S(2?)S(38.3=1)X(4)+MS(=V22B,0)D(T0171-5)");
  EXPECT_TRUE(ParseAtLine("AT")->empty());
  EXPECT_FALSE(ParseAtLine("hello"));
  EXPECT_FALSE(ParseAtLine("A"));
}

TEST(AtLine, WordsNeedNoSemicolonBetweenThem) {
  const auto commands = ParseAtLine("AT+FAA=1+FCLASS=0&H1");
  ASSERT_TRUE(commands);
  ASSERT_EQ(commands->size(), 3u);
  EXPECT_EQ((*commands)[1].name, "+FCLASS");
  EXPECT_EQ((*commands)[1].argument, "=0");
}

TEST(Modem, EchoesAndAnswersInWordsAtPowerOn) {
  TapTest centre;
  Call port = centre.Modem();
  EXPECT_EQ(port.Answer("AT<CR>"), "AT<CR>" + kOk);
  EXPECT_EQ(port.Answer("ATE0<CR>"), "ATE0<CR>" + kOk);
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
}

TEST(Modem, EchoAndWordsAtPowerOnAreSettings) {
  TapTest centre({"echo=off", "verbose=off"});
  EXPECT_EQ(centre.Modem().Answer("AT<CR>"), "0<CR>");
}

TEST(Modem, TakesUsualCommands) {
  ModemTest modem;
  Call port = modem.Port();
  for (const char* line :
       {"AT", "at", "ATZ", "AT&F", "ATE0V1", "ATQ0", "ATX3", "ATM0L1", "AT&C1&D2", "ATS7=60S10=5",
        "AT\\N0%C0", "AT+MS=V22B", "ATH", "ATH0", "ATW1", "A t"})
    EXPECT_EQ(port.Answer(std::string(line) + "<CR>"), kOk) << line;
}

TEST(Modem, RefusesUnknownCommands) {
  ModemTest modem;
  Call port = modem.Port();
  for (const char* line :
       {"ATK", "AT!", "ATE7", "ATV2", "ATX9", "ATS7", "AT+CMGS=1", "ATA", "ATS999=1"})
    EXPECT_EQ(port.Answer(std::string(line) + "<CR>"), kError) << line;
}

TEST(Modem, StopsAtTheFirstErrorOfALine) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("ATKDT123<CR>"), kError);
  port.Waits(1000);
  EXPECT_EQ(port.Answer("<CR>"), "");
}

TEST(Modem, IgnoresWhatIsNoCommand) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("<CR>hello<CR><LF>+++<CR>"), "");
  EXPECT_EQ(port.Answer("~~AT<CR><LF>"), kOk);
}

TEST(Modem, BackspaceTakesBack) {
  ModemTest modem;
  EXPECT_EQ(modem.Port().Answer("<BS>AX<BS>TK<BS><CR>"), kOk);
}

TEST(Modem, TooLongALineIsAnError) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("AT" + std::string(1000, 'L') + "<CR>"), kError);
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
}

TEST(Modem, RepeatsTheLastCommand) {
  ModemTest modem;
  Call port = modem.Port();
  port.Answer("ATS7?<CR>");
  EXPECT_EQ(port.Answer("A/"), "<CR><LF>050<CR><LF>" + kOk);
}

TEST(Modem, NumericResultsAndQuiet) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("ATV0<CR>"), "0<CR>");
  EXPECT_EQ(port.Answer("ATK<CR>"), "4<CR>");
  EXPECT_EQ(port.Answer("ATQ1<CR>"), "");
  EXPECT_EQ(port.Answer("ATQ0V1<CR>"), kOk);
}

TEST(Modem, RegistersKeepTheirValues) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("ATS7=45S7?<CR>"), "<CR><LF>045<CR><LF>" + kOk);
  EXPECT_EQ(port.Answer("ATS12?<CR>"), "<CR><LF>050<CR><LF>" + kOk);
  EXPECT_EQ(port.Answer("ATZS7?<CR>"), "<CR><LF>050<CR><LF>" + kOk);
}

TEST(Modem, TellsWhatItIs) {
  const std::pair<const char*, const char*> answers[] = {
      {"I", "mvSMS message centre, emulated modem"},
      {"I3", "mvSMS message centre, emulated modem"},
      {"+GMI", "mvSMS"},
      {"+GMM", "message centre, emulated modem"},
      {"+GMR", "1"},
      {"+FMI?", "mvSMS"},
      {"+FMM?", "message centre, emulated modem"},
      {"+FMR?", "1"},
      {"+FMFR?", "mvSMS"},
      {"+FMDL?", "message centre, emulated modem"},
      {"+FREV?", "1"}};
  ModemTest modem;
  Call port = modem.Port();
  for (const auto& [question, answer] : answers) {
    EXPECT_EQ(port.Answer(std::string("AT") + question + "<CR>"),
              std::string("<CR><LF>") + answer + "<CR><LF>" + kOk)
        << question;
  }
}

TEST(Modem, IsADataModemToAFaxProgram) {
  ModemTest modem;
  Call port = modem.Port();
  EXPECT_EQ(port.Answer("AT+FCLASS=?<CR>"), "<CR><LF>0<CR><LF>" + kOk);
  EXPECT_EQ(port.Answer("AT+FCLASS?<CR>"), "<CR><LF>0<CR><LF>" + kOk);
  EXPECT_EQ(port.Answer("AT+FCLASS=0<CR>"), kOk);
  for (const char* other : {"=1", "=2", "=2.0", "", "=8"})
    EXPECT_EQ(port.Answer(std::string("AT+FCLASS") + other + "<CR>"), kError) << other;
}

// In the order in which they send it; what they configure for modems of all makes as well.
TEST(Modem, TakesWhatPagingProgramsSendAtTheStart) {
  const std::vector<std::string> programs[] = {
      {"ATZ", "ATS0=0", "ATE0", "ATV1", "ATQ0", "ATS8=2", "ATS7=60", "AT+FCLASS=?", "AT+FCLASS=0",
       "ATI3", "ATI0", "ATL0M1", "AT+FCLASS=0", "ATH0"},
      {"<CR>ATZ", "ATE0Q0V1", "AT%C2"},
      {"<CR>ATZ", "AT&E24"},
      {"ATZ", "ATE0Q0V1X3"},
      {"AT&F", "AT+VCID=1", "AT+FAA=1+FCLASS=0", "AT+FCLASS=0;+FAA=1", "AT+FCLASS=0&H1&I0&R2",
       "AT&B1&N0&S0*F0S38.3=1S39=0", "AT$F4", "AT\\Q3", "AT&R0\\D1\\Q3", "AT&K", "ATS58=2",
       "AT&E82781700", "ATS13=1&D2", "ATH1", "ATQ0X4", "ATI19"}};
  for (const auto& program : programs) {
    ModemTest modem;
    Call port = modem.Port();
    for (const std::string& line : program) {
      const std::string answer = port.Answer(line + "<CR>");
      EXPECT_TRUE(answer.ends_with(kOk)) << line << " -> " << answer;
    }
  }
}

TEST(Modem, ItsDialogueIsTraced) {
  ModemTest modem;
  Call port = modem.Port();
  port.Sends("AT+FCLASS=?<CR>ATX9<CR>hello<CR><CR>");
  port.Sends("ATV0DT123<CR>");
  port.Waits(0);
  using Trace = decltype(modem.seen);
  EXPECT_EQ(modem.seen, (Trace{{Seen::kModemReceived, "AT+FCLASS=?"},
                               {Seen::kModemSent, "0"},
                               {Seen::kModemSent, "OK"},
                               {Seen::kModemReceived, "ATX9"},
                               {Seen::kModemSent, "ERROR"},
                               {Seen::kModemReceived, "hello"},
                               {Seen::kModemReceived, "ATV0DT123"},
                               {Seen::kModemSent, "1"}}));
}

TEST(Modem, ConnectsToTheCentre) {
  for (const char* dial : {"ATD123", "ATDT123", "ATDP 0,123", "atdt123"}) {
    ModemTest modem;
    Call port = modem.Port();
    port.Sends(std::string(dial) + "<CR>");
    port.Waits(0);
    EXPECT_EQ(port.Hears(), kConnect) << dial;
    EXPECT_EQ(port.Answer("<CR>" + kLogin + kPage), kPrompt + kLoggedIn + kPageAccepted);
  }
}

TEST(Modem, RingTimeAndSpeedAreSettings) {
  ModemTest modem({"ring-time=12000", "connect-text=2400/ARQ"});
  Call port = modem.Port();
  port.Sends("ATDT123<CR><LF>");
  port.Waits(11999);
  EXPECT_EQ(port.Hears(), "");
  port.Waits(1);
  EXPECT_EQ(port.Hears(), "<CR><LF>CONNECT 2400/ARQ<CR><LF>");
}

TEST(Modem, BasicResultCodesHaveNoSpeed) {
  ModemTest modem({"connect-text=2400"});
  Call port = modem.Port();
  port.Answer("ATX0<CR>");
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), kConnect);
}

TEST(Modem, FailedCallsSayWhy) {
  const std::pair<const char*, const char*> outcomes[] = {{"busy", "BUSY"},
                                                          {"no-answer", "NO ANSWER"},
                                                          {"no-carrier", "NO CARRIER"},
                                                          {"no-dialtone", "NO DIALTONE"},
                                                          {"error", "ERROR"}};
  for (const auto& [outcome, words] : outcomes) {
    ModemTest modem({std::string("call=") + outcome, "ring-time=3000"});
    Call port = modem.Port();
    port.Sends("ATDT123<CR>");
    port.Waits(3000);
    EXPECT_EQ(port.Hears(), std::string("<CR><LF>") + words + "<CR><LF>");
    EXPECT_EQ(port.Answer("AT<CR>"), kOk);
  }
}

TEST(Modem, FailedCallsHaveNumbersToo) {
  const std::pair<const char*, const char*> outcomes[] = {{"busy", "7"},       {"no-answer", "8"},
                                                          {"no-carrier", "3"}, {"no-dialtone", "6"},
                                                          {"error", "4"},      {"connect", "1"}};
  for (const auto& [outcome, number] : outcomes) {
    ModemTest modem({std::string("call=") + outcome, "verbose=off"});
    Call port = modem.Port();
    port.Sends("ATDT123<CR>");
    port.Waits(0);
    EXPECT_EQ(port.Hears(), std::string(number) + "<CR>");
  }
}

TEST(Modem, ExtendedResultsDependOnX) {
  const auto result = [](const char* outcome, const char* level) {
    ModemTest modem({std::string("call=") + outcome});
    Call port = modem.Port();
    port.Answer(std::string("ATX") + level + "<CR>");
    port.Sends("ATDT123<CR>");
    port.Waits(0);
    return port.Hears();
  };
  EXPECT_EQ(result("busy", "0"), kNoCarrier);
  EXPECT_EQ(result("busy", "3"), "<CR><LF>BUSY<CR><LF>");
  EXPECT_EQ(result("no-dialtone", "3"), kNoCarrier);
  EXPECT_EQ(result("no-dialtone", "2"), "<CR><LF>NO DIALTONE<CR><LF>");
}

TEST(Modem, FirstCallsCanFail) {
  ModemTest modem({"call=busy", "failed-calls=1"});
  Call port = modem.Port();
  port.Sends("ATDT123<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), "<CR><LF>BUSY<CR><LF>");
  port.Sends("ATDT123<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), kConnect);
}

TEST(Modem, AKeyGivesUpDialling) {
  ModemTest modem({"ring-time=3000"});
  Call port = modem.Port();
  port.Sends("ATDT123<CR>");
  EXPECT_EQ(port.Answer(" "), kNoCarrier);
  port.Waits(5000);
  EXPECT_EQ(port.Hears(), "");
}

TEST(Modem, DiallingWithASemicolonStaysInCommandState) {
  ModemTest modem;
  EXPECT_EQ(modem.Port().Answer("ATDT123;<CR>"), kOk);
}

TEST(Modem, EscapeNeedsSilenceBeforeAndAfter) {
  ModemTest modem;
  Call port = modem.Connected();
  port.Sends("+++");
  port.Waits(999);
  EXPECT_EQ(port.Hears(), "");
  port.Waits(1);
  EXPECT_EQ(port.Hears(), kOk);
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
}

TEST(Modem, EscapeInSingleCharacters) {
  ModemTest modem;
  Call port = modem.Connected();
  for (int i = 0; i < 3; ++i) {
    port.Sends("+");
    port.Waits(100);
  }
  port.Waits(900);
  EXPECT_EQ(port.Hears(), kOk);
}

TEST(Modem, EscapeInTheMiddleOfDataIsData) {
  ModemTest modem({"t3=0"});
  const std::vector<std::vector<std::string>> all = {{"x", "+++"}, {"x+++"}, {"+++", "x"}, {"++++"},
                                                     {"++", "x+"}, {"+++x"}, {"+++", "+"}};
  for (const auto& pieces : all) {
    Call port = modem.Connected();
    for (const std::string& piece : pieces) {
      port.Sends(piece);
      port.Waits(500);
    }
    port.Waits(5000);
    EXPECT_EQ(port.Hears(), "");
    EXPECT_EQ(port.Answer("<CR>"), kPrompt);
  }
}

TEST(Modem, EscapeGuardAndCharacterCanBeChanged) {
  ModemTest modem({"escape-guard=200"});
  Call port = modem.Connected();
  port.Sends("+++");
  port.Waits(200);
  EXPECT_EQ(port.Hears(), kOk);
  port.Answer("ATS2=33S12=20O<CR>");
  port.Waits(400);
  port.Sends("!!!");
  port.Waits(400);
  EXPECT_EQ(port.Hears(), kOk);
}

TEST(Modem, EscapeCanBeSwitchedOff) {
  ModemTest modem({"t3=0"});
  Call port = modem.Port();
  port.Answer("ATS2=128<CR>");
  port.Sends("ATD1<CR>");
  port.Waits(2000);
  port.Hears();
  port.Sends("+++");
  port.Waits(2000);
  EXPECT_EQ(port.Hears(), "");
}

TEST(Modem, GoesBackOnlineOrHangsUp) {
  ModemTest modem({"t3=0"});
  Call port = modem.Connected();
  port.Sends("+++");
  port.Waits(1000);
  port.Hears();
  EXPECT_EQ(port.Answer("ATDT5<CR>"), kError);
  EXPECT_EQ(port.Answer("ATO<CR>"), kConnect);
  EXPECT_EQ(port.Answer("<CR>"), kPrompt);
  port.Waits(1000);
  port.Sends("+++");
  port.Waits(1000);
  port.Hears();
  EXPECT_EQ(port.Answer("ATH<CR>"), kOk);
  EXPECT_EQ(port.Answer("ATO<CR>"), kNoCarrier);
  EXPECT_EQ(port.Answer("ATDT5;<CR>"), kOk);
}

TEST(Modem, ReportsThatTheCentreHungUp) {
  ModemTest modem({"codes=off"});
  Call port = modem.Connected();
  port.Sends("<CR>");
  port.Hears();
  EXPECT_EQ(port.Answer("<EOT><CR>"), "<CR><ESC><EOT><CR>" + kNoCarrier);
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
  port.Waits(10);
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), kConnect);
}

TEST(Modem, LosesTheCarrier) {
  ModemTest modem({"carrier-loss=2500"});
  Call port = modem.Connected();
  port.Sends("<CR>");
  port.Waits(1499);
  EXPECT_EQ(port.Hears(), kPrompt);
  port.Waits(1);
  EXPECT_EQ(port.Hears(), kNoCarrier);
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
}

TEST(Modem, AHungUpCallLosesItsCarrierNoMore) {
  ModemTest modem({"carrier-loss=2500"});
  Call port = modem.Connected();
  port.Sends("+++");
  port.Waits(1000);
  port.Answer("ATH<CR>");
  port.Hears();
  port.Waits(10000);
  EXPECT_EQ(port.Hears(), "");
}

TEST(Modem, ClosingThePortEndsTheCall) {
  ModemTest modem;
  {
    Call port = modem.Connected();
    port.Sends("<CR>" + kLogin);
    port.HangsUp();
    port.Waits(60000);
  }
  EXPECT_EQ(modem.requests.size(), 1u);
}

TEST(Modem, EveryPortHasItsOwnModem) {
  ModemTest modem;
  Call one = modem.Connected(), two = modem.Connected();
  EXPECT_EQ(one.Answer("<CR>"), kPrompt);
  EXPECT_EQ(two.Answer("<CR>" + kLogin), kPrompt + kLoggedIn);
  EXPECT_EQ(one.Answer("<CR>"), kPrompt);
}

}  // namespace
}  // namespace mvsms::centre::test
