// Programs that are run to their end: what they are given, and that nothing waits for them too
// long.
#include "backends/posix/system/program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto kLong = 60s;

ProgramEnd Shell(const std::string& script, const std::string& input = "",
                 std::chrono::milliseconds most = kLong) {
  return RunProgram({"/bin/sh", "-c", script}, input, most);
}

TEST(AProgram, GetsItsInputAndIsListenedTo) {
  const ProgramEnd end = Shell("cat; exit 3", std::string(200000, 'x') + "end");
  EXPECT_EQ(end.exit_code, 3);
  EXPECT_EQ(end.output, std::string(kMostOutput, 'x')) << "the first of it";
}

TEST(AProgram, ThatDoesNotReadItsInputEndsAllTheSame) {
  EXPECT_EQ(Shell("exec 0<&-; exit 0", std::string(1 << 20, 'x')).exit_code, 0);
}

TEST(AProgram, ThatIsKilledSaysBySignal) { EXPECT_EQ(Shell("kill -9 $$").exit_code, 137); }

TEST(AProgram, ThatHangsIsEndedWithAllThatItStarted) {
  const ProgramEnd end = Shell("trap '' TERM; sleep 1000 & echo $!; wait", "", 300ms);
  EXPECT_EQ(end.exit_code, std::nullopt);
  const int child = std::stoi(end.output);
  for (int tries = 0; tries < 500 && kill(child, 0) == 0; ++tries) usleep(10000);
  EXPECT_NE(kill(child, 0), 0);
}

TEST(AProgram, ThatLeavesAnotherWithItsOutputIsNotWaitedFor) {
  const ProgramEnd end = Shell("sleep 1000 & echo $!");
  EXPECT_EQ(end.exit_code, 0);
  kill(std::stoi(end.output), SIGKILL);
}

TEST(AProgram, IsEndedWhenNobodyWantsItAnyMore) {
  EXPECT_EQ(RunProgram({"/bin/sleep", "1000"}, "", kLong, [] { return true; }).exit_code,
            std::nullopt);
}

TEST(AProgram, MeetsTheSignalsOfAFreshOne) {
  sigset_t blocked, before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const ProgramEnd end = Shell("kill -TERM $$; exit 0");
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(end.exit_code, 143);
}

TEST(AProgram, ThatIsNotThereIsNamed) {
  try {
    RunProgram({"/nowhere/at/all"}, "", kLong);
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_THAT(error.description(), HasSubstr("/nowhere/at/all cannot be started: No such file"));
  }
}

}  // namespace
}  // namespace mvsms::posix
