// The command's look at whether its modem is free.
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "cli/system.h"
#include "tests/cli/command_test.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;

// A pool whose one modem is in use by another program.
class ModemTurns : public CommandTest {
 protected:
  ModemTurns() {
    Do({"modem", "add", "Modem", "--kind", "hayes", "--device", terminal_.device()});
    Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem"});
    std::ofstream(locks_.FileOf(terminal_.device())) << getppid();
  }
  void MakeSettingsUnreadable() const {
    std::ofstream(Path("settings.db")) << std::string(4096, 'x');
  }

  posix::LockFolder locks_;
  posix::PseudoTerminal terminal_;
  std::istringstream in_;
  std::ostringstream out_;
  Context context_{home_.string(), in_, out_, out_};
};

TEST_F(ModemTurns, NameWhoIsInTheWay) {
  EXPECT_THAT(TurnFor(context_, "Pool")(), HasSubstr("in use"));
}

// The send finds out, and says so.
TEST_F(ModemTurns, NobodyWaitsForSettingsThatCannotBeRead) {
  MakeSettingsUnreadable();
  EXPECT_EQ(TurnFor(context_, "Pool")(), "");
}

TEST_F(ModemTurns, NobodyGoesOnWaitingWhenTheyCannotBeReadAnyMore) {
  const ModemTurn look = TurnFor(context_, "Pool");
  EXPECT_THAT(look(), HasSubstr("in use"));
  MakeSettingsUnreadable();
  EXPECT_EQ(look(), "");
}

}  // namespace
}  // namespace mvsms::cli
