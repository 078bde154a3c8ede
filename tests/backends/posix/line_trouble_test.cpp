// What is told of a call that did not come up, or was lost: more than its cause can say.
#include "backends/posix/line/line_trouble.h"

#include <gmock/gmock.h>

#include <fstream>

#include "tests/backends/posix/listener.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;

class LineTrouble : public TelephonySession {
 protected:
  LineTrouble() {
    LineConfig line;
    line.name = "Net";
    line.kind = LineKind::kTcp;
    AddLine(line);
  }
  std::string Here() const { return "127.0.0.1:" + listener_.port(); }
  std::string OfCallTo(const std::string& number) {
    Dial("Net", number);
    return LastTrouble("Net");
  }
  void AddModem(const std::string& device) {
    LineConfig line;
    line.name = "Modem";
    line.device = device;
    line.flow = "none";
    AddLine(line);
  }

  Listener listener_;
};

TEST_F(LineTrouble, ARefusedConnectionIsCalledThat) {
  listener_.Close();
  EXPECT_EQ(OfCallTo(Here()), Here() + " refuses connections: nothing listens there");
}

TEST_F(LineTrouble, AnUnknownHostIsNamed) {
  const std::string number = std::string(300, 'x') + ":1";  // too long to ask anybody about
  EXPECT_EQ(OfCallTo(number), number + ": the host is unknown");
}

TEST_F(LineTrouble, ANumberThatIsNoAddressIsNamed) {
  EXPECT_EQ(OfCallTo("0172"), "0172 is not host:port");
}

TEST_F(LineTrouble, OtherRefusalsAreInTheSystemsWords) {
  EXPECT_THAT(OfCallTo("224.0.0.1:1"), HasSubstr("224.0.0.1:1 cannot be reached: "));
}

TEST_F(LineTrouble, AFarEndThatHasClosedIsToldWhoeverNoticesFirst) {
  for (const bool ended_by_us : {false, true}) {
    ASSERT_EQ(OfCallTo(Here()), "");
    listener_.Accept().Reset();
    loop_.Sleep(std::chrono::milliseconds(20));
    ended_by_us ? call_->Disconnect(kDcNormal) : void(call_->GetCallState());
    EXPECT_EQ(LastTrouble("Net"), "The far end closed the connection to " + Here());
  }
}

TEST_F(LineTrouble, ACallThatWeEndHasNone) {
  Dial("Net", Here());
  const UniqueFd far = listener_.Accept();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(LastTrouble("Net"), "");
}

TEST_F(LineTrouble, TheNextCallForgetsIt) {
  OfCallTo("0172");
  EXPECT_EQ(OfCallTo(Here()), "");
}

TEST_F(LineTrouble, ADeviceInUseIsToldOnlyOfACallThatItKeptFromBeingMade) {
  const PseudoTerminal terminal;
  AddModem(terminal.device());
  EXPECT_EQ(LastTrouble("Modem"), "");
  std::ofstream(locks_.FileOf(terminal.device())) << getppid();
  EXPECT_THROW(Register("Modem"), RaisedError);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr(terminal.device() + " is in use by "));
  std::filesystem::remove(locks_.FileOf(terminal.device()));
  Register("Modem");
  EXPECT_EQ(LastTrouble("Modem"), "");
}

TEST_F(LineTrouble, AMissingDeviceIsNamed) {
  AddModem("/dev/ttyNoSuch0");
  EXPECT_THROW(Call("Modem", "1")->Connect(false), RaisedError);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr("The device /dev/ttyNoSuch0 does not exist"));
}

TEST_F(LineTrouble, ADeviceThatVanishesIsNamed) {
  PtyModem modem;
  AddModem(modem.device());
  modem.On("ATD1", "\r\nCONNECT\r\n");
  ASSERT_EQ(Dial("Modem", "1"), CallState::kConnected);
  modem.Vanish();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(LastTrouble("Modem"),
            "The device " + modem.device() + " has gone; was the modem unplugged?");
}

TEST_F(LineTrouble, ALostCarrierIsToldAsSuch) {
  PtyModem modem;
  AddModem(modem.device());
  modem.On("ATD1", "\r\nCONNECT\r\n");
  ASSERT_EQ(Dial("Modem", "1"), CallState::kConnected);
  modem.Say("\r\nNO CARRIER\r\n");
  const CommHandle port = TakePort();
  Read(port, "\r\nNO CARRIER\r\n");
  call_->Disconnect(kDcNormal);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr("The carrier was lost"));
}

}  // namespace
}  // namespace mvsms::posix
