// The per-user settings in the settings file: what the file adds to the contract.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "backends/posix/store/backend.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

class PosixUserSettings : public testing::Test {
 protected:
  std::unique_ptr<UserSettings> Open() const { return MakeUserSettings(home_); }
  bool Save(const std::string& key, const std::string& value) const {
    return Open()->SaveSetting("mvSMS", "Test", key, value);
  }
  std::string Get(const std::string& key) const {
    return Open()->GetSetting("mvSMS", "Test", key, "none");
  }

  TempFolder folder_;
  std::string home_ = folder_ / "state";
};

TEST_F(PosixUserSettings, SurviveReopening) {
  EXPECT_TRUE(Save("Sender", "Anna"));
  EXPECT_TRUE(Save("Sender", "J\xFCrgen \x80"));
  EXPECT_EQ(Get("Sender"), "J\xFCrgen \x80");
}

TEST_F(PosixUserSettings, NamesCompareWithoutCase) {
  Save("Sender", "Anna");
  EXPECT_EQ(Open()->GetSetting("MVSMS", "test", "sENDER", "none"), "Anna");
}

TEST_F(PosixUserSettings, AnEmptyTextIsNotTheFallback) {
  Save("Message", "");
  EXPECT_EQ(Get("Message"), "");
  EXPECT_EQ(Get("Recipient"), "none");
}

TEST_F(PosixUserSettings, ADamagedFileGivesTheFallbackAndRefusesToSave) {
  std::filesystem::create_directory(home_);
  std::ofstream(home_ + "/settings.db") << std::string(5000, 'x');
  EXPECT_EQ(Get("Sender"), "none");
  EXPECT_FALSE(Save("Sender", "Anna"));
}

TEST_F(PosixUserSettings, AHomeThatCannotBeMadeRefusesToSave) {
  std::ofstream(home_).close();
  EXPECT_EQ(Get("Sender"), "none");
  EXPECT_FALSE(Save("Sender", "Anna"));
}

}  // namespace
}  // namespace mvsms::posix
