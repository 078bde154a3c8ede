// Waiting for a line: whose turn it is, and that the modem is kept for him.
#include "backends/posix/line/line_turn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "base/raised_error.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;

class LineTurns : public testing::Test {
 protected:
  LineTurns() { AddModem("Modem", terminal_.device()); }

  void AddModem(const std::string& name, const std::string& device) {
    LineConfig line;
    line.name = name;
    line.device = device;
    LineStore(home_.path()).Put(line);
  }
  std::string File() const { return locks_.FileOf(terminal_.device()); }
  void TakeByAnotherProgram() const { std::ofstream(File()) << getppid(); }
  void LetGo() const { std::filesystem::remove(File()); }
  std::ptrdiff_t Files() const {
    const auto entries = std::filesystem::directory_iterator(locks_.path());
    return std::distance(begin(entries), end(entries));
  }

  LockFolder locks_;
  TempFolder home_;
  PseudoTerminal terminal_;
};

TEST_F(LineTurns, ComeAtOnceOnAFreeModem) {
  LineTurn turn(home_.path(), "Modem");
  EXPECT_EQ(turn.Look(), "");
  EXPECT_EQ(turn.Look(), "");
}

TEST_F(LineTurns, KeepTheModemForTheNextCallOfThisProcess) {
  auto turn = std::make_unique<LineTurn>(home_.path(), "Modem");
  EXPECT_EQ(turn->Look(), "");
  EXPECT_EQ(Files(), 1);  // the lock; there is nothing to wait for any more
  EXPECT_EQ(DeviceInUse(terminal_.device()), "");
  {
    const DeviceLock call(terminal_.device());
    EXPECT_THROW(DeviceLock{terminal_.device()}, RaisedError);
    turn.reset();
    EXPECT_TRUE(std::filesystem::exists(File()));
  }
  EXPECT_EQ(Files(), 0);
}

TEST_F(LineTurns, KeepTheModemFromOthers) {
  LineTurn turn(home_.path(), "Modem");
  EXPECT_EQ(turn.Look(), "");
  std::string owner;
  std::ifstream(File()) >> owner;
  EXPECT_EQ(owner, std::to_string(getpid()));
}

TEST_F(LineTurns, GiveBackWhatNobodyTookOver) {
  {
    LineTurn turn(home_.path(), "Modem");
    EXPECT_EQ(turn.Look(), "");
  }
  EXPECT_EQ(Files(), 0);
  EXPECT_NO_THROW(DeviceLock{terminal_.device()});
}

TEST_F(LineTurns, NameWhoHasTheModemAndComeWhenHeLetsGo) {
  TakeByAnotherProgram();
  LineTurn turn(home_.path(), "Modem");
  EXPECT_THAT(turn.Look(), HasSubstr("(process " + std::to_string(getppid()) + ")"));
  LetGo();
  EXPECT_EQ(turn.Look(), "");
}

TEST_F(LineTurns, ComeInTheOrderOfArrival) {
  TakeByAnotherProgram();
  LineTurn first(home_.path(), "Modem");
  LineTurn second(home_.path(), "Modem");
  for (LineTurn* turn : {&first, &second}) EXPECT_THAT(turn->Look(), HasSubstr("in use"));
  LetGo();
  EXPECT_EQ(second.Look(), "Others wait for the device " + terminal_.device() + " already");
  EXPECT_EQ(first.Look(), "");
  EXPECT_THAT(second.Look(), HasSubstr("in use"));
}

TEST_F(LineTurns, OfTwentyProcessesAtOnceComeOneAfterTheOther) {
  const TempFolder calls;
  const auto wait_and_call = [&] {
    LineTurn turn(home_.path(), "Modem");
    while (!turn.Look().empty()) usleep(1000);
    const DeviceLock call(terminal_.device());
    const std::string line = calls / "line";  // for one call at a time
    if (!std::filesystem::create_directory(line)) return false;
    std::ofstream(calls / std::to_string(getpid())).flush();
    return std::filesystem::remove(line);
  };
  std::vector<std::unique_ptr<ChildProcess>> processes;
  for (int i = 0; i < 20; ++i) processes.push_back(std::make_unique<ChildProcess>(wait_and_call));
  for (const auto& process : processes) EXPECT_TRUE(process->Succeeded());
  const auto entries = std::filesystem::directory_iterator(calls.path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 20);
}

TEST_F(LineTurns, WhoGivesUpIsNotWaitedFor) {
  TakeByAnotherProgram();
  auto first = std::make_unique<LineTurn>(home_.path(), "Modem");
  LineTurn second(home_.path(), "Modem");
  for (LineTurn* turn : {first.get(), &second}) EXPECT_THAT(turn->Look(), HasSubstr("in use"));
  first.reset();
  LetGo();
  EXPECT_EQ(second.Look(), "");
}

TEST_F(LineTurns, AreNotNeededWhereWaitingIsOfNoUse) {
  LineConfig tcp;
  tcp.name = "Internet";
  tcp.kind = LineKind::kTcp;
  LineStore(home_.path()).Put(tcp);
  AddModem("Unplugged", "/dev/ttyNoSuch0");
  for (const char* line : {"Internet", "Unplugged", "Nowhere"}) {
    EXPECT_EQ(LineTurn(home_.path(), line).Look(), "") << line;
  }
}

}  // namespace
}  // namespace mvsms::posix
