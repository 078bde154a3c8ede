// Names and folders that were mistyped, or are another user's: what is said of them.
#include "cli/mistyped.h"

#include <unistd.h>

#include "backends/posix/store/database_file.h"
#include "backends/posix/store/store.h"
#include "cli/posix/state.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;

class OtherFolder : public CommandTest {
 protected:
  /// Gives the settings to somebody else; false where only root could.
  bool GiveAway() {
    Do({"config", "set", "Retries", "1"});
    return chown(Path("settings.db").c_str(), 12345, 12345) == 0;
  }
};

TEST(NearestName, DiffersByTwoLettersAtMostAndByLessThanHalf) {
  const std::vector<std::string> names{"Standard", "Alarms", "X"};
  EXPECT_EQ(Nearest("Alarm", names), "Alarms");
  EXPECT_EQ(Nearest("alarsm", names), "Alarms");
  EXPECT_EQ(Nearest("standart", names), "Standard");
  EXPECT_EQ(Nearest("Alert", names), "");
  EXPECT_EQ(Nearest("Y", names), "");
  EXPECT_EQ(Nearest("", names), "");
  EXPECT_EQ(Nearest("Alarms", {}), "");
}

TEST(NearestName, IsTheOneThatIsNearest) {
  EXPECT_EQ(Nearest("Modem2", {"Modem11", "Modem22", "Modem"}), "Modem22");
}

TEST_F(OtherFolder, WithSettingsIsNamed) {
  Do({"config", "set", "Retries", "1"});
  EXPECT_EQ(StateBeside("/nowhere", home_.string()),
            "; MVSMS_HOME=" + home_.string() + " takes the settings of the system");
}

TEST_F(OtherFolder, WithoutSettingsOrTheOneInUseIsNotNamed) {
  EXPECT_EQ(StateBeside("/nowhere", home_.string()), "");
  EXPECT_EQ(StateBeside("/nowhere", Path("none")), "");
  Do({"config", "set", "Retries", "1"});
  EXPECT_EQ(StateBeside(home_.string(), home_.string()), "");
}

TEST_F(OtherFolder, OfSomebodyElseIsToldWithBothNames) {
  if (!GiveAway()) GTEST_SKIP() << "only root can give files away";
  EXPECT_THAT(posix::Ownership(Path("settings.db")),
              HasSubstr(" (it belongs to user 12345, and this runs as "));
  EXPECT_EQ(posix::Ownership(home_.string()), "");
}

TEST_F(OtherFolder, ThatCannotBeReadIsToldWithItsOwner) {
  if (!GiveAway() || seteuid(54321) != 0) GTEST_SKIP() << "only root can be somebody else";
  const std::string folder = posix::StoreProblem(home_.string());
  const int back = seteuid(0);
  ASSERT_EQ(back, 0);
  EXPECT_THAT(folder, HasSubstr("belongs to root, and this runs as user 54321"));
}

}  // namespace
}  // namespace mvsms::cli
