// The serial port over a port service that finishes its operations when the test says so.
#include "media/dwcomm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/media/fake_comm.h"
#include "tests/support/raised.h"

namespace mvsms {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Raised kNotOpen{-2147190493, "dwComm", "Communication Device is not open"};
const Raised kOpenFailed{-2147190494, "dwComm", "Unable to open communications device"};
constexpr CommHandle kCallPort = 42;

class PortTest : public testing::Test, protected CommNotify {
 protected:
  void Open() { port.OpenCommByHandle(kCallPort, *this); }
  /// Opens the port and forgets what that took.
  void OpenIdle() {
    Open();
    comm.calls.clear();
  }
  std::vector<std::size_t> WrittenSizes() const {
    std::vector<std::size_t> sizes;
    for (const std::string& chunk : comm.written) sizes.push_back(chunk.size());
    return sizes;
  }
  void CommInput(dwCOMM& thiscomm, const std::string& commdata) override {
    EXPECT_EQ(&thiscomm, &port);
    input.push_back(commdata);
    if (on_input) on_input();
  }
  void CommEvent(dwCOMM& thiscomm, const std::string& ev) override {
    EXPECT_EQ(&thiscomm, &port);
    events.push_back(ev);
    if (on_event) on_event();
  }

  FakeComm comm;
  std::vector<std::string> log;
  std::vector<std::string> input;
  std::vector<std::string> events;
  std::function<void()> on_input;
  std::function<void()> on_event;
  dwCOMM port{comm, [this](const std::string& text) { log.push_back(text); }};
};

// --- opening and closing ----------------------------------------------------------------------

TEST_F(PortTest, OpeningByHandlePreparesThePortInOrderAndStartsReading) {
  EXPECT_EQ(port.OpenCommByHandle(kCallPort, *this), kCallPort);
  EXPECT_THAT(comm.calls, ElementsAre("SetupComm 8192 1024", "GetCommTimeouts", "SetCommTimeouts",
                                      "GetCommState", "SetCommMask 128", "ReadFile 1024"));
  EXPECT_EQ(port.hCommDev(), kCallPort);
  EXPECT_EQ(port.DeviceName(), "");
}

TEST_F(PortTest, OpeningByNameCreatesTheFileFirst) {
  EXPECT_EQ(port.OpenComm("COM3", *this), 7);
  EXPECT_THAT(comm.calls,
              ElementsAre("CreateFile COM3", "SetupComm 8192 1024", "GetCommTimeouts",
                          "SetCommTimeouts", "GetCommState", "SetCommMask 128", "ReadFile 1024"));
  EXPECT_EQ(port.hCommDev(), 7);
  EXPECT_EQ(port.DeviceName(), "COM3");
}

TEST_F(PortTest, OpeningByHandleLeavesTheNameAsItWas) {
  port.OpenComm("COM3", *this);
  Open();
  EXPECT_EQ(port.DeviceName(), "COM3");
}

TEST_F(PortTest, ADeviceThatDoesNotOpenRaises31010) {
  comm.next_handle = kInvalidComm;
  EXPECT_EQ(RaisedBy([&] { port.OpenComm("COM9", *this); }), kOpenFailed);
  EXPECT_EQ(port.hCommDev(), kNoComm);
  EXPECT_EQ(port.DeviceName(), "COM9");
  EXPECT_THAT(comm.calls, ElementsAre("CreateFile COM9"));
}

TEST_F(PortTest, AnInvalidHandleRaises31010) {
  EXPECT_EQ(RaisedBy([&] { port.OpenCommByHandle(kInvalidComm, *this); }), kOpenFailed);
  EXPECT_THAT(comm.calls, IsEmpty());
}

TEST_F(PortTest, AdoptingAHandleClosesAnOpenPortFirst) {
  OpenIdle();
  comm.calls.clear();
  port.OpenCommByHandle(43, *this);
  EXPECT_EQ(comm.calls[0], "CloseHandle 42");
  EXPECT_EQ(port.hCommDev(), 43);
}

TEST_F(PortTest, AnInvalidHandleClosesAnOpenPortAllTheSame) {
  OpenIdle();
  comm.calls.clear();
  EXPECT_EQ(RaisedBy([&] { port.OpenCommByHandle(kInvalidComm, *this); }), kOpenFailed);
  EXPECT_THAT(comm.calls, ElementsAre("CloseHandle 42"));
}

TEST_F(PortTest, NoHandleAtAllCountsAsAClosedPort) {
  EXPECT_EQ(RaisedBy([&] { port.OpenCommByHandle(kNoComm, *this); }), kNotOpen);
}

TEST_F(PortTest, BothQueueSizesAreUsed) {
  port.OpenCommByHandle(kCallPort, *this, 100, 200);
  EXPECT_EQ(comm.calls.front(), "SetupComm 100 200");
}

TEST_F(PortTest, OneQueueSizeAloneIsIgnored) {
  port.OpenCommByHandle(kCallPort, *this, 100);
  EXPECT_EQ(comm.calls.front(), "SetupComm 8192 1024");
  comm.calls.clear();
  port.OpenComm("COM1", *this, {}, 200);
  EXPECT_EQ(comm.calls[2], "SetupComm 8192 1024");
}

TEST_F(PortTest, OpeningSetsTimeoutsForPolling) {
  Open();
  EXPECT_EQ(comm.timeouts, (CommTimeouts{1, 0, 10, 1, 1}));
  EXPECT_EQ(port.ReadIntervalTimeout(), 1U);
  EXPECT_EQ(port.ReadTotalTimeoutMultiplier(), 0U);
  EXPECT_EQ(port.ReadTotalTimeoutConstant(), 10U);
  EXPECT_EQ(port.WriteTotalTimeoutMultiplier(), 1U);
  EXPECT_EQ(port.WriteTotalTimeoutConstant(), 1U);
}

TEST_F(PortTest, OpeningLoadsTheDevicesSettings) {
  comm.dcb.BaudRate = 115200;
  comm.dcb.flags = 0x1011;
  Open();
  EXPECT_EQ(port.dcb.record(), comm.dcb);
}

TEST_F(PortTest, APortThatRefusesEverySettingIsOpenAllTheSame) {
  comm.fails = true;
  Open();
  EXPECT_EQ(port.hCommDev(), kCallPort);
  EXPECT_TRUE(comm.HasPendingRead());
}

TEST_F(PortTest, OpeningAnOpenPortClosesItFirst) {
  Open();
  comm.calls.clear();
  port.OpenComm("COM1", *this);
  EXPECT_EQ(comm.calls[0], "CloseHandle 42");
  EXPECT_EQ(comm.calls[1], "CreateFile COM1");
}

TEST_F(PortTest, ClosingTwiceClosesTheHandleOnce) {
  OpenIdle();
  EXPECT_EQ(port.CloseComm(), 0);
  EXPECT_EQ(port.CloseComm(), 0);
  EXPECT_EQ(port.hCommDev(), kNoComm);
  EXPECT_THAT(comm.calls, ElementsAre("CloseHandle 42"));
}

TEST_F(PortTest, TheEndOfTheObjectClosesThePortBeforeItsBuffersGo) {
  {
    dwCOMM other(comm, {});
    other.OpenCommByHandle(5, *this);
    other.CommOutput("pending");
    other.Poll();
    comm.calls.clear();
  }
  EXPECT_THAT(comm.calls, ElementsAre("CloseHandle 5"));
  EXPECT_FALSE(comm.HasPendingRead());
}

TEST_F(PortTest, WhatWasPendingAtTheCloseIsCollectedAfterTheNextOpening) {
  Open();
  port.CommOutput("first");
  port.Poll();
  port.CloseComm();
  OpenIdle();
  EXPECT_THAT(comm.calls, IsEmpty());  // the read still counts as pending
  EXPECT_FALSE(comm.HasPendingRead());
  EXPECT_TRUE(port.CommOutput("second"));
  EXPECT_THAT(comm.written, ElementsAre("first"));
  port.Poll();
  EXPECT_THAT(comm.written, ElementsAre("first", "second"));
  EXPECT_THAT(input, IsEmpty());
  port.Poll();
  EXPECT_TRUE(comm.HasPendingRead());
  EXPECT_TRUE(comm.HasPendingWait());
}

TEST_F(PortTest, OutputThatDidNotGoOutStaysForTheNextOpening) {
  Open();
  port.CommOutput("first");
  port.CommOutput("second");
  port.CloseComm();
  Open();
  port.Poll();
  EXPECT_THAT(comm.written, ElementsAre("first", "second"));
}

// --- what needs an open port ------------------------------------------------------------------

TEST_F(PortTest, AClosedPortRaises31011) {
  EXPECT_EQ(RaisedBy([&] { port.CommOutput("x"); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.Poll(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.PollRead(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.GetCommState(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.SetCommState(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.CTS_ON(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.DSR_ON(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.RING_ON(); }), kNotOpen);
  EXPECT_EQ(RaisedBy([&] { port.RLSD_ON(); }), kNotOpen);
  EXPECT_THAT(comm.calls, IsEmpty());
}

TEST_F(PortTest, OutputRefusedByAClosedPortIsNotKept) {
  RaisedBy([&] { port.CommOutput("lost"); });
  Open();
  port.CommOutput("sent");
  EXPECT_THAT(comm.written, ElementsAre("sent"));
}

TEST_F(PortTest, SettingsAreLoadedAndApplied) {
  OpenIdle();
  port.dcb.SetBaudRate(300);
  EXPECT_TRUE(port.SetCommState());
  EXPECT_EQ(comm.dcb.BaudRate, 300U);
  comm.dcb.BaudRate = 600;
  EXPECT_TRUE(port.GetCommState());
  EXPECT_EQ(port.dcb.BaudRate(), 600);
  comm.fails = true;
  EXPECT_FALSE(port.SetCommState());
  EXPECT_FALSE(port.GetCommState());
}

TEST_F(PortTest, TheModemLinesAreBitsOfItsStatus) {
  Open();
  const auto lines = [&] {
    return std::vector<bool>{port.CTS_ON(), port.DSR_ON(), port.RING_ON(), port.RLSD_ON()};
  };
  comm.modem_status = 0x10;
  EXPECT_EQ(lines(), (std::vector<bool>{true, false, false, false}));
  comm.modem_status = 0x20;
  EXPECT_EQ(lines(), (std::vector<bool>{false, true, false, false}));
  comm.modem_status = 0x40;
  EXPECT_EQ(lines(), (std::vector<bool>{false, false, true, false}));
  comm.modem_status = 0x80;
  EXPECT_EQ(lines(), (std::vector<bool>{false, false, false, true}));
}

TEST_F(PortTest, ADeviceWithoutModemLinesRaises31012) {
  Open();
  comm.fails = true;
  const Raised failed{-2147190492, "dwComm", "GetCommModemStatus Failed"};
  EXPECT_EQ(RaisedBy([&] { port.CTS_ON(); }), failed);
  EXPECT_EQ(RaisedBy([&] { port.RLSD_ON(); }), failed);
}

// --- time-outs --------------------------------------------------------------------------------

TEST_F(PortTest, TimeoutsOfAClosedPortAreLeftAlone) {
  port.GetCommTimeouts();
  EXPECT_FALSE(port.SetCommTimeouts());
  EXPECT_EQ(port.ReadIntervalTimeout(), 0U);
  EXPECT_THAT(comm.calls, IsEmpty());
}

TEST_F(PortTest, TimeoutsAreReadAndApplied) {
  Open();
  port.SetReadIntervalTimeout(21);
  port.SetReadTotalTimeoutMultiplier(22);
  EXPECT_TRUE(port.SetCommTimeouts());
  EXPECT_EQ(comm.timeouts, (CommTimeouts{21, 22, 10, 1, 1}));
  comm.timeouts = {31, 32, 33, 34, 35};
  port.GetCommTimeouts();
  EXPECT_EQ(port.WriteTotalTimeoutConstant(), 35U);
  comm.fails = true;
  EXPECT_FALSE(port.SetCommTimeouts());
}

TEST_F(PortTest, ThreeOfTheTimeoutsCannotBeChanged) {
  Open();
  port.SetReadTotalTimeoutConstant(500);
  port.SetWriteTotalTimeoutMultiplier(500);
  port.SetWriteTotalTimeoutConstant(500);
  EXPECT_EQ(port.ReadTotalTimeoutConstant(), 10U);
  EXPECT_EQ(port.WriteTotalTimeoutMultiplier(), 1U);
  EXPECT_EQ(port.WriteTotalTimeoutConstant(), 1U);
}

// --- writing ----------------------------------------------------------------------------------

TEST_F(PortTest, ALongTextGoesOutIn1024ByteChunksAsEachWriteCompletes) {
  OpenIdle();
  EXPECT_TRUE(port.CommOutput(std::string(3000, 'x')));
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U));
  port.PollWrite();
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U));
  comm.CompleteWrite();
  port.PollWrite();
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U, 1024U));
  comm.CompleteWrite();
  port.PollWrite();
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U, 1024U, 952U));
  comm.CompleteWrite();
  port.PollWrite();
  port.PollWrite();
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U, 1024U, 952U));
}

TEST_F(PortTest, OutputDuringAWriteOnlyWaits) {
  Open();
  port.CommOutput("one");
  EXPECT_TRUE(port.CommOutput("two"));
  EXPECT_TRUE(port.CommOutput("three"));
  EXPECT_THAT(comm.written, ElementsAre("one"));
  comm.CompleteWrite();
  port.PollWrite();
  EXPECT_THAT(comm.written, ElementsAre("one", "twothree"));
}

TEST_F(PortTest, AnEmptyOutputWritesNothing) {
  Open();
  EXPECT_TRUE(port.CommOutput(""));
  EXPECT_THAT(comm.written, IsEmpty());
}

TEST_F(PortTest, WritesThatFinishAtOnceFollowEachOther) {
  Open();
  comm.writes = {{0}, {0}, {0}};
  EXPECT_TRUE(port.CommOutput(std::string(3000, 'x')));
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U, 1024U, 952U));
}

TEST_F(PortTest, AZeroEndsAChunkAndGoesOutWithIt) {
  Open();
  comm.writes = {{0}, {0}, {0}, {0}};
  port.CommOutput(std::string("AB\0CD\0\0E", 8));
  EXPECT_THAT(comm.written, ElementsAre(std::string("AB\0", 3), std::string("CD\0", 3),
                                        std::string("\0", 1), "E"));
}

TEST_F(PortTest, AZeroBehindTheChunkDoesNotCutIt) {
  Open();
  comm.writes = {{0}, {0}};
  port.CommOutput(std::string(1024, 'x') + std::string("\0y", 2));
  EXPECT_THAT(WrittenSizes(), ElementsAre(1024U, 1U, 1U));
}

TEST_F(PortTest, EachWriteLeavesADiagnosticLineWithItsBuffer) {
  Open();
  port.CommOutput("x");
  const auto address = reinterpret_cast<std::uintptr_t>(comm.write_buffer);
  EXPECT_THAT(log, ElementsAre("WriteFile: " + std::to_string(address)));
}

TEST_F(PortTest, AChunkIsFollowedByAZeroInItsBuffer) {
  Open();
  port.CommOutput(std::string(1024, 'x'));
  EXPECT_EQ(comm.write_buffer[1024], '\0');
}

TEST_F(PortTest, ARefusedWriteIsLoggedAndItsChunkLost) {
  Open();
  comm.writes = {{5}};
  EXPECT_FALSE(port.CommOutput(std::string(1024, 'x') + "rest"));
  ASSERT_EQ(log.size(), 2U);
  EXPECT_TRUE(log[0].starts_with("WriteFile: "));
  EXPECT_EQ(log[1], "Failure on Comm device output operation - 5 - 5");
  EXPECT_TRUE(port.CommOutput(""));
  EXPECT_EQ(comm.written.back(), "rest");
}

TEST_F(PortTest, APortWithoutALogWritesAllTheSame) {
  dwCOMM quiet(comm, {});
  quiet.OpenCommByHandle(5, *this);
  comm.writes = {{5}};
  EXPECT_FALSE(quiet.CommOutput("x"));
}

TEST_F(PortTest, ARandomStreamOfOutputsArrivesWholeInOrderAndInSmallChunks) {
  std::mt19937 random(20240229);
  for (int round = 0; round < 200; ++round) {
    Open();
    comm.written.clear();
    std::string expected;
    for (int output = 0; output < 8; ++output) {
      std::string text(random() % 2500, '\0');
      for (char& c : text) c = static_cast<char>(random() % 64 == 0 ? 0 : random() % 256);
      if (random() % 3 == 0) comm.writes.push_back({0});
      port.CommOutput(text);
      expected += text;
    }
    while (comm.HasPendingWrite()) {
      comm.CompleteWrite();
      port.PollWrite();
    }
    std::string arrived;
    for (const std::string& chunk : comm.written) {
      EXPECT_LE(chunk.size(), 1024U);
      EXPECT_GE(chunk.find('\0'), chunk.size() - 1);
      arrived += chunk;
    }
    ASSERT_EQ(arrived, expected) << "round " << round;
    port.CloseComm();
  }
}

// --- reading ----------------------------------------------------------------------------------

TEST_F(PortTest, APollEitherCollectsAReadOrStartsOne) {
  OpenIdle();
  comm.Arrive("hello");
  port.PollRead();
  EXPECT_THAT(input, ElementsAre("hello"));
  EXPECT_THAT(comm.calls, IsEmpty());
  port.PollRead();
  EXPECT_THAT(comm.calls, ElementsAre("ReadFile 1024"));
  EXPECT_THAT(input, ElementsAre("hello"));
}

TEST_F(PortTest, APendingReadIsLeftAlone) {
  OpenIdle();
  port.PollRead();
  port.PollRead();
  EXPECT_THAT(comm.calls, IsEmpty());
}

TEST_F(PortTest, AReadThatFinishesAtOnceIsDeliveredAtOnce) {
  comm.reads = {{0, "early"}};
  Open();
  EXPECT_THAT(input, ElementsAre("early"));
  comm.reads = {{0, "second"}};
  port.PollRead();
  EXPECT_THAT(input, ElementsAre("early", "second"));
}

TEST_F(PortTest, AnEmptyReadDeliversNothing) {
  comm.reads = {{0, ""}};
  Open();
  port.PollRead();
  comm.Arrive("");
  port.PollRead();
  EXPECT_THAT(input, IsEmpty());
}

TEST_F(PortTest, AZeroInTheDataHidesWhatFollowsIt) {
  Open();
  comm.Arrive(std::string_view("AB\0CD", 5));
  port.PollRead();
  EXPECT_THAT(input, ElementsAre(std::string("AB\0\0\0", 5)));
}

TEST_F(PortTest, AFullBufferIsDeliveredWhole) {
  Open();
  const std::string full(1024, '\xFE');
  comm.Arrive(full);
  port.PollRead();
  EXPECT_THAT(input, ElementsAre(full));
}

TEST_F(PortTest, ARefusedReadIsLoggedAndTriedAgain) {
  comm.reads = {{31}, {995}};
  Open();
  port.PollRead();
  EXPECT_THAT(log, ElementsAre("Failure on Comm device read operation - 31 - 31",
                               "Failure on Comm device read operation - 995 - 995"));
  port.PollRead();
  EXPECT_TRUE(comm.HasPendingRead());
  EXPECT_THAT(input, IsEmpty());
}

TEST_F(PortTest, DataReadBeforeTheCloseGoesToNobody) {
  Open();
  comm.Arrive("late");
  port.CloseComm();
  port.PollRead();
  EXPECT_THAT(input, IsEmpty());
}

// --- line events ------------------------------------------------------------------------------

TEST_F(PortTest, LineErrorsAreReportedInOrder) {
  Open();
  port.Poll();
  comm.line_errors = 0x11F;
  comm.RaiseEvent(kEvErr);
  port.Poll();
  EXPECT_THAT(events, ElementsAre("Receive Queue Full Error", "Receive Overrun Error",
                                  "Receive Parity Error", "Frame Error", "Break Detected",
                                  "Transmit Queue Full"));
}

TEST_F(PortTest, EachLineErrorHasItsText) {
  const std::vector<std::pair<std::uint32_t, std::string>> errors = {
      {0x1, "Receive Queue Full Error"}, {0x2, "Receive Overrun Error"},
      {0x4, "Receive Parity Error"},     {0x8, "Frame Error"},
      {0x10, "Break Detected"},          {0x100, "Transmit Queue Full"}};
  Open();
  for (const auto& [bit, text] : errors) {
    events.clear();
    port.Poll();
    comm.line_errors = bit | 0x8000;
    comm.RaiseEvent(kEvErr);
    port.Poll();
    EXPECT_THAT(events, ElementsAre(text));
  }
}

TEST_F(PortTest, AWaitThatEndsWithoutAnEventReportsNothing) {
  Open();
  port.Poll();
  comm.line_errors = 0x1;
  comm.RaiseEvent(0);
  comm.calls.clear();
  port.Poll();
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(comm.calls, IsEmpty());
}

// As a driver ends one that it cancels.
TEST_F(PortTest, AWaitThatEndsWithoutAWordDoesNotRepeatTheEventBefore) {
  Open();
  port.Poll();
  comm.RaiseEvent(kEvErr);
  port.Poll();
  port.Poll();
  comm.line_errors = kCeFrame;
  comm.EndWait();
  port.Poll();
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(PortTest, AnEventAtOnceIsReportedOnce) {
  Open();
  comm.waits = {{0, {}, kEvErr}};
  comm.line_errors = kCeFrame;
  port.Poll();
  EXPECT_THAT(events, ElementsAre("Frame Error"));
  port.Poll();
  EXPECT_TRUE(comm.HasPendingWait());
}

TEST_F(PortTest, ARefusedWaitIsLoggedAndTriedAgain) {
  Open();
  comm.waits = {{6}};
  port.Poll();
  EXPECT_THAT(log, ElementsAre("Failure on Comm device event test operation"));
  port.Poll();
  EXPECT_TRUE(comm.HasPendingWait());
}

TEST_F(PortTest, NoErrorIsReportedOnceTheTargetHasClosedThePort) {
  Open();
  port.Poll();
  on_event = [this] { port.CloseComm(); };
  comm.line_errors = 0x3;
  comm.RaiseEvent(kEvErr);
  port.Poll();
  EXPECT_THAT(events, ElementsAre("Receive Queue Full Error"));
}

TEST_F(PortTest, AnEventOfAClosedPortIsIgnored) {
  Open();
  port.Poll();
  comm.line_errors = kCeFrame;
  comm.RaiseEvent(kEvErr);
  port.CloseComm();
  comm.calls.clear();
  RaisedBy([&] { port.Poll(); });
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(comm.calls, IsEmpty());  // not even looked at
}

TEST_F(PortTest, APollAttendsToWriteThenReadThenEvents) {
  Open();
  port.CommOutput("one");
  port.CommOutput("two");
  comm.CompleteWrite();
  comm.Arrive("in");
  port.PollRead();
  comm.calls.clear();
  port.Poll();
  EXPECT_THAT(comm.calls, ElementsAre("WriteFile 3", "ReadFile 1024", "WaitCommEvent"));
}

TEST_F(PortTest, ATargetMayCloseThePortFromInsideItsInput) {
  Open();
  on_input = [this] { port.CloseComm(); };
  comm.Arrive("bye");
  EXPECT_EQ(RaisedBy([&] { port.Poll(); }), kNotOpen);
  EXPECT_EQ(port.hCommDev(), kNoComm);
}

}  // namespace
}  // namespace mvsms
