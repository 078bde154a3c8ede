// The doctor against modems and centres with every trouble that is known of them, on a clock of
// their own: what it finds, what it would set, and that no step takes longer than it says.
#include "backends/posix/line/line_doctor.h"

#include <gmock/gmock.h>

#include <random>

#include "backends/posix/line/soft_parity.h"
#include "backends/posix/line/ucp_login.h"
#include "tests/backends/posix/scripted_modem.h"

namespace mvsms::posix {
namespace {

using Millis = ModemPort::Millis;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint8_t kNoParity = 0, kOdd = 1, kEven = 2;

/// The line to a scripted modem, with the modem's own ideas of speed, parity and flow control.
class ScriptedLine : public ModemPort, public Bench {
 public:
  std::uint32_t speed = 9600;
  std::uint8_t parity = kNoParity;  // its own, whatever it hears
  bool strict = false;              // and what comes with another one is not for it
  bool hardware = true;             // the device does seven bits with parity
  bool has_lines = false, cts = true, dsr = true;
  std::string ucp_answer;  // of the centre, to a frame
  bool loop = false;       // no modem, but a plug
  ScriptedModem modem;

  // --- Bench
  bool Apply(const LineConfig& line) override {
    if (line.framing != "8N1" && !hardware) return false;
    now_ = line;
    return true;
  }
  std::optional<std::uint32_t> ModemLines() override {
    if (!has_lines) return std::nullopt;
    return (cts ? kMsCtsOn : 0) | (dsr ? kMsDsrOn : 0);
  }

  // --- ModemPort
  void Write(std::string_view bytes) override {
    if (now_.flow == "rtscts" && !cts) return;
    if (now_.speed != speed) return modem.Say(std::string(bytes.size(), '\xF8'));
    if (loop) return modem.Say(std::string(bytes));
    if (strict && WithParity(SevenBits(bytes), parity) != bytes) return;  // no AT that it knows
    modem.Write(SevenBits(bytes));
    if (bytes.ends_with('\x03')) modem.After(200, [this] { modem.Say(ucp_answer); });
  }
  std::optional<char> Read(Millis time) override {
    const auto code = modem.Read(time);
    const bool coded = code && parity != kNoParity && now_.speed == speed;
    return coded ? WithParity(*code, parity) : code;
  }
  void Wait(Millis time) override { modem.Wait(time); }
  bool SetDtr(bool on) override { return modem.SetDtr(on); }
  std::optional<bool> Carrier() override { return modem.Carrier(); }
  bool Cancelled() override { return modem.Cancelled(); }
  bool Gone() override { return modem.gone; }
  Millis Now() override { return modem.Now(); }

 private:
  LineConfig now_;
};

class LineDoctorTest : public testing::Test {
 protected:
  LineDoctorTest() {
    seen_.line.device = "/dev/ttyS9";
    On("AT", "OK");
    On("ATZ", "OK");
    On("ATH", "OK");
    On("ATQ0V1", "OK");
    On("ATI", "56000");
  }
  // Holds for every test here: time goes by in the steps that were announced, and nowhere else.
  ~LineDoctorTest() override { EXPECT_LE(line_.Now() - Millis(1000), promised_); }

  void On(const std::string& command, const std::string& answer, int delay = 50) {
    line_.modem.On(command, {{delay, "\r\n" + answer + "\r\n"}});
  }
  /// Forgets all answers.
  void NewModem() { line_.modem = ScriptedModem(); }
  void OnlyRaw(const std::string& command, const std::string& answer) {
    line_.modem.On(command, {{50, answer}});
  }
  void Examine(const std::string& number = "") {
    const auto progress = [this](const std::string&, Millis most) { promised_ += most; };
    ModemDoctor doctor(line_, line_, seen_, progress);
    doctor.Examine();
    if (!number.empty()) doctor.Call(number);
    findings_ = Diagnose(seen_);
  }
  std::vector<std::string> Ids() const {
    std::vector<std::string> ids;
    for (const Finding& finding : findings_) ids.emplace_back(finding.id);
    return ids;
  }
  /// What is to be set: "speed=115200".
  std::vector<std::string> Cures() const {
    std::vector<std::string> cures;
    for (const Setting& setting : SettingsOf(findings_)) {
      cures.push_back(setting.name + "=" + setting.to);
    }
    return cures;
  }
  std::string Sentence() const { return findings_.empty() ? "" : findings_[0].sentence; }
  std::string Advice() const { return findings_.empty() ? "" : findings_[0].advice; }

  /// A call to 123 that ends with these words.
  void Dial(const std::string& words, int delay = 2000) {
    On("ATD123", words, delay);
    Examine("123");
  }
  /// A call to 123 that comes up, to a centre that says `greeting` and then answers the next CRs
  /// and frames with `answers`, the last one again and again.
  void Reach(const std::string& greeting, const std::vector<std::string>& answers,
             const std::string& wanted = "TAP") {
    seen_.centre.wanted = wanted;
    line_.modem.On("ATD123", {{2000, "\r\nCONNECT 2400\r\n" + greeting}});
    for (const std::string& answer : answers) line_.modem.On("", {{100, answer}});
    line_.modem.On("+++", {{1000, "\r\nOK\r\n"}});
    Examine("123");
  }

  ScriptedLine line_;
  Seen seen_;
  std::vector<Finding> findings_;
  Millis promised_{0};
};

// --- the line to the modem -----------------------------------------------------------------------

TEST_F(LineDoctorTest, AModemThatAnswersHasNothing) {
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_EQ(seen_.model, "56000");
  EXPECT_LE(line_.Now(), Millis(2000 + 2000)) << "and it does not take long, ATI apart";
}

TEST_F(LineDoctorTest, AModemThatEchoesHasNothingEither) {
  line_.modem.echo = true;
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_EQ(seen_.model, "56000");
}

TEST_F(LineDoctorTest, ASilentModemIsLookedForEverywhere) {
  NewModem();
  line_.has_lines = true;
  line_.dsr = false;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("silent"));
  EXPECT_EQ(Sentence(), "no modem answers on /dev/ttyS9, at no usual speed; its line DSR is off");
  EXPECT_THAT(Advice(), HasSubstr("switch the modem on"));
  EXPECT_THAT(Cures(), IsEmpty());
}

TEST_F(LineDoctorTest, AModemLeftInACallIsToldToLeaveIt) {
  NewModem();
  for (const char* command : {"AT", "AT", "ATQ0V1"}) line_.modem.On(command, {});
  for (const char* command : {"AT", "ATQ0V1"}) On(command, "OK");
  line_.modem.On("+++", {{1000, "\r\nOK\r\n"}});
  On("ATH", "OK");
  On("ATZ", "OK");
  seen_.line.flow = "rtscts";
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("held-call"));
  EXPECT_THAT(Sentence(), HasSubstr("was still in a call"));
  EXPECT_THAT(Advice(), HasSubstr("&D2"));
  EXPECT_THAT(line_.modem.record, HasSubstr("+++ATH\r"));
}

TEST_F(LineDoctorTest, AnotherSpeedIsFound) {
  line_.speed = 115200;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("speed"));
  EXPECT_THAT(Cures(), ElementsAre("speed=115200"));
  EXPECT_EQ(Sentence(), "the modem on /dev/ttyS9 answers at 115200 bit/s and not at 9600");
  EXPECT_EQ(WithSettings(seen_.line, SettingsOf(findings_)).speed, 115200U);
}

TEST_F(LineDoctorTest, EveryUsualSpeedIsTried) {
  for (const std::uint32_t speed : {57600U, 38400U, 19200U, 4800U, 2400U, 1200U, 300U}) {
    seen_ = Seen();
    line_.speed = speed;
    Examine();
    EXPECT_THAT(Cures(), ElementsAre("speed=" + std::to_string(speed)));
  }
}

TEST_F(LineDoctorTest, ParityIsProvedByTheAnswers) {
  line_.parity = kEven;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("framing"));
  EXPECT_THAT(Cures(), ElementsAre("framing=7E1"));
  EXPECT_THAT(Sentence(), HasSubstr("speaks with even parity"));
  EXPECT_THAT(Sentence(), HasSubstr("bit 7 of its answers proves it"));
}

TEST_F(LineDoctorTest, OddParityIsToldFromEvenParity) {
  line_.parity = kOdd;
  Examine();
  EXPECT_THAT(Cures(), ElementsAre("framing=7O1"));
}

TEST_F(LineDoctorTest, ADeviceOfEightBitsGetsItsParityInSoftware) {
  line_.parity = kEven;
  line_.hardware = false;
  Examine();
  EXPECT_THAT(Cures(), ElementsAre("framing=7E1-soft"));
}

TEST_F(LineDoctorTest, AModemThatWantsParityIsFoundByIt) {
  line_.parity = kEven;
  line_.strict = true;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("framing"));
  EXPECT_THAT(Cures(), ElementsAre("framing=7E1"));
}

TEST_F(LineDoctorTest, AModemThatWantsNoneIsFoundToo) {
  line_.strict = true;
  seen_.line.framing = "7E1";
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("framing"));
  EXPECT_THAT(Cures(), ElementsAre("framing=8N1"));
}

TEST_F(LineDoctorTest, SpeedAndParityAreFoundTogether) {
  line_.speed = 2400;
  line_.parity = kEven;
  line_.strict = true;
  Examine();
  EXPECT_THAT(Cures(), ElementsAre("speed=2400", "framing=7E1"));
}

TEST_F(LineDoctorTest, ALineOfSevenBitsToAModemThatGoesByItHasNothing) {
  seen_.line.framing = "7E1-soft";
  line_.parity = kEven;
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
  seen_.line.framing = "7E1";
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(LineDoctorTest, AFramingThatTheDeviceDoesNotDoIsNamed) {
  seen_.line.framing = "7E1";
  line_.hardware = false;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("framing-refused"));
  EXPECT_THAT(Cures(), ElementsAre("framing=7E1-soft"));
}

TEST_F(LineDoctorTest, FlowControlThatNeverComesIsNamed) {
  line_.has_lines = true;
  line_.cts = false;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("flow"));
  EXPECT_THAT(Cures(), ElementsAre("flow=none"));
  EXPECT_THAT(Sentence(), HasSubstr("its line CTS, which rtscts waits for, never comes"));
}

TEST_F(LineDoctorTest, FlowControlIsNotBlamedForASpeed) {
  line_.has_lines = true;
  line_.speed = 300;
  Examine();
  EXPECT_THAT(Cures(), ElementsAre("speed=300"));
}

TEST_F(LineDoctorTest, APlugIsNoModem) {
  line_.loop = true;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("echo-only"));
  EXPECT_THAT(Sentence(), HasSubstr("sends back what it gets"));
}

TEST_F(LineDoctorTest, AConsoleIsNoModem) {
  NewModem();
  for (const char* command : {"AT", "ATQ0V1", "ATH"}) OnlyRaw(command, "\r\nrouter login: ");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("no-modem"));
  EXPECT_THAT(Sentence(), HasSubstr("it says \"router login: \""));
}

TEST_F(LineDoctorTest, NoiseAtEverySpeedIsNamed) {
  NewModem();
  for (const char* command : {"AT", "ATQ0V1"}) OnlyRaw(command, "\xF8\x83\x01\xE7\x99");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("garbage"));
}

TEST_F(LineDoctorTest, ADeviceThatVanishesIsNamed) {
  line_.modem.gone = true;
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("gone"));
}

TEST_F(LineDoctorTest, TelnetOnTheWayToTheModemIsSeen) {
  NewModem();
  OnlyRaw("AT", "\xFF\xFD\x2C\xFF\xFB\x01\r\nOK\r\n");
  On("ATZ", "OK");
  seen_.line.device = "tcp://server.example:4001";
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("telnet-modem"));
  EXPECT_THAT(Advice(), HasSubstr("raw"));
  EXPECT_TRUE(seen_.initialised);
  seen_.way.device = "rfc2217://server.example:4001";  // as the server was found to offer
  findings_ = Diagnose(seen_);
  EXPECT_THAT(Cures(), ElementsAre("device=rfc2217://server.example:4001"));
}

TEST_F(LineDoctorTest, WhenTheTelnetComesMakesNoDifference) {
  const std::string telnet = "\xFF\xFD\x2C\xFF\xFB\x01", ok = "\r\nOK\r\n";
  const std::function<void()> kTimes[] = {
      [&] { line_.modem.Say(telnet); },  // before anybody has asked
      [&] { OnlyRaw("AT", telnet + ok); },
      [&] {
        line_.modem.On("AT", {{1500, telnet + ok}});  // too late for the first answer
        On("ATQ0V1", "OK", 700);
      },
      [&] { OnlyRaw("ATI", telnet + ok); },
      [&] {
        line_.modem.Say(telnet);  // from a server that keeps the modem's words back
        for (const char* command : {"AT", "ATQ0V1"}) line_.modem.On(command, {});
        OnlyRaw("+++", ok + ok);
        On("ATH", "OK");
      },
  };
  for (const auto& time : kTimes) {
    NewModem();
    seen_ = Seen();
    seen_.line.device = "tcp://server.example:4001";
    time();
    for (const char* command : {"AT", "ATQ0V1", "ATZ", "ATI"}) On(command, "OK");
    Examine();
    EXPECT_THAT(Ids(), ElementsAre("telnet-modem"));
    EXPECT_TRUE(seen_.initialised);
  }
}

TEST_F(LineDoctorTest, WhatLooksLikeTelnetOnADeviceIsNoise) {
  line_.modem.Say("\xFF\xFD\x2C");
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(LineDoctorTest, AServersOwnSettingsAreLeftToIt) {
  NewModem();
  seen_.line.device = "tcp://server.example:4001";
  Examine();
  EXPECT_EQ(Sentence(), "no modem answers on tcp://server.example:4001");
  EXPECT_LT(promised_, Millis(15000));
}

// --- what the modem does -------------------------------------------------------------------------

TEST_F(LineDoctorTest, AModemWithoutResultCodesIsMadeToGiveThem) {
  for (const bool echo : {false, true}) {
    NewModem();
    seen_ = Seen();
    line_.modem.echo = echo;
    On("ATQ0V1", "OK");
    On("AT&FQ0V1", "OK");
    Examine();
    EXPECT_THAT(Ids(), ElementsAre("quiet"));
    EXPECT_THAT(Cures(), ElementsAre("init=AT&FQ0V1"));
  }
}

TEST_F(LineDoctorTest, ACureThatDoesNotHelpIsNotNamed) {
  NewModem();
  On("ATQ0V1", "OK");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("quiet"));
  EXPECT_THAT(Cures(), IsEmpty());
}

TEST_F(LineDoctorTest, NumbersAreNamedAndCured) {
  seen_.line.init = "AT&FX3";
  On("AT&FX3", "OK");
  NewModem();
  OnlyRaw("AT", "0\r");
  OnlyRaw("AT&FX3", "0\r");
  On("AT&FV1X3", "OK");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("numeric"));
  EXPECT_THAT(Sentence(), HasSubstr("12 is a voice or 9600 bit/s"));
  EXPECT_THAT(Cures(), ElementsAre("init=AT&FV1X3"));
}

TEST_F(LineDoctorTest, TheCommandThatAModemDoesNotKnowIsNamed) {
  seen_.line.init = "AT&FX3\\N0+ES=1;+MS=V22B,0";
  On("AT&FX3\\N0+ES=1;+MS=V22B,0", "ERROR");
  for (const char* known : {"AT&F", "ATX3", "AT+MS=V22B,0"}) On(known, "OK");
  for (const char* unknown : {"AT\\N0", "AT+ES=1"}) On(unknown, "ERROR");
  On("AT&FX3+MS=V22B,0", "OK");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("init"));
  EXPECT_THAT(Sentence(), HasSubstr("does not know \\N0, +ES=1 of its initialisation"));
  EXPECT_THAT(Cures(), ElementsAre("init=AT&FX3+MS=V22B,0"));
}

TEST_F(LineDoctorTest, WhatStandsBehindAnExtendedCommandStaysDividedFromIt) {
  seen_.line.init = "AT+ES=1;X3\\N0&K3";
  On("AT+ES=1;X3\\N0&K3", "ERROR");
  for (const char* known : {"AT+ES=1", "ATX3", "AT&K3"}) On(known, "OK");
  On("AT\\N0", "ERROR");
  On("AT+ES=1;X3&K3", "OK");
  Examine();
  EXPECT_THAT(Cures(), ElementsAre("init=AT+ES=1;X3&K3"));
}

TEST_F(LineDoctorTest, AModemThatSaysErrorToAllHasNoCure) {
  NewModem();
  for (const char* command : {"AT", "ATZ", "ATQ0V1"}) On(command, "ERROR");
  Examine();
  EXPECT_THAT(Ids(), ElementsAre("init"));
  EXPECT_THAT(Cures(), IsEmpty());
}

// --- the call ------------------------------------------------------------------------------------

TEST_F(LineDoctorTest, EachEndOfACallHasItsCause) {
  const std::pair<const char*, const char*> kEnds[] = {
      {"BUSY", "busy"},
      {"NO ANSWER", "no-answer"},
      {"VOICE", "voice"},
      {"FAX", "fax"},
      {"LINE IN USE", "line-in-use"},
      {"RING", "line-in-use"},
      {"BLACKLISTED", "blacklisted"},
      {"DELAYED 00:02:00", "blacklisted"},
      {"REORDER", "reorder"},
      {"ERROR", "dial-refused"},
      {"+FCON", "fax"},
  };
  for (const auto& [words, id] : kEnds) {
    NewModem();
    seen_ = Seen();
    for (const char* command : {"AT", "ATZ", "ATI"}) On(command, "OK");
    Dial(words);
    EXPECT_THAT(Ids(), ElementsAre(id)) << words;
  }
}

TEST_F(LineDoctorTest, AFaxThatConnectsIsOneToo) {
  line_.modem.On("+++", {{1000, "\r\nOK\r\n"}});
  Dial("CONNECT FAX");
  EXPECT_THAT(Ids(), ElementsAre("fax"));
  EXPECT_THAT(line_.modem.record, HasSubstr("ATD123\r+++ATH\r"));
}

TEST_F(LineDoctorTest, NoCarrierOnALineThatIsAlive) {
  On("ATX4D;", "OK");
  Dial("NO CARRIER", 30000);
  EXPECT_THAT(Ids(), ElementsAre("no-carrier"));
  EXPECT_THAT(Sentence(), HasSubstr("within 30 s (NO CARRIER); there is a dial tone"));
  EXPECT_THAT(Advice(), HasSubstr("+MS=V22B"));
}

TEST_F(LineDoctorTest, NoCarrierWhereTheModemListensForNoTone) {
  On("ATX4D;", "NO DIALTONE", 5000);
  Dial("NO CARRIER");
  EXPECT_THAT(Ids(), ElementsAre("no-dial-tone"));
  EXPECT_THAT(Sentence(), HasSubstr("though the modem says NO CARRIER"));
}

TEST_F(LineDoctorTest, NoDialToneWithoutALine) {
  On("AT&FX3", "OK");
  line_.modem.On("ATD123", {{2000, "\r\nNO DIALTONE\r\n"}});
  line_.modem.On("ATD123", {{50000, "\r\nNO CARRIER\r\n"}});
  Examine("123");
  EXPECT_THAT(Ids(), ElementsAre("no-dial-tone"));
  EXPECT_EQ(Sentence(), "there is no dial tone");
  EXPECT_THAT(Cures(), IsEmpty());
}

TEST_F(LineDoctorTest, ADialToneThatTheModemDoesNotKnowIsPassedOver) {
  On("AT&FX3", "OK");
  line_.modem.On("ATD123", {{2000, "\r\nNO DIAL TONE\r\n"}});
  line_.modem.On("ATD123", {{9000, "\r\nCONNECT 2400\r\nID="}});
  line_.modem.On("", {{100, "ID="}});
  Examine("123");
  EXPECT_THAT(Ids(), ElementsAre("tone-unknown"));
  EXPECT_THAT(Cures(), ElementsAre("init=AT&FX3"));
}

TEST_F(LineDoctorTest, AModemThatNeverEndsItsDiallingIsStopped) {
  Examine("123");
  EXPECT_THAT(Ids(), ElementsAre("dial-silent"));
  EXPECT_THAT(Sentence(), HasSubstr("said nothing for 6"));
}

TEST_F(LineDoctorTest, TheConnectTextIsTakenApart) {
  const auto parts = [](const std::string& text) {
    const ConnectText said = ReadConnect(text);
    return said.speed + "|" + said.modulation + "|" + said.correction + "|" + said.compression;
  };
  EXPECT_EQ(parts("CONNECT"), "|||");
  EXPECT_EQ(parts("\r\nCONNECT 2400/NONE\r\n"), "2400||none|");
  EXPECT_EQ(parts("CONNECT 9600/ARQ/V34/LAPM/V42BIS"), "9600|V.34|some|V.42bis");
  EXPECT_EQ(parts("CONNECT 115200/V.42"), "115200||V.42|");
  EXPECT_EQ(parts("CARRIER 1200\r\nPROTOCOL: LAP-M\r\nCONNECT 9600"), "1200|||");
  EXPECT_EQ(parts("+MCR: V22B\r\n+MRR: 2400\r\n+ER: NONE\r\nCONNECT\r\n"), "2400|V.22bis|none|");
  EXPECT_EQ(parts("ID=V22 300"), "|||");
}

// --- the centre ----------------------------------------------------------------------------------

TEST_F(LineDoctorTest, ACentreThatAsksForALoginIsWell) {
  Reach("", {"ID="});
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_EQ(seen_.call.connect.speed, "2400");
  EXPECT_EQ(seen_.centre.prompt, Prompt::kFirst);
}

TEST_F(LineDoctorTest, NoPageIsSentAndTheCallIsEnded) {
  Reach("", {"ID="});
  const std::string& record = line_.modem.record;
  EXPECT_EQ(record.substr(record.find("ATD123\r")), "ATD123\r\r+++ATH\r");
}

TEST_F(LineDoctorTest, TheGreetingIsKeptByteByByteWithItsTime) {
  line_.modem.On("ATD123", {{2000, "\r\nCONNECT 2400\r\nWel"}, {2500, "come\r\n"}});
  line_.modem.On("", {{100, "ID="}});
  Examine("123");
  ASSERT_EQ(seen_.centre.greeting.size(), 2U);
  EXPECT_EQ(Joined(seen_.centre.greeting), "Welcome\r\n");
  EXPECT_GT(seen_.centre.greeting[1].at, Millis(400));
  EXPECT_LT(seen_.centre.greeting[1].at, Millis(600));
  EXPECT_THAT(Ids(), IsEmpty()) << "text that comes once does no harm";
}

TEST_F(LineDoctorTest, APromptBehindOtherTextHasNoCure) {
  Reach("", {"Welcome\r\nID="});
  EXPECT_THAT(Ids(), ElementsAre("prompt-behind-text"));
  EXPECT_THAT(Sentence(), HasSubstr("before its ID=: \"Welcome ID=\";"));
  EXPECT_THAT(Cures(), IsEmpty());
}

TEST_F(LineDoctorTest, APromptBehindOtherTextOnceIsWell) {
  Reach("", {"Welcome\r\nID=", "ID="});
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(LineDoctorTest, ACentreThatIgnoresTheFirstCrIsWell) {
  Reach("", {"", "", "ID="});
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(LineDoctorTest, NulsDoNoHarm) {
  Reach(std::string("\0\0", 2), {std::string("\0\0ID=", 5)});
  EXPECT_THAT(Ids(), IsEmpty());
  EXPECT_EQ(Joined(seen_.centre.greeting), std::string("\0\0", 2));
}

TEST_F(LineDoctorTest, NulsInAnAnswerOfTheModemDoNoHarm) {
  NewModem();
  for (const char* command : {"AT", "ATZ", "ATI"}) {
    OnlyRaw(command, std::string("\r\nO\0K\0\r\n", 8));
  }
  Examine();
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(LineDoctorTest, TelnetAtTheCentreIsNamed) {
  Reach("\xFF\xFD\x01\xFF\xFB\x03", {"ID="});
  EXPECT_THAT(Ids(), ElementsAre("telnet-centre"));
}

TEST_F(LineDoctorTest, ACentreWithParityGivesTheLineItsFraming) {
  line_.modem.On("ATD123", {{2000, "\r\nCONNECT 2400\r\n"}});
  line_.modem.On("", {{100, WithParity("ID=", kEven)}});
  Examine("123");
  EXPECT_THAT(Ids(), ElementsAre("centre-parity"));
  EXPECT_THAT(Cures(), ElementsAre("framing=7E1"));
}

TEST_F(LineDoctorTest, ACentreOfUcpIsToldFromOneOfTap) {
  line_.ucp_answer =
      "\x02"
      "00/00027/R/31/N/06/unknown/51\x03";
  Reach("", {""});
  EXPECT_THAT(Ids(), ElementsAre("speaks-ucp"));
  EXPECT_THAT(Cures(), ElementsAre("protocol=UCP", "command=51"));
  for (const Setting& setting : SettingsOf(findings_)) EXPECT_TRUE(setting.of_service);
}

TEST_F(LineDoctorTest, AServiceThatHasAnOperationOfUcpKeepsIt) {
  line_.ucp_answer =
      "\x02"
      "00/00019/R/31/A//94\x03";
  seen_.centre.command = "01";
  Reach("", {""});
  EXPECT_EQ(Sentence(), "the centre speaks UCP, and the service has TAP");
  EXPECT_THAT(Cures(), ElementsAre("protocol=UCP"));
}

TEST_F(LineDoctorTest, ACentreThatAllowsNothingWithoutALoginIsNamed) {
  line_.ucp_answer =
      "\x02"
      "00/00043/R/31/N/04/Operation not allowed/32\x03";
  Reach("", {""}, "UCP");
  EXPECT_THAT(Ids(), IsEmpty()) << "a modem cannot log in";
  seen_.line.kind = LineKind::kTcp;
  findings_ = Diagnose(seen_);
  EXPECT_THAT(Ids(), ElementsAre("login-wanted"));
  EXPECT_THAT(Sentence(), HasSubstr("answers \"04/Operation not allowed\","));
  EXPECT_THAT(Advice(), HasSubstr("--login"));
  seen_.line.access.login = "user";
  EXPECT_THAT(Diagnose(seen_), IsEmpty()) << "who has logged in is refused for something else";
}

TEST_F(LineDoctorTest, ACentreThatGreetsWithAFrameSpeaksUcp) {
  Reach(
      "\x02"
      "00/00019/O/60/A//94\x03",
      {""});
  EXPECT_THAT(Ids(), ElementsAre("speaks-ucp"));
}

TEST_F(LineDoctorTest, ACentreOfTapIsToldFromOneOfUcp) {
  Reach("", {"ID="}, "UCP");
  EXPECT_THAT(Ids(), ElementsAre("speaks-tap"));
  EXPECT_THAT(Cures(), ElementsAre("protocol=TAP"));
}

TEST_F(LineDoctorTest, ACentreOfUcpIsAskedForAnAnswerAndNothingElse) {
  line_.ucp_answer =
      "\x02"
      "00/00019/R/31/A//94\x03";
  Reach("", {""}, "UCP");
  EXPECT_THAT(Ids(), IsEmpty());
  const std::string& record = line_.modem.record;
  EXPECT_EQ(record.substr(record.find("ATD123\r")),
            "ATD123\r" + UcpFrame("31", "/0539/") + "+++ATH\r");
}

TEST_F(LineDoctorTest, SilenceAtTheFarEndIsNamed) {
  Reach("", {""});
  EXPECT_THAT(Ids(), ElementsAre("centre-silent"));
}

TEST_F(LineDoctorTest, AFarEndThatIsNoCentreIsQuoted) {
  Reach("login: ", {"login: "});
  EXPECT_THAT(Ids(), ElementsAre("no-centre"));
  EXPECT_THAT(Sentence(), HasSubstr("it says \"login: "));
}

TEST_F(LineDoctorTest, NoiseAtTheFarEndIsNamed) {
  Reach("\xF8\x83\x01\xE7\x99\x80", {"\x91\xFE\x02\xC3"});
  EXPECT_THAT(Ids(), ElementsAre("centre-noise"));
  EXPECT_THAT(Advice(), HasSubstr("\\N0"));
}

TEST_F(LineDoctorTest, AFarEndThatHangsUpAtOnceIsQuoted) {
  Reach("No access\r\nNO CARRIER\r\n", {});
  EXPECT_THAT(Ids(), ElementsAre("lost"));
  EXPECT_THAT(Sentence(), HasSubstr("having said \"No access\""));
}

TEST_F(LineDoctorTest, WhoGivesUpIsObeyedAndTheCallIsEnded) {
  line_.modem.On("ATD123", {{2000, "\r\nCONNECT 2400\r\n"}});
  line_.modem.On("+++", {{1000, "\r\nOK\r\n"}});
  line_.modem.cancelled_at = Millis(8000);
  EXPECT_THROW(Examine("123"), GivenUp);
  EXPECT_THAT(line_.modem.record, testing::EndsWith("+++ATH\r"));
}

// --- what may come over a line -----------------------------------------------------------------

TEST(LineDoctor, WhateverComesIsRead) {
  std::mt19937 random(1);
  const std::string likely = "\xFF\xFD\xFA\xF0\x02\r\n 0/+;&\\ATOKCONNECT=?";
  for (int turn = 0; turn < 3000; ++turn) {
    std::string bytes(random() % 40, '\0');
    for (char& c : bytes) {
      c = random() % 3 == 0 ? static_cast<char>(random() % 256) : likely[random() % likely.size()];
    }
    EXPECT_LE(ReadAnswer("AT", bytes).text.size(), bytes.size());
    EXPECT_LE(WithoutTelnet(bytes).size(), bytes.size());
    EXPECT_LE(SplitCommands(bytes).size(), bytes.size());
    ReadConnect(bytes);
    HasUcpFrame(bytes);
  }
  EXPECT_FALSE(HasTelnet(std::string(1'000'000, '\xFF')));
}

// --- lines that cannot be opened ---------------------------------------------------------------

std::vector<Finding> FindingsOn(const LineConfig& line, const DoctorsOrder& order = {}) {
  return Diagnose(posix::Examine(line, order, [](const std::string&, Millis) {}));
}

TEST(LineDoctor, ADeviceThatIsNoneIsNamed) {
  LineConfig line;
  for (const char* device : {"/dev/ttyNoSuch0", "/dev/null", "/etc/hostname"}) {
    line.device = device;
    const auto findings = FindingsOn(line);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].id, "device");
    EXPECT_EQ(findings[0].kind, FindingKind::kOther);
    EXPECT_THAT(findings[0].sentence, HasSubstr(device));
  }
}

TEST(LineDoctor, AnAddressThatIsNoneIsNamed) {
  LineConfig line;
  line.kind = LineKind::kTcp;
  const auto findings = FindingsOn(line, {.number = "0123", .protocol = ""});
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].sentence, "0123 is not host:port");
}

}  // namespace
}  // namespace mvsms::posix
