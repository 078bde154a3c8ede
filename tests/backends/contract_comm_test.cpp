// Serial ports with overlapped operations, over every back end.
#include "tests/backends/contract_line.h"

namespace mvsms {
namespace {

using std::chrono::milliseconds;

class CommContract : public LineContract {
 protected:
  void SetUp() override {
    port_ = comm_.CreateFile(back_end_->device());
    ASSERT_NE(port_, kInvalidComm);
    ASSERT_NE(port_, kNoComm);
  }
  void TearDown() override { comm_.CloseHandle(port_); }  // before the operations pending on it go
  /// Reads bytes that are there already.
  std::string Read(std::uint32_t count) {
    const std::uint32_t result = StartRead(count);
    EXPECT_TRUE(result == 0 || result == kErrorIoPending) << result;
    EXPECT_TRUE(AwaitRead());
    return Result();
  }
  void Timeouts(std::uint32_t gap, std::uint32_t multiplier, std::uint32_t constant) {
    CommTimeouts timeouts;
    timeouts.ReadIntervalTimeout = gap;
    timeouts.ReadTotalTimeoutMultiplier = multiplier;
    timeouts.ReadTotalTimeoutConstant = constant;
    ASSERT_TRUE(comm_.SetCommTimeouts(port_, timeouts));
  }
  std::uint32_t StartRead(std::uint32_t count) {
    return comm_.ReadFile(port_, buffer_, count, transferred_, *read_);
  }
  bool AwaitRead() {
    return Await([this] { return read_->Completed(); });
  }
  std::string Result() { return {buffer_, read_->Transferred()}; }
  Dcb State() {
    Dcb dcb;
    EXPECT_TRUE(comm_.GetCommState(port_, dcb));
    return dcb;
  }

  CommHandle port_ = kInvalidComm;
  std::unique_ptr<Overlapped> read_ = comm_.CreateOverlapped();
  std::unique_ptr<Overlapped> write_ = comm_.CreateOverlapped();
  std::unique_ptr<Overlapped> wait_ = comm_.CreateOverlapped();
  char buffer_[100] = {};
  std::uint32_t transferred_ = 4711;
};

TEST_P(CommContract, OpeningFailsForUnknownDevices) {
  EXPECT_EQ(comm_.CreateFile("no such device"), kInvalidComm);
}

TEST_P(CommContract, OpeningIsUnshared) {
  MVSMS_NEEDS(Ability::kExclusiveOpen);
  EXPECT_EQ(comm_.CreateFile(back_end_->device()), kInvalidComm);
  EXPECT_TRUE(comm_.CloseHandle(port_));
  port_ = comm_.CreateFile(back_end_->device());
  EXPECT_NE(port_, kInvalidComm);
}

TEST_P(CommContract, ClosedHandleIsRefused) {
  EXPECT_TRUE(comm_.CloseHandle(port_));
  Dcb dcb;
  std::uint32_t value = 0;
  EXPECT_FALSE(comm_.CloseHandle(port_));
  EXPECT_FALSE(comm_.SetupComm(port_, 8192, 1024));
  EXPECT_FALSE(comm_.GetCommState(port_, dcb));
  EXPECT_FALSE(comm_.ClearCommError(port_, value));
  EXPECT_EQ(StartRead(1), 6U);
  EXPECT_EQ(comm_.WriteFile(port_, "a", 1, value, *write_), 6U);
  EXPECT_EQ(comm_.WaitCommEvent(port_, value, *wait_), 6U);
}

TEST_P(CommContract, UnusedRecordIsNotComplete) { EXPECT_FALSE(read_->Completed()); }

TEST_P(CommContract, TimeoutsAreKept) {
  Timeouts(1, 2, 3);
  CommTimeouts timeouts;
  ASSERT_TRUE(comm_.GetCommTimeouts(port_, timeouts));
  EXPECT_EQ(timeouts, (CommTimeouts{1, 2, 3, 0, 0}));
}

TEST_P(CommContract, ValidSettingsAreKept) {
  Dcb dcb = State();
  EXPECT_EQ(dcb.DCBlength, 28U);
  dcb.BaudRate = 2400;
  if (back_end_->Can(Ability::kErrorChar)) {
    dcb.ErrorChar = '~';
    dcb.flags |= dcb_flag::kErrorChar;
  }
  EXPECT_TRUE(comm_.SetCommState(port_, dcb));
  EXPECT_EQ(State(), dcb);
}

TEST(ValidFraming, IsThatOfASerialDriver) {
  for (std::uint8_t bits = 0; bits < 12; ++bits) {
    for (std::uint8_t parity = 0; parity < 7; ++parity) {
      for (std::uint8_t stop = 0; stop < 6; ++stop) {
        const bool stop_fits = stop == 0 || (stop == 1 && bits < 6) || (stop == 2 && bits > 5);
        EXPECT_EQ(IsValidFraming(bits, parity, stop),
                  bits >= 4 && bits <= 8 && parity <= 4 && stop_fits)
            << int{bits} << " " << int{parity} << " " << int{stop};
      }
    }
  }
}

TEST_P(CommContract, OneAndAHalfStopBitsWithEightDataBitsChangeNothing) {
  MVSMS_NEEDS(Ability::kStrictFraming);
  const Dcb before = State();
  Dcb dcb = before;
  dcb.BaudRate = 300;
  dcb.ByteSize = 8;
  dcb.StopBits = 1;
  EXPECT_FALSE(comm_.SetCommState(port_, dcb));
  EXPECT_EQ(State(), before);
}

TEST_P(CommContract, ReadTakesTheBytesThatAreThere) {
  back_end_->Say("abcd");
  EXPECT_EQ(Read(3), "abc");
  EXPECT_EQ(Read(1), "d");
}

TEST_P(CommContract, ReadEndsWhenItsCountIsThere) {
  Timeouts(0, 0, 0);
  EXPECT_EQ(StartRead(4), kErrorIoPending);
  back_end_->Say("ab");
  EXPECT_FALSE(read_->Completed());
  back_end_->Say("cdef");
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(Result(), "abcd");
}

TEST_P(CommContract, ReadEndsAfterAGap) {
  MVSMS_NEEDS(Ability::kReadPending);
  Timeouts(40, 0, 0);
  ASSERT_EQ(StartRead(50), kErrorIoPending);
  platform_.loop().Sleep(milliseconds(60));
  EXPECT_FALSE(read_->Completed());
  back_end_->Say("abc");
  EXPECT_FALSE(read_->Completed());
  EXPECT_TRUE(AwaitRead());
  EXPECT_EQ(Result(), "abc");
}

TEST_P(CommContract, GapOfBytesThatCameBeforeCountsFromTheRead) {
  MVSMS_NEEDS(Ability::kReadPending);
  Timeouts(40, 0, 0);
  back_end_->Say("abc");
  platform_.loop().Sleep(milliseconds(60));
  EXPECT_EQ(StartRead(50), kErrorIoPending);
  EXPECT_TRUE(AwaitRead());
  EXPECT_EQ(Result(), "abc");
}

TEST_P(CommContract, ReadEndsEmptyWhenItsTimeIsOver) {
  Timeouts(1, 1, 20);
  const milliseconds start = platform_.clock().Now();
  ASSERT_EQ(StartRead(20), kErrorIoPending);
  EXPECT_TRUE(AwaitRead());
  EXPECT_GE(platform_.clock().Now() - start, milliseconds(40));
  EXPECT_EQ(read_->Transferred(), 0U);
}

TEST_P(CommContract, ReadEndsWithWhatCameWhenItsTimeIsOver) {
  Timeouts(0, 0, 200);
  ASSERT_EQ(StartRead(50), kErrorIoPending);
  back_end_->Say("abc");
  EXPECT_FALSE(read_->Completed());
  EXPECT_TRUE(AwaitRead());
  EXPECT_EQ(Result(), "abc");
}

TEST_P(CommContract, CompletedReadTakesNoLaterBytes) {
  Timeouts(1, 0, 5);
  StartRead(50);
  ASSERT_TRUE(AwaitRead());
  back_end_->Say("abc");
  EXPECT_EQ(read_->Transferred(), 0U);
  EXPECT_EQ(Read(3), "abc");
}

TEST_P(CommContract, ZeroBytesAreDiscardedOnRequest) {
  MVSMS_NEEDS(Ability::kDiscardNull);
  Dcb dcb = State();
  dcb.flags |= dcb_flag::kNull;
  ASSERT_TRUE(comm_.SetCommState(port_, dcb));
  back_end_->Say(std::string("a\0b\0c", 5));
  EXPECT_EQ(Read(3), "abc");
}

TEST_P(CommContract, WriteReachesTheFarSide) {
  const std::uint32_t result = comm_.WriteFile(port_, "hello", 5, transferred_, *write_);
  EXPECT_TRUE(result == 0 || result == kErrorIoPending);
  EXPECT_TRUE(Await([this] { return write_->Completed(); }));
  EXPECT_EQ(write_->Transferred(), 5U);
  EXPECT_EQ(back_end_->Heard(5), "hello");
}

TEST_P(CommContract, ClosingCompletesWhatIsPendingWithNothing) {
  Timeouts(0, 0, 0);
  std::uint32_t events = 4711;
  ASSERT_TRUE(comm_.SetCommMask(port_, kEvErr));
  ASSERT_EQ(StartRead(10), kErrorIoPending);
  ASSERT_EQ(comm_.WaitCommEvent(port_, events, *wait_), kErrorIoPending);
  back_end_->Say("abc");
  comm_.CloseHandle(port_);
  EXPECT_TRUE(read_->Completed());
  EXPECT_EQ(read_->Transferred(), 0U);
  EXPECT_TRUE(wait_->Completed());
  EXPECT_EQ(events, 0U);
}

TEST_P(CommContract, WaitEndsWithoutAnEventWhenTheMaskIsSetAgain) {
  MVSMS_NEEDS(Ability::kEvents);
  std::uint32_t events = 4711;
  EXPECT_EQ(comm_.WaitCommEvent(port_, events, *wait_), 87U);  // nothing to wait for
  ASSERT_TRUE(comm_.SetCommMask(port_, kEvErr));
  ASSERT_EQ(comm_.WaitCommEvent(port_, events, *wait_), kErrorIoPending);
  EXPECT_FALSE(wait_->Completed());
  ASSERT_TRUE(comm_.SetCommMask(port_, kEvErr));
  EXPECT_TRUE(wait_->Completed());
  EXPECT_EQ(events, 0U);
}

MVSMS_FOR_EACH_LINE_BACK_END(CommContract);

}  // namespace
}  // namespace mvsms
