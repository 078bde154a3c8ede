// Text files, user settings and the component's place, over every back end.
#include <filesystem>
#include <string>

#include "tests/backends/contract.h"

namespace mvsms {
namespace {

class FilesContract : public Contract {};

TEST_P(FilesContract, AppendingCreatesTheFileAndAddsTheBytesAsTheyStand) {
  const std::string path = back_end_->PathTo("Log.txt");
  EXPECT_EQ(back_end_->Contents(path), std::nullopt);
  EXPECT_TRUE(platform_.text_file().Append(path, "one \xE4\r\n"));
  EXPECT_TRUE(platform_.text_file().Append(path, "\r\n"));
  EXPECT_TRUE(platform_.text_file().Append(path, "two\t\x80\n"));
  EXPECT_EQ(back_end_->Contents(path), "one \xE4\r\n\r\ntwo\t\x80\n");
}

TEST_P(FilesContract, AppendingToAMissingFolderFails) {
  const std::string path = back_end_->PathNowhere();
  EXPECT_FALSE(platform_.text_file().Append(path, "one"));
  EXPECT_EQ(back_end_->Contents(path), std::nullopt);
}

TEST(SystemFiles, ANameWithoutAFolderMeansTheWorkingFolder) {
  const auto back_end = SystemBackEnd().make();
  const std::string path = back_end->PathTo("mvSMSErrors.log");
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(std::filesystem::path(path).parent_path());
  EXPECT_TRUE(back_end->platform().text_file().Append("mvSMSErrors.log", "one"));
  std::filesystem::current_path(before);
  EXPECT_EQ(back_end->Contents(path), "one");
}

TEST_P(FilesContract, ReadingGivesTheWholeFileAsItStands) {
  const std::string path = back_end_->PathTo("smstransports.inf");
  std::string text = "before";
  EXPECT_FALSE(platform_.text_file().Read(path, text));
  EXPECT_EQ(text, "before");
  const std::string content = "1,\xE4\r\n" + std::string(200'000, 'x') + std::string("\0\n", 2);
  platform_.text_file().Append(path, content);
  EXPECT_TRUE(platform_.text_file().Read(path, text));
  EXPECT_EQ(text, content);
}

TEST_P(FilesContract, TheCalendarSaysWhatTheRenderingsSay) {
  const CalendarTime time = platform_.clock().LocalTime();
  EXPECT_GE(time.year, 2026);
  EXPECT_TRUE(time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31);
  EXPECT_TRUE(time.hour >= 0 && time.hour <= 23 && time.minute >= 0 && time.minute <= 59);
  const std::string day = std::to_string(time.day);
  EXPECT_NE(platform_.clock().ShortDate().find(day), std::string::npos);
}

TEST_P(FilesContract, TheHostHasATitle) { EXPECT_NE(platform_.locale().HostTitle(), ""); }

TEST_P(FilesContract, TheComponentHasAPlaceANameAndAVersion) {
  Locale& locale = platform_.locale();
  EXPECT_NE(locale.ComponentFolder(), "");
  EXPECT_NE(locale.ComponentFolder().back(), locale.PathSeparator());
  EXPECT_NE(locale.ComponentFolder().find(locale.PathSeparator()), std::string::npos);
  EXPECT_EQ(locale.ComponentName(), back_end_->ComponentName());
  EXPECT_NE(locale.ComponentVersion(), "");
}

class UserSettingsContract : public Contract {
 protected:
  std::string Get(const std::string& application, const std::string& section,
                  const std::string& key) {
    return platform_.user_settings().GetSetting(application, section, key, "fallback");
  }
  void Save(const std::string& application, const std::string& section, const std::string& key,
            const std::string& value) {
    EXPECT_TRUE(platform_.user_settings().SaveSetting(application, section, key, value));
  }
};

TEST_P(UserSettingsContract, WhatWasNeverSavedGivesTheFallback) {
  EXPECT_EQ(Get("mvSMS", "Test", "Sender"), "fallback");
}

TEST_P(UserSettingsContract, TheLastTextSavedComesBack) {
  Save("mvSMS", "Test", "Sender", "Anna");
  Save("mvSMS", "Test", "Sender", "J\xFCrgen \x80\r\n");
  EXPECT_EQ(Get("mvSMS", "Test", "Sender"), "J\xFCrgen \x80\r\n");
}

TEST_P(UserSettingsContract, AnEmptyTextIsATextAndNotTheFallback) {
  Save("mvSMS", "Test", "Sender", "");
  EXPECT_EQ(Get("mvSMS", "Test", "Sender"), "");
}

TEST_P(UserSettingsContract, ApplicationsSectionsAndKeysAreApart) {
  Save("mvSMS", "Test", "Sender", "Anna");
  EXPECT_EQ(Get("Other", "Test", "Sender"), "fallback");
  EXPECT_EQ(Get("mvSMS", "Other", "Sender"), "fallback");
  EXPECT_EQ(Get("mvSMS", "Test", "Other"), "fallback");
  EXPECT_EQ(Get("mvSMST", "est", "Sender"), "fallback");
}

TEST_P(UserSettingsContract, NamesCompareWithoutCase) {
  Save("mvSMS", "Test", "S\xE4nder", "Anna");
  EXPECT_EQ(Get("MVSMS", "tEST", "s\xC4NDER"), "Anna");
}

MVSMS_FOR_EACH_BACK_END(FilesContract);
MVSMS_FOR_EACH_BACK_END(UserSettingsContract);

}  // namespace
}  // namespace mvsms
