// Processes told apart: this one, one that has ended, one that only has the same number.
#include "backends/posix/system/process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace mvsms::posix {
namespace {

TEST(PosixProcess, ThisOneRuns) { EXPECT_TRUE(StillRuns(ProcessMark())); }

TEST(PosixProcess, OneThatWasKilledRunsNoMoreEvenBeforeItsParentLooks) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    const std::string mark = ProcessMark();
    _exit(write(ends[1], mark.data(), mark.size()) < 0 || pause());
  }
  char buffer[64];
  const ssize_t size = read(ends[0], buffer, sizeof buffer);
  const std::string mark(buffer, static_cast<std::size_t>(size));
  EXPECT_TRUE(StillRuns(mark));
  kill(child, SIGKILL);
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
  EXPECT_FALSE(StillRuns(mark));
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(StillRuns(mark));
  close(ends[0]);
  close(ends[1]);
}

TEST(PosixProcess, OneThatStartedAtAnotherTimeIsAnotherOne) {
  EXPECT_FALSE(StillRuns(std::to_string(getpid()) + " 1"));
}

TEST(PosixProcess, ANumberAloneCountsAsLongAsItIsInUse) {
  EXPECT_TRUE(StillRuns(std::to_string(getpid())));
}

TEST(PosixProcess, WhatIsNoMarkIsNoProcess) {
  for (const char* mark : {"", "x", "0 1", "-1 1"}) EXPECT_FALSE(StillRuns(mark)) << mark;
}

}  // namespace
}  // namespace mvsms::posix
