// Serial devices, on pseudo-terminals: what is applied, what is refused and how that is said,
// software parity, and the ways in which the far end is seen to go.
#include "backends/posix/line/serial_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>

#include <cerrno>
#include <filesystem>

#include "base/raised_error.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

class SerialLine : public testing::Test {
 protected:
  LineConfig Line(const std::string& framing = "8N1", std::uint32_t speed = 9600) const {
    LineConfig line;
    line.device = terminal_.device();
    line.framing = framing;
    line.speed = speed;
    line.flow = "none";
    return line;
  }
  void Open(const std::string& framing = "8N1") { channel_ = OpenModem(Line(framing), {}); }
  /// What comes within a second, up to `count` bytes.
  std::string Read(std::size_t count) {
    std::string text;
    char code = 0;
    for (int turn = 0; turn < 200 && text.size() < count; ++turn) {
      channel_->WaitForInput(Channel::Millis(5));
      while (text.size() < count && channel_->Read(&code, 1) == 1) text += code;
    }
    return text;
  }
  std::string Arrive(const std::string& bytes) {
    terminal_.Write(bytes);
    return Read(bytes.size());
  }
  termios DeviceSettings() const {
    const UniqueFd fd(open(terminal_.device().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
    termios settings{};
    tcgetattr(fd.get(), &settings);
    return settings;
  }
  std::uint32_t DeviceSpeed() const {
    const UniqueFd fd(open(terminal_.device().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
    Dcb state;
    return ReadTtyState(fd.get(), state) ? state.BaudRate : 0;
  }
  /// The error of an attempt to open a line.
  static std::pair<int, std::string> Refusal(const LineConfig& line) {
    try {
      OpenModem(line, {});
      return {0, ""};
    } catch (const RaisedError& error) {
      return {error.number(), error.description()};
    }
  }

  LockFolder folder_;
  PseudoTerminal terminal_;
  std::shared_ptr<ModemChannel> channel_;
};

// --- opening -----------------------------------------------------------------------------------

TEST_F(SerialLine, IsOpenedRawAndNeverEchoes) {
  Open();
  EXPECT_EQ(Arrive("\x03\x04\r\n\x11\x13\x1A\xFF"), "\x03\x04\r\n\x11\x13\x1A\xFF");
  EXPECT_EQ(channel_->Write("a\nb\x7F"), 4U);
  EXPECT_EQ(terminal_.ReadUntil("\x7F"), "a\nb\x7F");
}

TEST_F(SerialLine, IsExclusiveAndLockedWhileOpen) {
  Open();
  int exclusive = 0;
  const UniqueFd fd(open(terminal_.device().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  if (fd) {
    ASSERT_EQ(ioctl(fd.get(), TIOCGEXCL, &exclusive), 0);
    EXPECT_NE(exclusive, 0);
  }
  EXPECT_TRUE(std::filesystem::exists(folder_.FileOf(terminal_.device())));
  EXPECT_EQ(Refusal(Line()).first, EBUSY);
  channel_->Close();
  EXPECT_FALSE(std::filesystem::exists(folder_.FileOf(terminal_.device())));
  if (fd) {
    ioctl(fd.get(), TIOCGEXCL, &exclusive);
    EXPECT_EQ(exclusive, 0);
  }
  EXPECT_NO_THROW(Open());
}

TEST_F(SerialLine, DoesNotGetWhatCameBefore) {
  terminal_.Write("stale");
  Open();
  EXPECT_EQ(Arrive("new"), "new");
}

TEST_F(SerialLine, AppliesItsOwnSpeedFramingAndFlow) {
  LineConfig line = Line("8N2", 19200);
  line.flow = "xonxoff";
  channel_ = OpenModem(line, {});
  EXPECT_EQ(channel_->state().BaudRate, 19200U);
  EXPECT_EQ(channel_->state().ByteSize, 8);
  EXPECT_EQ(channel_->state().StopBits, 2);
  EXPECT_EQ(channel_->state().flags, dcb_flag::kBinary | dcb_flag::kOutX | dcb_flag::kInX);
  const termios device = DeviceSettings();
  EXPECT_EQ(DeviceSpeed(), 19200U);
  EXPECT_EQ(device.c_cflag & (CSIZE | CSTOPB | PARENB), static_cast<tcflag_t>(CS8 | CSTOPB));
  EXPECT_EQ(device.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
}

TEST_F(SerialLine, HardwareFlowControlIsApplied) {
  LineConfig line = Line();
  line.flow = "rtscts";
  channel_ = OpenModem(line, {});
  EXPECT_NE(DeviceSettings().c_cflag & CRTSCTS, 0U);
  EXPECT_NE(channel_->state().flags & dcb_flag::kOutxCtsFlow, 0U);
}

TEST_F(SerialLine, SpeedsOutsideTheUsualListWorkToo) {
  for (const std::uint32_t speed : {110U, 14400U, 56000U, 128000U, 256000U}) {
    channel_.reset();
    channel_ = OpenModem(Line("8N1", speed), {});
    EXPECT_EQ(channel_->state().BaudRate, speed);
  }
}

// --- refusals ----------------------------------------------------------------------------------

TEST_F(SerialLine, FramingThatTheDeviceSilentlyIgnoresIsRefusedWithTheWayOut) {
  const auto [number, text] = Refusal(Line("7E1"));
  EXPECT_EQ(number, EINVAL);
  EXPECT_EQ(text,
            "The device " + terminal_.device() + " does not do the framing 7E1; use 7E1-soft");
}

TEST_F(SerialLine, FramingWithoutAWayOutIsRefusedWithoutOne) {
  EXPECT_THAT(Refusal(Line("8E1")).second, EndsWith(" does not do the framing 8E1"));
  EXPECT_THAT(Refusal(Line("7N1")).second, EndsWith(" does not do the framing 7N1"));
}

TEST_F(SerialLine, RefusedLineIsFreeAgain) {
  Refusal(Line("7E1"));
  EXPECT_EQ(DeviceInUse(terminal_.device()), "");
}

TEST_F(SerialLine, UnknownSettingsAreRefused) {
  EXPECT_EQ(Refusal(Line("9N1")), std::pair(EINVAL, std::string("\"9N1\" is not a framing")));
  LineConfig line = Line();
  line.flow = "dsrdtr";
  EXPECT_EQ(Refusal(line), std::pair(EINVAL, std::string("\"dsrdtr\" is not a flow control")));
}

TEST_F(SerialLine, AbsentDeviceIsNamed) {
  LineConfig line = Line();
  line.device = "/dev/ttyNoSuch0";
  const auto [number, text] = Refusal(line);
  EXPECT_EQ(number, ENOENT);
  EXPECT_THAT(text, HasSubstr("The device /dev/ttyNoSuch0 does not exist"));
}

TEST_F(SerialLine, DeviceThatIsNoTerminalIsNamed) {
  LineConfig line = Line();
  line.device = "/dev/null";
  const auto [number, text] = Refusal(line);
  EXPECT_EQ(number, ENOTTY);
  EXPECT_THAT(text, HasSubstr("/dev/null is not a serial device"));
}

TEST_F(SerialLine, MissingRightIsExplained) {
  chmod(terminal_.device().c_str(), 0600);
  EXPECT_TRUE(SucceedsUnprivileged([&] {
    const auto [number, text] = Refusal(Line());
    return number == EACCES && text.find(terminal_.device()) != std::string::npos &&
           text.find("dialout") != std::string::npos;
  }));
}

// --- settings of an open line ------------------------------------------------------------------

TEST_F(SerialLine, OneAndAHalfStopBitsAreRefusedAndChangeNothing) {
  Open();
  const Dcb before = channel_->state();
  Dcb wanted = before;
  wanted.BaudRate = 300;
  wanted.StopBits = 1;
  EXPECT_FALSE(channel_->SetState(wanted));
  EXPECT_EQ(channel_->state(), before);
  EXPECT_EQ(DeviceSpeed(), 9600U);
}

TEST_F(SerialLine, SettingsThatTheDeviceDoesNotDoAreRefusedAndChangeNothing) {
  Open();
  const Dcb before = channel_->state();
  Dcb wanted = before;
  wanted.BaudRate = 300;
  wanted.ByteSize = 7;
  wanted.Parity = 2;
  EXPECT_FALSE(channel_->SetState(wanted));
  EXPECT_EQ(channel_->state(), before);
  EXPECT_EQ(DeviceSpeed(), 9600U);
}

TEST_F(SerialLine, FourDataBitsAndNoSpeedAreRefused) {
  Open();
  Dcb wanted = channel_->state();
  wanted.ByteSize = 4;
  EXPECT_FALSE(channel_->SetState(wanted));
  wanted = channel_->state();
  wanted.BaudRate = 0;
  EXPECT_FALSE(channel_->SetState(wanted));
}

TEST_F(SerialLine, ValidSettingsAreAppliedAndKeepWhatTermiosHasNot) {
  Open();
  Dcb wanted = channel_->state();
  wanted.BaudRate = 2400;
  wanted.StopBits = 2;
  wanted.XonLim = 100;
  wanted.ErrorChar = '~';
  wanted.flags |= dcb_flag::kOutX | dcb_flag::kAbortOnError;
  wanted.XonChar = 'a';
  EXPECT_TRUE(channel_->SetState(wanted));
  EXPECT_EQ(channel_->state(), wanted);
  const termios device = DeviceSettings();
  EXPECT_EQ(DeviceSpeed(), 2400U);
  EXPECT_NE(device.c_cflag & CSTOPB, 0U);
  EXPECT_EQ(device.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON));
  EXPECT_EQ(device.c_cc[VSTART], 'a');
}

TEST_F(SerialLine, DeviceOpenedByNameShowsTheSettingsThatItHas) {
  {
    const auto before = OpenModem(Line("8N2", 1200), {});
  }
  channel_ = OpenDevice(terminal_.device());
  EXPECT_EQ(channel_->state().BaudRate, 1200U);
  EXPECT_EQ(channel_->state().ByteSize, 8);
  EXPECT_EQ(channel_->state().Parity, 0);
  EXPECT_EQ(channel_->state().StopBits, 2);
}

// Paddings of old terminals; neither protocol has a use for them.
TEST_F(SerialLine, ZeroBytesNeverArriveWhateverTheSettingsSay) {
  Open();
  Dcb wanted = channel_->state();
  for (const std::uint32_t flags : {wanted.flags | dcb_flag::kNull, wanted.flags}) {
    wanted.flags = flags;
    ASSERT_TRUE(channel_->SetState(wanted));
    terminal_.Write(std::string_view("a\0b\0c", 5));
    EXPECT_EQ(Read(3), "abc");
  }
}

TEST_F(SerialLine, ZeroBytesWithTheirParityNeverArriveEither) {
  Open("7O1-soft");
  terminal_.Write("\x80\xC1\x80\xC2");
  EXPECT_EQ(Read(2), "AB");
}

TEST_F(SerialLine, PseudoTerminalHasNoModemLinesAndCountsNoErrors) {
  Open();
  EXPECT_FALSE(channel_->ModemLines());
  EXPECT_FALSE(channel_->SetDtr(false));
  EXPECT_EQ(channel_->Errors(), LineErrorCounts());
}

// --- software parity ---------------------------------------------------------------------------

TEST_F(SerialLine, SoftParityIsMadeOnSendingAndStrippedOnReceiving) {
  Open("7E1-soft");
  EXPECT_EQ(channel_->state().ByteSize, 7);
  EXPECT_EQ(channel_->state().Parity, 2);
  EXPECT_EQ(DeviceSettings().c_cflag & (CSIZE | PARENB), static_cast<tcflag_t>(CS8));
  EXPECT_EQ(channel_->Write("AC\r"), 3U);
  EXPECT_EQ(terminal_.ReadUntil("\x8D"), "A\xC3\x8D");
  EXPECT_EQ(Arrive("A\xC3\x8D"), "AC\r");
}

TEST_F(SerialLine, SoftParityErrorsAreCountedAndReplacedOnRequest) {
  Open("7E1-soft");
  EXPECT_EQ(Arrive("C\xC1"), "CA");
  EXPECT_EQ(channel_->Errors().parity, 2U);
  Dcb wanted = channel_->state();
  wanted.flags |= dcb_flag::kParity | dcb_flag::kErrorChar;
  wanted.ErrorChar = '~';
  ASSERT_TRUE(channel_->SetState(wanted));
  EXPECT_EQ(Arrive("A\xC1"), "A~");
  EXPECT_EQ(channel_->Errors().parity, 3U);
}

TEST_F(SerialLine, SoftParityFollowsLaterSettings) {
  Open("7E1-soft");
  Dcb wanted = channel_->state();
  wanted.Parity = 1;
  ASSERT_TRUE(channel_->SetState(wanted));
  channel_->Write("A");
  EXPECT_EQ(terminal_.ReadUntil("\xC1"), "\xC1");
  wanted.ByteSize = 8;
  wanted.Parity = 0;
  ASSERT_TRUE(channel_->SetState(wanted));
  channel_->Write("A");
  EXPECT_EQ(terminal_.ReadUntil("A"), "A");
}

TEST_F(SerialLine, LineWithoutSoftFramingNeverMakesParityItself) {
  Open("8N1");
  Dcb wanted = channel_->state();
  wanted.ByteSize = 7;
  wanted.Parity = 2;
  EXPECT_FALSE(channel_->SetState(wanted));
}

// --- the far end goes --------------------------------------------------------------------------

TEST_F(SerialLine, NoCarrierInTheDataEndsTheLineOnceItWasRead) {
  Open();
  channel_->WatchCarrier(false);
  terminal_.Write("bye\r\nNO CARRIER\r\n");
  std::string text = Read(10);
  EXPECT_FALSE(channel_->Ended());
  text += Read(7);
  EXPECT_EQ(text, "bye\r\nNO CARRIER\r\n");
  EXPECT_TRUE(channel_->Lost());
  EXPECT_TRUE(channel_->Ended());
}

TEST_F(SerialLine, NoCarrierBeforeTheCallIsUpMeansNothing) {
  Open();
  EXPECT_EQ(Arrive("\r\nNO CARRIER\r\n").size(), 14U);
  EXPECT_FALSE(channel_->Lost());
}

TEST_F(SerialLine, VanishedDeviceIsLostAndSwallowsWhatIsWritten) {
  Open();
  EXPECT_FALSE(channel_->Lost());
  terminal_.Close();
  EXPECT_TRUE(channel_->Lost());
  EXPECT_TRUE(channel_->Ended());
  EXPECT_EQ(channel_->Write("into the void"), 13U);
  EXPECT_FALSE(channel_->SetState(channel_->state()));
}

TEST_F(SerialLine, WhatWasReadAheadSurvivesTheDevice) {
  Open();
  terminal_.Write("last words");
  while (channel_->Available(10) < 10) channel_->WaitForInput(Channel::Millis(5));
  terminal_.Close();
  EXPECT_TRUE(channel_->Lost());
  EXPECT_FALSE(channel_->Ended());
  EXPECT_EQ(Read(10), "last words");
  EXPECT_TRUE(channel_->Ended());
}

TEST_F(SerialLine, BytesPutBackComeFirst) {
  Open();
  terminal_.Write("bc");
  channel_->PutBack("a");
  EXPECT_EQ(Read(3), "abc");
}

// A device whose carrier line a test moves.
class CarrierLine : public SerialChannel {
 public:
  explicit CarrierLine(const std::string& device)
      : SerialChannel(OpenTty(device), DeviceLock(device)) {}
  std::optional<std::uint32_t> ModemLines() override { return on ? kMsRlsdOn : 0; }
  bool on = true;
};

TEST_F(SerialLine, CarrierLineEndsTheLineOnceAllWasRead) {
  const auto line = std::make_shared<CarrierLine>(terminal_.device());
  channel_ = line;
  channel_->WatchCarrier(true);
  EXPECT_EQ(Arrive("\r\nNO CARRIER\r\n").size(), 14U);
  EXPECT_FALSE(channel_->Lost());  // the carrier line knows better than the text
  terminal_.Write("rest");
  while (channel_->Available(4) < 4) channel_->WaitForInput(Channel::Millis(5));
  line->on = false;
  EXPECT_FALSE(channel_->Ended());
  EXPECT_EQ(Read(4), "rest");
  EXPECT_TRUE(channel_->Ended());
}

TEST_F(SerialLine, XoffStopsTheOutputUntilXonInEveryFraming) {
  struct Case {
    const char *framing, *xoff, *xon, *x;
  };
  for (const Case& c : {Case{"8N1", "\x13", "\x11", "x"}, Case{"7E1-soft", "\x93", "\x11", "x"},
                        Case{"7O1-soft", "\x13", "\x91", "\xF8"}}) {
    channel_.reset();
    LineConfig line = Line(c.framing);
    line.flow = "xonxoff";
    channel_ = OpenModem(line, {});
    terminal_.Write(c.xoff);
    channel_->WaitForInput(Channel::Millis(30));
    EXPECT_EQ(channel_->Available(1), 0U) << c.framing;  // not data
    EXPECT_EQ(channel_->Write("x"), 0U) << c.framing;
    terminal_.Write(c.xon);
    channel_->WaitForInput(Channel::Millis(30));
    EXPECT_EQ(channel_->Write("x"), 1U) << c.framing;
    EXPECT_EQ(terminal_.ReadUntil(c.x), c.x) << c.framing;
  }
}

TEST_F(SerialLine, LineWithParityChecksIt) {
  Open("7E1-soft");
  Dcb state = channel_->state();
  state.flags |= dcb_flag::kErrorChar;
  state.ErrorChar = '~';
  ASSERT_TRUE(channel_->SetState(state));
  EXPECT_EQ(Arrive("A\xC1"), "A~");
}

TEST(NoCarrier, IsSeenAsALineOfItsOwnHoweverItIsCut) {
  const std::string text = "abc\r\nNO CARRIER\r\n";
  for (std::size_t cut = 0; cut < text.size() - 1; ++cut) {
    NoCarrierWatch watch;
    EXPECT_FALSE(watch.Feed(text.substr(0, cut)));
    EXPECT_TRUE(watch.Feed(text.substr(cut))) << cut;
  }
}

TEST(NoCarrier, InsideALineIsData) {
  for (const char* text : {"xNO CARRIER\r\n", "NO CARRIERS\r\n", " NO CARRIER\r\n", "NO\rCARRIER\r",
                           "NO CARRIER", "the text NO CARRIER in it\r\n"}) {
    NoCarrierWatch watch;
    EXPECT_FALSE(watch.Feed(text)) << text;
  }
}

TEST(NoCarrier, IsSeenAfterALongLine) {
  NoCarrierWatch watch;
  std::string line(100000, 'x');
  line += "\rNO CARRIER\r";
  EXPECT_TRUE(watch.Feed(line));
}

}  // namespace
}  // namespace mvsms::posix
