// The serial server in front of the emulated modem, byte by byte as telnet has it.
#include "centre/serial_server.h"

#include <gtest/gtest.h>

#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

const std::string kIac = "<xFF>", kWill = "<xFF><FB>", kWont = "<xFF><FC>", kDo = "<xFF><FD>",
                  kDont = "<xFF><FE>";
const std::string kOk = "<CR><LF>OK<CR><LF>";

/// A command of the option for serial ports, its number written as one character.
std::string Port(const std::string& command, const std::string& value) {
  return "<xFF><FA>," + command + value + "<xFF><F0>";
}

struct SerialServerTest : TapTest {
  SerialServerTest() : TapTest({"echo=off"}) {}
  Call Port() { return Call(centre().AnswerSerialServer()); }
  /// One that has agreed on the option.
  Call Agreed() {
    Call port = Port();
    port.Answer(kWill + ",");
    return port;
  }
};

TEST(SerialServer, HasTheModemAtItsPort) {
  SerialServerTest server;
  Call port = server.Port();
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), "<CR><LF>CONNECT<CR><LF>");
  EXPECT_EQ(port.Answer("<CR>" + kLogin + kPage), kPrompt + kLoggedIn + kPageAccepted);
}

TEST(SerialServer, AgreesOnWhatItKnowsOnce) {
  SerialServerTest server;
  Call port = server.Port();
  EXPECT_EQ(port.Answer(kWill + "," + kWill + "<NUL>" + kDo + "<NUL>" + kDo + "<ETX>"),
            kDo + "," + kDo + "<NUL>" + kWill + "<NUL>" + kWill + "<ETX>");
  EXPECT_EQ(port.Answer(kWill + "," + kDo + "<NUL>"), "") << "in force already";
  EXPECT_EQ(port.Answer(kWont + "<NUL>" + kWont + "<NUL>"), kDont + "<NUL>");
  EXPECT_EQ(port.Answer(kDont + "<NUL>"), kWont + "<NUL>");
}

TEST(SerialServer, RefusesWhatItDoesNotKnow) {
  SerialServerTest server;
  EXPECT_EQ(server.Port().Answer(kDo + "<SOH>" + kWill + "<CAN>" + kWont + "<CAN>"),
            kWont + "<SOH>" + kDont + "<CAN>");
}

TEST(SerialServer, TakesTheSettingsOfThePortAndSaysSo) {
  SerialServerTest server;
  Call port = server.Agreed();
  EXPECT_EQ(port.Answer(Port("<SOH>", "<NUL><NUL><HT>`")), Port("e", "<NUL><NUL><HT>`"));  // 2400
  EXPECT_EQ(port.Answer(Port("<STX>", "<BEL>")), Port("f", "<BEL>"));
  EXPECT_EQ(port.Answer(Port("<ETX>", "<ETX>")), Port("g", "<ETX>"));
  EXPECT_EQ(port.Answer(Port("<EOT>", "<STX>")), Port("h", "<STX>"));
  EXPECT_EQ(port.Answer(Port("<STX>", "<NUL>")), Port("f", "<BEL>")) << "a question";
  EXPECT_EQ(port.Answer(Port("<STX>", "<HT>")), Port("f", "<BEL>")) << "nine bits are none";
  EXPECT_EQ(port.Answer(Port("<SOH>", "<NUL><NUL><NUL><NUL>")), Port("e", "<NUL><NUL><HT>`"));
  EXPECT_EQ(port.Answer(Port("<ENQ>", "<ETX>")), Port("i", "<ETX>")) << "flow control";
  EXPECT_EQ(port.Answer(Port("<ENQ>", "<NUL>")), Port("i", "<ETX>"));
  EXPECT_EQ(port.Answer(Port("<FF>", "<SOH>")), Port("p", "<SOH>")) << "purge";
  EXPECT_EQ(port.Answer(Port("<NUL>", "")), Port("d", "mvSMS message centre"));
}

TEST(SerialServer, TellsOfTheCarrierToWhomTheOptionIsKnown) {
  SerialServerTest server;
  Call port = server.Agreed();
  EXPECT_EQ(port.Answer(Port("<VT>", "<xFF><xFF>")), Port("o", "<xFF><xFF>") + Port("k", "0"));
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), Port("k", "<B8>") + "<CR><LF>CONNECT<CR><LF>") << "DCD came";
  port.Waits(1000);
  port.Sends("+++");
  port.Waits(1000);
  EXPECT_EQ(port.Hears(), kOk);
  EXPECT_EQ(port.Answer("ATH<CR>"), Port("k", "8") + kOk) << "DCD went";
  Call plain = server.Port();
  plain.Sends("ATDT1<CR>");
  plain.Waits(0);
  EXPECT_EQ(plain.Hears(), "<CR><LF>CONNECT<CR><LF>");
}

TEST(SerialServer, LowDtrHangsUpAndKeepsTheModemDeaf) {
  SerialServerTest server;
  Call port = server.Agreed();
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  port.Hears();
  EXPECT_EQ(port.Answer(Port("<ENQ>", "<HT>")), Port("i", "<HT>") + Port("k", "8"));
  EXPECT_EQ(port.Answer("AT<CR>"), "");
  EXPECT_EQ(port.Answer(Port("<ENQ>", "<BEL>")), Port("i", "<HT>")) << "asked for DTR";
  EXPECT_EQ(port.Answer(Port("<ENQ>", "<BS>")), Port("i", "<BS>"));
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
  port.Waits(60000);
  EXPECT_EQ(port.Hears(), "") << "of the call that was";
}

TEST(SerialServer, EscapesBothWays) {
  TapTest centre({"echo=off", "noise=a<xFF>b"});
  Call port(centre.centre().AnswerSerialServer());
  port.Sends("ATDT1<CR>");
  port.Waits(0);
  EXPECT_EQ(port.Hears(), "<CR><LF>CONNECT<CR><LF>a<xFF><xFF>b");
  port.Sends("<xFF><xFF><CR>");  // bit 7 is cleared: no ESC, but what makes it a line of text
  EXPECT_EQ(centre.seen.back().first, Seen::kModemSent);
  EXPECT_EQ(port.Hears(), kPrompt);
}

TEST(SerialServer, CommandsMayComeInPieces) {
  SerialServerTest server;
  Call port = server.Agreed();
  std::string heard;
  for (const char byte : FromNotation("AT" + Port("<STX>", "<BEL>") + "<CR>")) {
    port.SendsBytes({byte});
    heard += port.Hears();
  }
  EXPECT_EQ(heard, Port("f", "<BEL>") + kOk);
}

TEST(SerialServer, WhatIsNoCommandIsIgnored) {
  SerialServerTest server;
  Call port = server.Agreed();
  EXPECT_EQ(port.Answer(Port("<SOH>", "x") + Port("<ENQ>", "<xFF><xFF>") + Port("<ENQ>", "") +
                        Port("k", "x") + "<xFF><FA><CAN>x<xFF><F0>" + "<xFF><FA><xFF><F0>" +
                        "<xFF><F1>" + "<xFF><FA>," + std::string(1000, 'x') + "<xFF><F0>"),
            Port("e", "<NUL><NUL>%<80>"));
  EXPECT_EQ(port.Answer("AT<CR>"), kOk);
}

}  // namespace
}  // namespace mvsms::centre::test
