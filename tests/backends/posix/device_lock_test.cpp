// Locks of devices: against other programs by UUCP lock files and exclusive mode, against other
// calls of this one by memory.
#include "backends/posix/line/device_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "backends/posix/line/tty.h"
#include "base/raised_error.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;

class DeviceLocks : public testing::Test {
 protected:
  static constexpr const char* kDevice = "/dev/ttyTest7";

  std::string File() const { return folder_.FileOf(kDevice); }
  std::string Beside(const std::string& name) const { return folder_.path() + "/" + name; }
  std::string Content() const {
    std::ifstream file(File(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void WriteLock(const std::string& content) const { std::ofstream(File()) << content; }
  /// As if it had been written a minute ago.
  void Age() const {
    std::filesystem::last_write_time(
        File(), std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
  }
  bool Exists() const { return std::filesystem::exists(File()); }
  /// Number of a process that has ended.
  static pid_t DeadProcess() {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    return child;
  }

  LockFolder folder_;
};

TEST_F(DeviceLocks, HoldTheProcessNumberInTenColumns) {
  const DeviceLock lock(kDevice);
  const std::string number = std::to_string(getpid());
  EXPECT_EQ(Content(), std::string(10 - number.size(), ' ') + number + "\n");
}

TEST_F(DeviceLocks, AreReadableByEverybodyAndLeaveNothingElse) {
  const mode_t before = umask(0077);
  const DeviceLock lock(kDevice);
  umask(before);
  struct stat status{};
  ASSERT_EQ(stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0444U, 0444U);
  const auto entries = std::filesystem::directory_iterator(folder_.path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(DeviceLocks, GoWithTheirOwner) {
  {
    const DeviceLock lock(kDevice);
  }
  EXPECT_FALSE(Exists());
}

TEST_F(DeviceLocks, MoveWithTheirOwner) {
  DeviceLock kept;
  {
    DeviceLock lock(kDevice);
    kept = std::move(lock);
  }
  EXPECT_TRUE(Exists());
  kept.Release();
  EXPECT_FALSE(Exists());
}

TEST_F(DeviceLocks, RefuseASecondCallOfThisProgram) {
  const DeviceLock lock(kDevice);
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr("another call of this program"));
  try {
    const DeviceLock second(kDevice);
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), EBUSY);
    EXPECT_THAT(error.description(), HasSubstr("/dev/ttyTest7 is in use by another call"));
  }
  EXPECT_TRUE(Exists());
}

TEST_F(DeviceLocks, ReservedAreTakenOverByTheNextCall) {
  const DeviceReservation reservation(kDevice);
  EXPECT_EQ(DeviceInUse(kDevice), "");
  EXPECT_THROW(DeviceReservation{kDevice}, RaisedError);
  {
    const DeviceLock call(kDevice);
    EXPECT_FALSE(IsReserved(kDevice));
    EXPECT_THROW(DeviceLock{kDevice}, RaisedError);
  }
  EXPECT_FALSE(Exists());
}

TEST_F(DeviceLocks, ReservedAndNotTakenOverGoWithTheReservation) {
  {
    const DeviceReservation reservation(kDevice);
    EXPECT_TRUE(Exists());
  }
  EXPECT_FALSE(Exists());
  EXPECT_NO_THROW(DeviceLock{kDevice});
}

TEST_F(DeviceLocks, CanBeTakenAgain) {
  {
    const DeviceLock lock(kDevice);
  }
  EXPECT_EQ(DeviceInUse(kDevice), "");
  EXPECT_NO_THROW(DeviceLock{kDevice});
}

TEST_F(DeviceLocks, OfALiveProcessNameItAndItsProgram) {
  WriteLock("       " + std::to_string(getppid()) + "\n");
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr("/dev/ttyTest7 is in use by "));
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr("(process " + std::to_string(getppid()) + ")"));
  EXPECT_THROW(DeviceLock{kDevice}, RaisedError);
  EXPECT_TRUE(Exists());
}

TEST_F(DeviceLocks, OfADeadProcessAreReplaced) {
  WriteLock("  " + std::to_string(DeadProcess()) + "\n");
  EXPECT_EQ(DeviceInUse(kDevice), "");
  const DeviceLock lock(kDevice);
  EXPECT_THAT(Content(), HasSubstr(std::to_string(getpid())));
}

TEST_F(DeviceLocks, WithOurOwnNumberThatWeDoNotHoldAreReplaced) {
  WriteLock("  " + std::to_string(getpid()) + "\n");
  EXPECT_EQ(DeviceInUse(kDevice), "");
  EXPECT_NO_THROW(DeviceLock{kDevice});
}

TEST_F(DeviceLocks, WithoutANumberAreReplacedWhenTheyAreOld) {
  for (const char* content : {"", "garbage", "-1", "0", "99999999999999999999"}) {
    WriteLock(content);
    Age();
    EXPECT_EQ(DeviceInUse(kDevice), "") << content;
    EXPECT_NO_THROW(DeviceLock{kDevice}) << content;
  }
}

TEST_F(DeviceLocks, WithoutANumberYetBelongToTheirMaker) {
  WriteLock("");
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr("in use by another program"));
  EXPECT_THROW(DeviceLock{kDevice}, RaisedError);
  EXPECT_EQ(Content(), "");
}

TEST_F(DeviceLocks, MayHoldTheNumberInFourBytes) {
  const std::int32_t parent = getppid();
  WriteLock(std::string(reinterpret_cast<const char*>(&parent), sizeof parent));
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr(std::to_string(parent)));
  EXPECT_THROW(DeviceLock{kDevice}, RaisedError);
}

TEST_F(DeviceLocks, MayHoldFourBytesThatBeginLikeANumberInText) {
  pid_t process = 0;
  for (int turn = 0; turn < 600; ++turn) {
    process = fork();
    if (process == 0) {
      pause();
      _exit(0);
    }
    if (std::isdigit(process & 0xFF) && !std::isdigit(process >> 8 & 0xFF)) break;
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    process = 0;
  }
  if (process == 0) GTEST_SKIP() << "no such process number came up";
  WriteLock(std::string(reinterpret_cast<const char*>(&process), sizeof process));
  EXPECT_THAT(DeviceInUse(kDevice), HasSubstr("(process " + std::to_string(process) + ")"));
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

TEST_F(DeviceLocks, AreOneForAllNamesOfADevice) {
  const PseudoTerminal terminal;
  const TempFolder links;
  std::filesystem::create_symlink(terminal.device(), links / "modem");
  const DeviceLock lock(links / "modem");
  EXPECT_TRUE(std::filesystem::exists(folder_.FileOf(terminal.device())));
  EXPECT_THROW(DeviceLock{terminal.device()}, RaisedError);
}

TEST_F(DeviceLocks, AreNotNeededWhereTheirFolderCannotBeWritten) {
  const ScopedVariable variable("MVSMS_LOCK_DIR", "/proc/nowhere");
  const DeviceLock lock(kDevice);
  EXPECT_THROW(DeviceLock{kDevice}, RaisedError);  // the other calls still count
}

TEST_F(DeviceLocks, AreRespectedWhereTheirFolderCanOnlyBeRead) {
  WriteLock(std::to_string(getppid()));
  chmod(folder_.path().c_str(), 0755);
  EXPECT_TRUE(SucceedsUnprivileged([] {
    try {
      const DeviceLock lock(kDevice);
    } catch (const RaisedError& error) {
      return error.number() == EBUSY;
    }
    return false;
  }));
}

TEST_F(DeviceLocks, OnlyOneOfManyProcessesGetsTheDevice) {
  const TempFolder winners;
  WriteLock("  " + std::to_string(DeadProcess()) + "\n");
  const auto compete = [&] {
    const std::string mark = winners / std::to_string(getpid());
    try {
      const DeviceLock lock(kDevice);
      std::ofstream(mark).flush();
      usleep(200'000);
    } catch (const RaisedError&) {
    }
    return true;
  };
  ChildProcess first(compete);
  ChildProcess second(compete);
  ChildProcess third(compete);
  EXPECT_TRUE(first.Succeeded() && second.Succeeded() && third.Succeeded());
  const auto entries = std::filesystem::directory_iterator(winners.path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

// --- what others may put into the folder ------------------------------------------------------

// Opening a FIFO waits for its other end.
TEST_F(DeviceLocks, AFifoInTheirPlaceIsNobodysLock) {
  ASSERT_EQ(mkfifo(File().c_str(), 0666), 0);
  EXPECT_EQ(DeviceInUse(kDevice), "");
  EXPECT_NO_THROW(DeviceLock{kDevice});
  EXPECT_TRUE(Exists());
}

TEST_F(DeviceLocks, ALinkInTheirPlaceIsNotFollowed) {
  std::ofstream(Beside("target")) << getppid();
  for (const std::string& target : {Beside("target"), std::string("/dev/zero")}) {
    std::filesystem::create_symlink(target, File());
    EXPECT_EQ(DeviceInUse(kDevice), "") << target;
    EXPECT_NO_THROW(DeviceLock{kDevice}) << target;
    std::filesystem::remove(File());
  }
}

TEST_F(DeviceLocks, AreReadNoFurtherThanANumberReaches) {
  WriteLock(std::string(100, ' ') + std::to_string(getppid()));
  Age();
  EXPECT_EQ(DeviceInUse(kDevice), "");
}

TEST_F(DeviceLocks, StaleOnesThatSomebodyKeepsLockedDoNotHoldTheCallUp) {
  WriteLock(std::to_string(DeadProcess()));
  const UniqueFd held(open(File().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  EXPECT_NO_THROW(DeviceLock{kDevice});
}

TEST_F(DeviceLocks, TheirDraftFollowsNoLinkAndTakesNoFileOver) {
  const std::string draft = Beside("LTMP." + std::to_string(getpid()));
  std::ofstream(Beside("victim")) << "precious";
  std::filesystem::create_symlink(Beside("victim"), draft);
  const DeviceLock lock(kDevice);
  std::ifstream victim(Beside("victim"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(victim), {}), "precious");
  EXPECT_TRUE(Exists());
}

TEST_F(DeviceLocks, EmptyOnesFromTheFutureAreStale) {
  WriteLock("");
  std::filesystem::last_write_time(
      File(), std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  EXPECT_EQ(DeviceInUse(kDevice), "");
}

// --- exclusive mode ----------------------------------------------------------------------------

TEST_F(DeviceLocks, DeviceOpenExclusivelyInAnotherProgramIsReportedWithIt) {
  const PseudoTerminal terminal;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const ChildProcess owner([&] {
    const UniqueFd fd = OpenTty(terminal.device());
    return write(ready[1], "x", 1) == 1 && pause() == 0;
  });
  char mark = 0;
  ASSERT_EQ(read(ready[0], &mark, 1), 1);
  EXPECT_THAT(DeviceInUse(terminal.device()), HasSubstr("is in use by backends_test (process "));
  try {
    OpenTty(terminal.device());
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), EBUSY);
  }
  close(ready[0]);
  close(ready[1]);
}

TEST_F(DeviceLocks, ExclusiveDeviceOfAnotherUserIsInUseByAnotherProgram) {
  const PseudoTerminal terminal;
  ASSERT_EQ(chmod(terminal.device().c_str(), 0666), 0);
  const UniqueFd fd = OpenTty(terminal.device());
  const auto says_so = [&] {
    return DeviceInUse(terminal.device()).find("in use by") != std::string::npos;
  };
  EXPECT_TRUE(SucceedsUnprivileged(says_so));
}

TEST_F(DeviceLocks, AbsentAndClosedDevicesAreNotInUse) {
  const PseudoTerminal terminal;
  chmod(terminal.device().c_str(), 0600);
  EXPECT_EQ(DeviceInUse("/dev/no-such-device"), "");
  EXPECT_TRUE(SucceedsUnprivileged([&] { return DeviceInUse(terminal.device()).empty(); }));
}

// --- the lock of the open device ----------------------------------------------------------------

TEST_F(DeviceLocks, ADeviceThatAnotherProgramHasLockedIsInUse) {
  const PseudoTerminal terminal;
  const UniqueFd other(open(terminal.device().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  EXPECT_THAT(DeviceInUse(terminal.device()), HasSubstr(terminal.device() + " is in use by"));
  EXPECT_THROW(OpenTty(terminal.device()), RaisedError);
  flock(other.get(), LOCK_UN);
  EXPECT_EQ(DeviceInUse(terminal.device()), "");
}

TEST_F(DeviceLocks, ADeviceInUseIsLockedForOthers) {
  const PseudoTerminal terminal;
  UniqueFd ours = OpenTty(terminal.device());
  ReleaseTty(ours.get());  // the exclusive mode would keep an ordinary user from opening it
  const UniqueFd other(open(terminal.device().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK));
  EXPECT_NE(flock(other.get(), LOCK_EX | LOCK_NB), 0);
  ours.Reset();
  EXPECT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

}  // namespace
}  // namespace mvsms::posix
