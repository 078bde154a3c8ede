// The order of those who wait for a device: by arrival, without the dead, and without those who do
// not take their turn.
#include "backends/posix/line/device_queue.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tests/backends/posix/child_process.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using std::chrono::seconds;

class DeviceQueue : public testing::Test {
 protected:
  static constexpr const char* kDevice = "/dev/ttyTest7";
  // The place of one who came at the beginning of time.
  static constexpr const char* kEarliest = "LWAIT.ttyTest7.00000000000000000001.1";

  std::string PathOf(const std::string& name) const { return folder_.path() + "/" + name; }
  std::ptrdiff_t Files() const {
    const auto entries = std::filesystem::directory_iterator(folder_.path());
    return std::distance(begin(entries), end(entries));
  }

  LockFolder folder_;
};

TEST_F(DeviceQueue, ServesInTheOrderOfArrival) {
  auto first = std::make_unique<QueuePlace>(kDevice);
  auto second = std::make_unique<QueuePlace>(kDevice);
  auto third = std::make_unique<QueuePlace>(kDevice);
  EXPECT_TRUE(first->IsFirst());
  EXPECT_FALSE(second->IsFirst());
  EXPECT_FALSE(third->IsFirst());
  first.reset();
  EXPECT_FALSE(third->IsFirst());
  EXPECT_TRUE(second->IsFirst());
  second.reset();
  EXPECT_TRUE(third->IsFirst());
}

TEST_F(DeviceQueue, IsOneForEachDevice) {
  const QueuePlace first(kDevice);
  QueuePlace other("/dev/ttyTest70");
  QueuePlace longer("/dev/ttyTest7.1");
  EXPECT_TRUE(other.IsFirst());
  EXPECT_TRUE(longer.IsFirst());
}

TEST_F(DeviceQueue, LeavesNothingBehind) {
  {
    const QueuePlace place(kDevice);
    EXPECT_EQ(Files(), 1);
  }
  EXPECT_EQ(Files(), 0);
}

TEST_F(DeviceQueue, AKilledWaiterIsForgottenWithItsFile) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  ChildProcess killed([&] {
    const QueuePlace place(kDevice);
    return write(ready[1], "x", 1) == 1 && pause() == 0;
  });
  char mark = 0;
  ASSERT_EQ(read(ready[0], &mark, 1), 1);
  QueuePlace place(kDevice);
  EXPECT_FALSE(place.IsFirst());
  killed.Kill();
  EXPECT_TRUE(place.IsFirst());
  EXPECT_EQ(Files(), 1);
  close(ready[0]);
  close(ready[1]);
}

TEST_F(DeviceQueue, IsReadableByEverybodyWhateverTheMask) {
  const mode_t before = umask(0077);
  const QueuePlace place(kDevice);
  umask(before);
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
    struct stat status{};
    ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
  }
}

// --- those who do not take their turn -----------------------------------------------------------

TEST_F(DeviceQueue, OneWhoLeavesTheDeviceFreeIsPassedOverAfterAWhile) {
  const QueuePlace stopped(kDevice);
  QueuePlace place(kDevice);
  const QueuePlace::Moment free{};
  EXPECT_FALSE(place.IsFirst(free));
  EXPECT_FALSE(place.IsFirst(free + QueuePlace::kPatience - seconds(1)));
  EXPECT_FALSE(place.IsFirst(free + QueuePlace::kPatience));
  EXPECT_TRUE(place.IsFirst(free + QueuePlace::kPatience));
}

TEST_F(DeviceQueue, PatienceBeginsAnewWhenTheDeviceWasTaken) {
  const QueuePlace first(kDevice);
  QueuePlace place(kDevice);
  const QueuePlace::Moment free{};
  EXPECT_FALSE(place.IsFirst(free));
  place.DeviceIsTaken();
  EXPECT_FALSE(place.IsFirst(free + 2 * QueuePlace::kPatience));
  EXPECT_FALSE(place.IsFirst(free + 2 * QueuePlace::kPatience));
}

TEST_F(DeviceQueue, WhoWasPassedOverStillHasHisTurn) {
  QueuePlace stopped(kDevice);
  QueuePlace place(kDevice);
  const QueuePlace::Moment free{};
  EXPECT_FALSE(place.IsFirst(free));
  EXPECT_FALSE(place.IsFirst(free + QueuePlace::kPatience));
  EXPECT_TRUE(stopped.IsFirst());
}

// --- what others may put into the folder ---------------------------------------------------------

TEST_F(DeviceQueue, APlantedPlaceThatNobodyKeepsLockedIsNone) {
  std::ofstream(PathOf(kEarliest)) << getppid();
  QueuePlace place(kDevice);
  EXPECT_TRUE(place.IsFirst());
}

TEST_F(DeviceQueue, APlantedPlaceThatSomebodyKeepsLockedHoldsUpForAWhileOnly) {
  std::ofstream(PathOf(kEarliest)) << "x";
  const UniqueFd held(open(PathOf(kEarliest).c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  QueuePlace place(kDevice);
  const QueuePlace::Moment free{};
  EXPECT_FALSE(place.IsFirst(free));
  EXPECT_FALSE(place.IsFirst(free + QueuePlace::kPatience));
  EXPECT_TRUE(place.IsFirst(free + QueuePlace::kPatience));
}

// Opening a FIFO waits for its other end.
TEST_F(DeviceQueue, FifosAndLinksAreNobodysPlace) {
  ASSERT_EQ(mkfifo(PathOf(kEarliest).c_str(), 0666), 0);
  std::filesystem::create_symlink("/dev/zero", PathOf("LWAIT.ttyTest7.00000000000000000002.1"));
  QueuePlace place(kDevice);
  EXPECT_TRUE(place.IsFirst());
}

TEST_F(DeviceQueue, ItsDraftFollowsNoLink) {
  std::ofstream(PathOf("victim")) << "precious";
  std::filesystem::create_symlink(PathOf("victim"), PathOf("LWTMP." + std::to_string(getpid())));
  const QueuePlace place(kDevice);
  std::ifstream victim(PathOf("victim"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(victim), {}), "precious");
}

TEST_F(DeviceQueue, DoesWithoutAFolder) {
  const ScopedVariable variable("MVSMS_LOCK_DIR", "/proc/nowhere");
  QueuePlace first(kDevice);
  QueuePlace second(kDevice);
  EXPECT_TRUE(first.IsFirst());
  EXPECT_TRUE(second.IsFirst());
}

// --- between users -------------------------------------------------------------------------------

TEST_F(DeviceQueue, HoldsBetweenUsers) {
  ASSERT_EQ(chmod(folder_.path().c_str(), 01777), 0);
  const QueuePlace of_root(kDevice);
  EXPECT_TRUE(SucceedsUnprivileged([] {
    QueuePlace place(kDevice);
    return !place.IsFirst();
  }));
}

}  // namespace
}  // namespace mvsms::posix
