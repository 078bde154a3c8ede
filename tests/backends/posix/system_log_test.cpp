// Lines for the log of the machine, with a socket of the test's own as its daemon.
#include "backends/posix/system/system_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

#include "backends/posix/system/unique_fd.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

class PosixSystemLog : public testing::Test {
 protected:
  PosixSystemLog() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path_.c_str());
    bind(daemon_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
  std::string Received() const {
    char buffer[1000];
    const ssize_t size = recv(daemon_.get(), buffer, sizeof buffer, MSG_DONTWAIT);
    return size < 0 ? "" : std::string(buffer, static_cast<std::size_t>(size));
  }

  TempFolder folder_;
  const std::string path_ = folder_ / "log";
  const UniqueFd daemon_{socket(AF_UNIX, SOCK_DGRAM, 0)};
};

TEST_F(PosixSystemLog, ALineBearsPriorityTimeAndProgram) {
  EXPECT_TRUE(WriteSystemLog(Severity::kInfo, "id=1", path_.c_str()));
  EXPECT_THAT(Received(),
              testing::MatchesRegex("<14>[A-Z][a-z]+ [ 0-9]+ [0-9:]+ mvsms.[0-9]+.: id=1"));
  EXPECT_TRUE(WriteSystemLog(Severity::kWarning, "id=2", path_.c_str()));
  EXPECT_THAT(Received(), testing::StartsWith("<12>"));
}

TEST_F(PosixSystemLog, NobodyWhoListensIsAFailure) {
  EXPECT_FALSE(WriteSystemLog(Severity::kInfo, "id=1", (folder_ / "none").c_str()));
}

TEST_F(PosixSystemLog, ADaemonThatReadsNoMoreIsNotWaitedFor) {
  int taken = 0;
  while (taken < 100000 && WriteSystemLog(Severity::kInfo, "id=1", path_.c_str())) ++taken;
  EXPECT_LT(taken, 100000);
}

}  // namespace
}  // namespace mvsms::posix
