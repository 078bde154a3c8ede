// Overlapped operations on a port, with real time: what is pending, what completes a read, what
// becomes of a write that the line does not take.
#include "backends/posix/line/comm.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "backends/posix/line/backend.h"
#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/serial_channel.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class CommPort : public testing::Test {
 protected:
  void SetUp() override {
    port_ = comm_->CreateFile(terminal_.device());
    ASSERT_NE(port_, kInvalidComm);
    ASSERT_NE(port_, kNoComm);
    ASSERT_TRUE(comm_->SetCommMask(port_, kEvErr));
  }
  void Timeouts(std::uint32_t gap, std::uint32_t multiplier, std::uint32_t constant) {
    CommTimeouts timeouts;
    timeouts.ReadIntervalTimeout = gap;
    timeouts.ReadTotalTimeoutMultiplier = multiplier;
    timeouts.ReadTotalTimeoutConstant = constant;
    ASSERT_TRUE(comm_->SetCommTimeouts(port_, timeouts));
  }
  std::uint32_t StartRead(std::uint32_t count) {
    transferred_ = 4711;
    start_ = steady_clock::now();
    return comm_->ReadFile(port_, buffer_, count, transferred_, *read_);
  }
  /// Polls the read every 2 ms until it is complete or a second is over.
  bool Await(Overlapped& overlapped) const {
    for (int turn = 0; turn < 500; ++turn) {
      if (overlapped.Completed()) return true;
      Sleep(2);
    }
    return false;
  }
  milliseconds Taken() const {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start_);
  }
  std::string Result() { return {buffer_, read_->Transferred()}; }
  static void Sleep(int ms) { std::this_thread::sleep_for(milliseconds(ms)); }
  /// Waits until what the far side wrote has reached the device.
  void Arrive(const std::string& text) {
    terminal_.Write(text);
    Sleep(10);
  }

  LockFolder folder_;
  PseudoTerminal terminal_;
  std::unique_ptr<Comm> comm_ = MakeComm();
  CommHandle port_ = kInvalidComm;
  std::unique_ptr<Overlapped> read_ = comm_->CreateOverlapped();
  std::unique_ptr<Overlapped> write_ = comm_->CreateOverlapped();
  std::unique_ptr<Overlapped> wait_ = comm_->CreateOverlapped();
  char buffer_[2000];
  std::uint32_t transferred_ = 0;
  steady_clock::time_point start_;
};

TEST_F(CommPort, UnusedRecordIsNotComplete) {
  EXPECT_FALSE(read_->Completed());
  EXPECT_EQ(read_->Transferred(), 0U);
}

TEST_F(CommPort, OpeningFailsForAbsentAndForeignDevices) {
  EXPECT_EQ(comm_->CreateFile("/dev/no-such-device"), kInvalidComm);
  EXPECT_EQ(comm_->CreateFile("/dev/null"), kInvalidComm);
  EXPECT_EQ(comm_->CreateFile(""), kInvalidComm);
}

TEST_F(CommPort, OpeningIsUnshared) {
  EXPECT_EQ(comm_->CreateFile(terminal_.device()), kInvalidComm);
  EXPECT_TRUE(comm_->CloseHandle(port_));
  EXPECT_NE(comm_->CreateFile(terminal_.device()), kInvalidComm);
}

TEST_F(CommPort, HandlesAreDistinctAndNeverUsedAgain) {
  comm_->CloseHandle(port_);
  const CommHandle next = comm_->CreateFile(terminal_.device());
  EXPECT_NE(next, port_);
}

TEST_F(CommPort, ClosedHandleIsRefusedEverywhere) {
  EXPECT_TRUE(comm_->CloseHandle(port_));
  CommTimeouts timeouts;
  Dcb dcb;
  std::uint32_t value = 0;
  EXPECT_FALSE(comm_->CloseHandle(port_));
  EXPECT_FALSE(comm_->SetupComm(port_, 8192, 1024));
  EXPECT_FALSE(comm_->GetCommTimeouts(port_, timeouts));
  EXPECT_FALSE(comm_->SetCommTimeouts(port_, timeouts));
  EXPECT_FALSE(comm_->GetCommState(port_, dcb));
  EXPECT_FALSE(comm_->SetCommState(port_, dcb));
  EXPECT_FALSE(comm_->SetCommMask(port_, kEvErr));
  EXPECT_FALSE(comm_->GetCommModemStatus(port_, value));
  EXPECT_FALSE(comm_->ClearCommError(port_, value));
  EXPECT_EQ(StartRead(1), 6U);
  EXPECT_EQ(comm_->WriteFile(port_, "a", 1, value, *write_), 6U);
  EXPECT_EQ(comm_->WaitCommEvent(port_, value, *wait_), 6U);
}

TEST_F(CommPort, TimeoutsAndStateAreKept) {
  Timeouts(1, 2, 3);
  CommTimeouts timeouts;
  ASSERT_TRUE(comm_->GetCommTimeouts(port_, timeouts));
  EXPECT_EQ(timeouts, (CommTimeouts{1, 2, 3, 0, 0}));
  EXPECT_TRUE(comm_->SetupComm(port_, 8192, 1024));
  Dcb dcb;
  ASSERT_TRUE(comm_->GetCommState(port_, dcb));
  EXPECT_EQ(dcb.DCBlength, 28U);
  dcb.BaudRate = 2400;
  EXPECT_TRUE(comm_->SetCommState(port_, dcb));
  Dcb again;
  ASSERT_TRUE(comm_->GetCommState(port_, again));
  EXPECT_EQ(again, dcb);
}

// --- reading -----------------------------------------------------------------------------------

TEST_F(CommPort, ReadOfNothingIsCompleteAtOnce) {
  EXPECT_EQ(StartRead(0), 0U);
  EXPECT_EQ(transferred_, 0U);
}

TEST_F(CommPort, ReadOfBytesThatAreThereIsCompleteAtOnce) {
  Arrive("abcd");
  EXPECT_EQ(StartRead(3), 0U);
  EXPECT_EQ(transferred_, 3U);
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(Result(), "abc");
}

TEST_F(CommPort, WhatAReadDoesNotTakeBelongsToTheNext) {
  Arrive("abcd");
  StartRead(3);
  EXPECT_EQ(StartRead(1), 0U);
  EXPECT_EQ(Result(), "d");
}

TEST_F(CommPort, ReadEndsWhenItsCountIsThere) {
  Timeouts(0, 0, 0);
  EXPECT_EQ(StartRead(4), kErrorIoPending);
  EXPECT_EQ(transferred_, 4711U);
  EXPECT_FALSE(read_->Completed());
  Arrive("ab");
  EXPECT_FALSE(read_->Completed());
  Arrive("cdef");
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(Result(), "abcd");
}

TEST_F(CommPort, ReadEndsAfterAGap) {
  Timeouts(30, 0, 0);
  ASSERT_EQ(StartRead(100), kErrorIoPending);
  Sleep(40);
  EXPECT_FALSE(read_->Completed());  // the gap counts from the first byte
  Arrive("ab");
  EXPECT_FALSE(read_->Completed());
  Arrive("c");
  EXPECT_FALSE(read_->Completed());
  EXPECT_TRUE(Await(*read_));
  EXPECT_EQ(Result(), "abc");
}

TEST_F(CommPort, ReadEndsEmptyWhenItsTimeIsOver) {
  Timeouts(1, 0, 40);
  ASSERT_EQ(StartRead(1024), kErrorIoPending);
  EXPECT_FALSE(read_->Completed());
  EXPECT_TRUE(Await(*read_));
  EXPECT_GE(Taken(), milliseconds(40));
  EXPECT_EQ(read_->Transferred(), 0U);
}

TEST_F(CommPort, ReadEndsWithWhatCameWhenItsTimeIsOver) {
  Timeouts(0, 0, 200);
  ASSERT_EQ(StartRead(1024), kErrorIoPending);
  Arrive("abc");
  EXPECT_FALSE(read_->Completed());
  EXPECT_TRUE(Await(*read_));
  EXPECT_GE(Taken(), milliseconds(200));
  EXPECT_EQ(Result(), "abc");
}

TEST_F(CommPort, MultiplierCountsForEachByteAsked) {
  Timeouts(0, 2, 10);
  ASSERT_EQ(StartRead(20), kErrorIoPending);
  EXPECT_TRUE(Await(*read_));
  EXPECT_GE(Taken(), milliseconds(50));
}

TEST_F(CommPort, TimeoutsOfARunningReadStayAsTheyWere) {
  Timeouts(0, 0, 20);
  ASSERT_EQ(StartRead(5), kErrorIoPending);
  Timeouts(0, 0, 0);
  EXPECT_TRUE(Await(*read_));
}

TEST_F(CommPort, ReadPolledLateGetsWhatHasCome) {
  Timeouts(1, 0, 10);
  ASSERT_EQ(StartRead(1024), kErrorIoPending);
  Arrive("abc");
  Sleep(20);
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(Result(), "abc");
}

TEST_F(CommPort, CompletedReadDoesNotTakeLaterBytes) {
  Timeouts(1, 0, 5);
  StartRead(1024);
  ASSERT_TRUE(Await(*read_));
  Arrive("abc");
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(read_->Transferred(), 0U);
  StartRead(3);
  EXPECT_EQ(Result(), "abc");
}

TEST_F(CommPort, ReadCanBeLargerThanAnyBuffer) {
  comm_->CloseHandle(port_);
  const auto channel = std::make_shared<SocketChannel>(PlainNetStream(UniqueFd()));
  channel->PutBack(std::string(20000, 'x'));
  port_ = static_cast<PosixComm&>(*comm_).Adopt(channel);
  std::string large(20000, ' ');
  EXPECT_EQ(comm_->ReadFile(port_, large.data(), 20000, transferred_, *read_), 0U);
  EXPECT_EQ(large, std::string(20000, 'x'));
}

TEST_F(CommPort, ClosingCompletesWhatIsPendingWithNothing) {
  Timeouts(0, 0, 0);
  std::uint32_t events = 0;
  ASSERT_EQ(StartRead(10), kErrorIoPending);
  ASSERT_EQ(comm_->WaitCommEvent(port_, events, *wait_), kErrorIoPending);
  Arrive("abc");
  EXPECT_FALSE(read_->Completed());
  comm_->CloseHandle(port_);
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(read_->Transferred(), 0U);
  EXPECT_TRUE(wait_->Completed());
  EXPECT_EQ(events, 0U);
}

TEST_F(CommPort, RecordsOutliveTheirPort) {
  StartRead(10);
  comm_.reset();
  EXPECT_TRUE(read_->Completed());
}

TEST_F(CommPort, ReadOnAVanishedDeviceEndsEmpty) {
  Timeouts(1, 0, 10);
  terminal_.Close();
  EXPECT_EQ(StartRead(10), kErrorIoPending);
  EXPECT_TRUE(Await(*read_));
  EXPECT_EQ(read_->Transferred(), 0U);
}

// --- writing -----------------------------------------------------------------------------------

TEST_F(CommPort, WriteThatTheLineTakesIsCompleteAtOnce) {
  EXPECT_EQ(comm_->WriteFile(port_, "hello", 5, transferred_, *write_), 0U);
  EXPECT_EQ(transferred_, 5U);
  EXPECT_TRUE(write_->Completed());
  EXPECT_EQ(write_->Transferred(), 5U);
  EXPECT_EQ(terminal_.ReadUntil("hello"), "hello");
}

TEST_F(CommPort, WriteGoesOnWhenTheLineTakesMore) {
  std::string text;
  for (int line = 0; text.size() < 100'000; ++line) text += std::to_string(line) + "\r";
  text += "end";
  ASSERT_EQ(comm_->WriteFile(port_, text.data(), static_cast<std::uint32_t>(text.size()),
                             transferred_, *write_),
            kErrorIoPending);
  EXPECT_FALSE(write_->Completed());
  std::string received;
  while (!write_->Completed()) received += terminal_.ReadSome();
  EXPECT_EQ(write_->Transferred(), text.size());
  received += terminal_.ReadUntil("end");
  EXPECT_EQ(received, text);
}

TEST_F(CommPort, WriteToAVanishedDeviceIsSwallowed) {
  terminal_.Close();
  EXPECT_EQ(comm_->WriteFile(port_, "hello", 5, transferred_, *write_), 0U);
  EXPECT_EQ(transferred_, 5U);
}

TEST_F(CommPort, PendingWriteEndsWhenTheDeviceVanishes) {
  const std::string text(100'000, 'x');
  ASSERT_EQ(comm_->WriteFile(port_, text.data(), 100'000, transferred_, *write_), kErrorIoPending);
  terminal_.Close();
  EXPECT_TRUE(write_->Completed());
  EXPECT_EQ(write_->Transferred(), 100'000U);
}

// --- line errors -------------------------------------------------------------------------------

// A device with error counters that a test raises.
class CountingLine : public SerialChannel {
 public:
  explicit CountingLine(const std::string& device)
      : SerialChannel(OpenTty(device), DeviceLock(device)) {}
  LineErrorCounts Errors() override { return counts; }
  LineErrorCounts counts{1, 2, 3, 4, 5};
};

class CommErrors : public CommPort {
 protected:
  void SetUp() override {
    line_ = std::make_shared<CountingLine>(terminal_.device());
    port_ = static_cast<PosixComm&>(*comm_).Adopt(line_);
    ASSERT_TRUE(comm_->SetCommMask(port_, kEvErr));
  }
  std::uint32_t Wait() {
    events_ = 4711;
    return comm_->WaitCommEvent(port_, events_, *wait_);
  }
  std::uint32_t Errors() {
    std::uint32_t errors = 4711;
    EXPECT_TRUE(comm_->ClearCommError(port_, errors));
    return errors;
  }

  std::shared_ptr<CountingLine> line_;
  std::uint32_t events_ = 0;
};

TEST_F(CommErrors, OfBeforeTheOpeningDoNotCount) {
  EXPECT_EQ(Wait(), kErrorIoPending);
  EXPECT_FALSE(wait_->Completed());
  EXPECT_EQ(events_, 0U);
  EXPECT_EQ(Errors(), 0U);
}

TEST_F(CommErrors, EachKindHasItsBitAndIsClearedByReading) {
  const std::pair<std::uint32_t LineErrorCounts::*, std::uint32_t> kinds[] = {
      {&LineErrorCounts::overflow, kCeRxOver}, {&LineErrorCounts::overrun, kCeOverrun},
      {&LineErrorCounts::parity, kCeRxParity}, {&LineErrorCounts::frame, kCeFrame},
      {&LineErrorCounts::breaks, kCeBreak},
  };
  for (const auto& [count, bit] : kinds) {
    ++(line_->counts.*count);
    EXPECT_EQ(Errors(), bit);
    EXPECT_EQ(Errors(), 0U);
  }
}

TEST_F(CommErrors, EndAWait) {
  ASSERT_EQ(Wait(), kErrorIoPending);
  ++line_->counts.frame;
  ++line_->counts.parity;
  EXPECT_TRUE(wait_->Completed());
  EXPECT_EQ(events_, kEvErr);
  EXPECT_EQ(Errors(), kCeFrame | kCeRxParity);
  EXPECT_EQ(Wait(), kErrorIoPending);
}

TEST_F(CommErrors, OfBeforeAWaitEndItAtOnce) {
  ++line_->counts.overrun;
  EXPECT_EQ(Wait(), 0U);
  EXPECT_EQ(events_, kEvErr);
  EXPECT_TRUE(wait_->Completed());
}

TEST_F(CommErrors, OutsideTheMaskDoNotEndAWait) {
  ASSERT_TRUE(comm_->SetCommMask(port_, 0x40));
  ASSERT_EQ(Wait(), kErrorIoPending);
  ++line_->counts.frame;
  EXPECT_FALSE(wait_->Completed());
  EXPECT_EQ(Errors(), kCeFrame);
}

TEST_F(CommErrors, NewMaskEndsAWaitWithoutAnEvent) {
  ASSERT_EQ(Wait(), kErrorIoPending);
  ASSERT_TRUE(comm_->SetCommMask(port_, kEvErr));
  EXPECT_TRUE(wait_->Completed());
  EXPECT_EQ(events_, 0U);
}

TEST_F(CommPort, PseudoTerminalHasNoModemStatus) {
  std::uint32_t status = 0;
  EXPECT_FALSE(comm_->GetCommModemStatus(port_, status));
}

}  // namespace
}  // namespace mvsms::posix
