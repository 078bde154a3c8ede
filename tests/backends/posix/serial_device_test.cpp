// What a serial device of flesh and blood has and a pseudo-terminal has not: its own seven bits
// with parity, and the modem lines, which tell of a carrier and take a call down.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/serial_channel.h"
#include "tests/backends/posix/fake_uart.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;
using testing::Not;

// --- marks of errors ---------------------------------------------------------------------------

class ParityOfTheDevice : public testing::Test {
 protected:
  void Open(const std::string& framing, bool replaced) {
    LineConfig line;
    line.device = terminal_.device();
    line.framing = framing;
    line.flow = "none";
    channel_ = OpenModem(line, {});
    Dcb state = channel_->state();
    if (replaced) state.flags |= dcb_flag::kErrorChar;
    state.ErrorChar = '~';
    ASSERT_TRUE(channel_->SetState(state));
  }
  /// What the channel gives of these pieces, which come one after the other.
  std::string Arrive(const std::vector<std::string>& pieces) {
    std::string text;
    for (const std::string& piece : pieces) {
      terminal_.Write(piece);
      channel_->WaitForInput(Channel::Millis(1000));
      char buffer[64];
      text.append(buffer, channel_->Read(buffer, sizeof buffer));
    }
    return text;
  }

  LockFolder locks_;
  PseudoTerminal terminal_;
  FakeUart uart_{terminal_.device()};
  std::shared_ptr<ModemChannel> channel_;
};

const std::string kBadA("\xFF\0A", 3);

TEST_F(ParityOfTheDevice, ACharacterWithAParityErrorIsReplacedOnRequest) {
  Open("7E1", true);
  EXPECT_EQ(Arrive({"B" + kBadA + "C"}), "B~C");
}

TEST_F(ParityOfTheDevice, WithoutARequestItStaysAsItCame) {
  Open("7E1", false);
  EXPECT_EQ(Arrive({"B" + kBadA + "C"}), "BAC");
}

TEST_F(ParityOfTheDevice, AMarkMayComeInPieces) {
  Open("7E1", true);
  terminal_.Write("B\xFF");
  EXPECT_EQ(Arrive({std::string("\0", 1), "AC"}), "B~C");
}

TEST_F(ParityOfTheDevice, ASoundFfIsOneByte) {
  Open("8E1", true);
  EXPECT_EQ(Arrive({"a\xFF\xFF\xFF\xFF" + kBadA}), "a\xFF\xFF~");
}

TEST_F(ParityOfTheDevice, WithoutParityNothingIsAMark) {
  Open("8N1", true);
  EXPECT_EQ(Arrive({"\xFFz\xFF\xFF"}), "\xFFz\xFF\xFF");
}

TEST_F(ParityOfTheDevice, ErrorsAreCountedByTheDevice) {
  Open("7E1", true);
  uart_.SetParityErrors(3);
  EXPECT_EQ(channel_->Errors().parity, 3U);
}

// --- the modem lines ---------------------------------------------------------------------------

class CallWithModemLines : public TelephonySession {
 protected:
  CallWithModemLines() {
    LineConfig line;
    line.name = "Modem";
    line.device = modem_.device();
    line.flow = "none";
    AddLine(line);
    modem_.On("ATD123", "\r\nCONNECT 2400\r\n");
    modem_.On("ATH", "\r\nOK\r\n");
  }
  /// A call whose carrier was off before.
  void Connect() {
    uart_.SetCarrierAfterALook();
    ASSERT_EQ(Dial("Modem", "123"), CallState::kConnected);
  }

  PtyModem modem_;
  FakeUart uart_{modem_.device()};
};

TEST_F(CallWithModemLines, HangingUpIsDroppingDtrAndNothingElse) {
  uart_.on_dtr_drop = [this] { uart_.SetCarrier(false); };
  Connect();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(uart_.drops(), 1);
  EXPECT_THAT(modem_.received(), Not(HasSubstr("+++")));
}

TEST_F(CallWithModemLines, AModemThatIgnoresDtrIsToldInWords) {
  Connect();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(uart_.drops(), 1);
  EXPECT_THAT(modem_.received(), HasSubstr("+++ATH"));
}

TEST_F(CallWithModemLines, LosingTheCarrierEndsTheCallAfterWhatCameBefore) {
  Connect();
  const CommHandle port = TakePort();
  modem_.Say("last words");
  loop_.Sleep(std::chrono::milliseconds(20));
  uart_.SetCarrier(false);
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
  EXPECT_EQ(Read(port, "last words"), "last words");
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr("The carrier was lost"));
}

TEST_F(CallWithModemLines, TheLinesAreShownToWhoAsks) {
  Connect();
  std::uint32_t status = 0;
  EXPECT_TRUE(comm_->GetCommModemStatus(TakePort(), status));
  EXPECT_EQ(status, kMsCtsOn | kMsDsrOn | kMsRlsdOn);
}

}  // namespace
}  // namespace mvsms::posix
