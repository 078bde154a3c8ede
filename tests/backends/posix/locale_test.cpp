// The user's language, the component's place and version, and the default folder of all state.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>

#include "backends/posix/posix_platform.h"
#include "backends/posix/system/backend.h"
#include "backends/posix/system/home.h"
#include "tests/backends/posix/child_process.h"
#include "tests/backends/posix/environment.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using Value = std::optional<std::string>;

struct LanguageCase {
  Value all;
  Value messages;
  Value lang;
  std::uint16_t language;
};

class PosixLanguage : public testing::TestWithParam<LanguageCase> {};

TEST_P(PosixLanguage, ComesFromTheFirstVariableThatIsSet) {
  const ScopedVariable all("LC_ALL", GetParam().all);
  const ScopedVariable messages("LC_MESSAGES", GetParam().messages);
  const ScopedVariable lang("LANG", GetParam().lang);
  EXPECT_EQ(MakeLocale("/h")->UserLanguage(), GetParam().language);
}

INSTANTIATE_TEST_SUITE_P(Variables, PosixLanguage,
                         testing::Values(LanguageCase{{}, {}, {}, kLanguageEnglish},
                                         LanguageCase{{}, {}, "de_DE.UTF-8", kLanguageGerman},
                                         LanguageCase{{}, {}, "de_AT", kLanguageGerman},
                                         LanguageCase{{}, {}, "de", kLanguageGerman},
                                         LanguageCase{{}, {}, "en_GB.UTF-8", kLanguageEnglish},
                                         LanguageCase{{}, {}, "fr_FR.UTF-8", kLanguageEnglish},
                                         LanguageCase{{}, {}, "C", kLanguageEnglish},
                                         LanguageCase{{}, "de_CH", "en_US", kLanguageGerman},
                                         LanguageCase{"C", "de_CH", "de_DE", kLanguageEnglish},
                                         LanguageCase{"de_DE", "en_US", "en_US", kLanguageGerman},
                                         LanguageCase{"", "", "de_DE", kLanguageGerman}));

TEST(PosixLocale, TheComponentLivesInTheHomeFolder) {
  const auto locale = MakeLocale("/home/m\xC3\xBCller/.config/mvsms");
  EXPECT_EQ(locale->ComponentFolder(), "/home/m\xFCller/.config/mvsms");
  EXPECT_EQ(locale->PathSeparator(), '/');
}

TEST(PosixLocale, NameAndVersionAreTheProducts) {
  EXPECT_EQ(MakeLocale("/h")->ComponentName(), "mvSMS");
  EXPECT_EQ(MakeLocale("/h")->ComponentVersion(), TEST_PROJECT_VERSION);
}

class DefaultHomeTest : public testing::Test {
 protected:
  ScopedVariable own_{"MVSMS_HOME", std::nullopt};
  ScopedVariable config_{"XDG_CONFIG_HOME", std::nullopt};
  ScopedVariable home_{"HOME", "/home/anna"};
};

TEST_F(DefaultHomeTest, IsTheEnvironmentsForEveryUser) {
  const ScopedVariable own("MVSMS_HOME", "/srv/paging");
  EXPECT_EQ(DefaultHome(), "/srv/paging");
  EXPECT_TRUE(SucceedsUnprivileged([] { return DefaultHome() == "/srv/paging"; }));
}

TEST_F(DefaultHomeTest, IsASystemFolderForRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can test what root gets";
  const ScopedVariable config("XDG_CONFIG_HOME", "/etc/xdg");
  EXPECT_EQ(DefaultHome(), "/var/lib/mvsms");
}

TEST_F(DefaultHomeTest, IsInTheConfigurationFolderOfAUser) {
  const ScopedVariable config("XDG_CONFIG_HOME", "/home/anna/conf");
  EXPECT_TRUE(SucceedsUnprivileged([] { return DefaultHome() == "/home/anna/conf/mvsms"; }));
}

TEST_F(DefaultHomeTest, IsTheSystemFolderForWhomItsRightsLetIn) {
  const TempFolder folder;
  chmod(folder.path().c_str(), 0777);
  EXPECT_TRUE(SucceedsUnprivileged([&] { return DefaultHome(folder.path()) == folder.path(); }));
}

TEST_F(DefaultHomeTest, IsNotASystemFolderThatTheUserMayOnlyRead) {
  const TempFolder folder;
  chmod(folder.path().c_str(), 0555);
  const auto in_home = [&] { return DefaultHome(folder.path()) == "/home/anna/.config/mvsms"; };
  EXPECT_TRUE(SucceedsUnprivileged(in_home));
}

TEST_F(DefaultHomeTest, IsInTheHomeFolderOfAUserWithoutAUsableConfigurationFolder) {
  const auto in_home = [] { return DefaultHome() == "/home/anna/.config/mvsms"; };
  EXPECT_TRUE(SucceedsUnprivileged(in_home));
  const ScopedVariable relative("XDG_CONFIG_HOME", "conf");
  EXPECT_TRUE(SucceedsUnprivileged(in_home));
}

TEST_F(DefaultHomeTest, TakesTheHomeFolderFromTheUserListWithoutTheVariable) {
  const ScopedVariable home("HOME", std::nullopt);
  EXPECT_TRUE(SucceedsUnprivileged(
      [] { return DefaultHome().starts_with('/') && DefaultHome().ends_with("/.config/mvsms"); }));
}

TEST_F(DefaultHomeTest, AnEmptyVariableCountsAsNotSet) {
  const ScopedVariable own("MVSMS_HOME", "");
  EXPECT_NE(DefaultHome(), "");
}

}  // namespace
}  // namespace mvsms::posix
