// Settings by name.
#include "centre/settings.h"

#include <gtest/gtest.h>

#include <set>

namespace mvsms::centre {
namespace {

std::string ErrorOf(const std::string& assignment) {
  Settings settings;
  try {
    Set(settings, assignment);
  } catch (const SettingError& error) {
    return error.what();
  }
  return "none";
}

TEST(Settings, AreSetByName) {
  Settings settings;
  for (const char* assignment :
       {"call=no-dialtone", "refuse=all", "prompt-delay=1500", "prompt=Hi<CR>ID=", "echo=off",
        "tap-alphabet=german", "silent-at=go-ahead", "refusal=end", "n1=7"})
    Set(settings, assignment);
  EXPECT_EQ(settings.call, CallOutcome::kNoDialtone);
  EXPECT_EQ(settings.refuse, kAll);
  EXPECT_EQ(settings.prompt_delay, Millis{1500});
  EXPECT_EQ(settings.prompt, "Hi\rID=");
  EXPECT_FALSE(settings.echo);
  EXPECT_EQ(settings.tap_alphabet, Alphabet::kGerman);
  EXPECT_EQ(settings.silent_at, SilentAt::kGoAhead);
  EXPECT_EQ(settings.refusal, TapAnswer::kEnd);
  EXPECT_EQ(settings.n1, 7);
}

TEST(Settings, AValueMayHoldAnEqualsSignAndBeEmpty) {
  Settings settings;
  Set(settings, "prompt=A=B");
  EXPECT_EQ(settings.prompt, "A=B");
  Set(settings, "login-text=");
  EXPECT_EQ(settings.login_text, "");
}

TEST(Settings, ErrorsSayWhatWouldDo) {
  EXPECT_EQ(ErrorOf("colour=red"), "there is no setting \"colour\"");
  EXPECT_EQ(ErrorOf("refuse"), "\"refuse\" is not NAME=VALUE");
  EXPECT_EQ(ErrorOf("echo=maybe"), "\"maybe\" is no value for echo (off|on)");
  EXPECT_EQ(ErrorOf("refuse=-1"), "\"-1\" is no value for refuse (number or all)");
  EXPECT_EQ(ErrorOf("t4=all"), "\"all\" is no value for t4 (milliseconds)");
  EXPECT_EQ(ErrorOf("t4=4s"), "\"4s\" is no value for t4 (milliseconds)");
  EXPECT_EQ(ErrorOf("prompt=<FOO>"), "\"<FOO>\" is no value for prompt (text)");
  EXPECT_EQ(ErrorOf("n1=99999999999"), "\"99999999999\" is no value for n1 (number or all)");
}

TEST(Settings, TheListHasEachOneOnceWithHelp) {
  std::set<std::string> names;
  for (const SettingInfo& setting : ListSettings()) {
    EXPECT_TRUE(names.insert(setting.name).second) << setting.name;
    EXPECT_FALSE(setting.help.empty() || setting.group.empty() || setting.values.empty());
    EXPECT_EQ(setting.name.find('_'), std::string::npos);
  }
  EXPECT_GT(names.size(), 50u);
}

TEST(Settings, WhatTheListShowsCanBeSet) {
  Settings changed;
  Set(changed, "prompt=<LF>ID=<3C>");
  Set(changed, "refuse=all");
  Settings copy;
  for (const SettingInfo& setting : ListSettings(changed))
    Set(copy, setting.name + "=" + setting.value);
  EXPECT_EQ(copy.prompt, changed.prompt);
  EXPECT_EQ(copy.refuse, kAll);
  EXPECT_EQ(copy.go_ahead, Settings{}.go_ahead);
}

}  // namespace
}  // namespace mvsms::centre
