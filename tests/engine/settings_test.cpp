// The settings of a profile and the tables that name them.
#include "engine/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "tests/support/profile.h"

namespace mvsms {
namespace {

class SettingsOfAProfile : public testing::Test {
 protected:
  bool Load() { return GetSettings(platform_.registry(), host_, settings_); }

  memory::MemoryPlatform platform_;
  test::Profile profile_{platform_.registry()};
  std::string host_;
  Settings settings_;
};

TEST_F(SettingsOfAProfile, EmptyHostNameBecomesStandard) {
  EXPECT_EQ(BaseKey(host_), "Software\\MIRVALEN\\PAGOREX\\Standard");
  EXPECT_EQ(host_, "Standard");
}

TEST_F(SettingsOfAProfile, HostNameSelectsTheKey) {
  host_ = "Ward 7";
  EXPECT_EQ(BaseKey(host_), "Software\\MIRVALEN\\PAGOREX\\Ward 7");
  EXPECT_EQ(host_, "Ward 7");
}

TEST_F(SettingsOfAProfile, KeysLieBelowTheProfile) {
  EXPECT_EQ(ServiceKey("P", "Pager"), "P\\Services\\Pager");
  EXPECT_EQ(RouteKey("P", "0049"), "P\\Routing\\0049");
  EXPECT_EQ(ServicesKey("P"), "P\\Services");
  EXPECT_EQ(RoutingKey("P"), "P\\Routing");
}

TEST_F(SettingsOfAProfile, AreLoaded) {
  profile_.Set("Retries", 4);
  profile_.Set("DefaultModem", "Modem");
  profile_.Set("DefaultService", "Pager");
  profile_.Set("ShowStatus", 1);
  profile_.Set("WriteLogfile", -1);
  EXPECT_TRUE(Load());
  EXPECT_EQ(settings_.Retries, 4);
  EXPECT_EQ(settings_.DefaultModem, "Modem");
  EXPECT_EQ(settings_.DefaultService, "Pager");
  EXPECT_TRUE(settings_.ShowStatus);
  EXPECT_TRUE(settings_.WriteLogfile);
}

TEST_F(SettingsOfAProfile, AbsentValuesReadAsEmpty) {
  settings_ = {"m", "s", 9, true, true};
  EXPECT_FALSE(Load());
  EXPECT_EQ(host_, "Standard");
  EXPECT_EQ(settings_.Retries, 0);
  EXPECT_EQ(settings_.DefaultModem, "");
  EXPECT_FALSE(settings_.ShowStatus);
  EXPECT_FALSE(settings_.WriteLogfile);
}

TEST_F(SettingsOfAProfile, NeedADefaultModemAndADefaultService) {
  profile_.Set("DefaultModem", "Modem");
  EXPECT_FALSE(Load());
  profile_.Set("DefaultService", "Pager");
  EXPECT_TRUE(Load());
  profile_.Set("DefaultModem", "");
  EXPECT_FALSE(Load());
}

TEST_F(SettingsOfAProfile, RetriesIsTheNumberItsTextBeginsWith) {
  profile_.Set("Retries", "5 times");
  Load();
  EXPECT_EQ(settings_.Retries, 5);
}

TEST_F(SettingsOfAProfile, ErrorWhileReadingMeansFailure) {
  profile_.Set("DefaultModem", "Modem");
  profile_.Set("DefaultService", "Pager");
  profile_.Set("ShowStatus", "yes");
  EXPECT_FALSE(Load());
  profile_.Set("ShowStatus", 0);
  profile_.Set("Retries", "3000000000");
  EXPECT_FALSE(Load());
}

TEST(SettingTables, NameEveryValueOnce) {
  std::set<std::string> names;
  for (const ValueInfo& value : kProfileValues) names.insert(value.name);
  EXPECT_EQ(names.size(), kProfileValues.size());
  names.clear();
  for (const ValueInfo& value : kServiceValues) names.insert(value.name);
  EXPECT_EQ(names.size(), kServiceValues.size());
}

TEST(SettingTables, TextsAreWrittenAsTextsAndSwitchesAsNumbers) {
  for (const ValueInfo& value : kProfileValues) {
    EXPECT_EQ(value.type == RegType::kSz, value.kind == ValueKind::kText) << value.name;
  }
  for (const ValueInfo& value : kServiceValues) EXPECT_EQ(value.type, RegType::kSz) << value.name;
}

TEST(SettingTables, InitialStateOfAProfile) {
  std::string line;
  for (const ValueInfo& value : kGlobalValues) {
    line += std::string(value.name) + "=" + value.initial + " ";
  }
  EXPECT_EQ(line,
            "ReplacePlus=1 AddCountry=0 Country= Retries=3 RetryDelay=1 DefaultModem= "
            "DefaultService= ShowStatus=0 WriteLogfile=0 ");
}

TEST(SettingTables, InitialStateOfTheCommandsOwn) {
  std::string line;
  for (const ValueInfo& value : std::span(kProfileValues).subspan(kGlobalValues.size())) {
    line += std::string(value.name) + "=" + value.initial + " ";
  }
  EXPECT_EQ(line,
            "Fit=0 JournalText=full Syslog=0 QuickRetries=10 30 60 OnUnknown=again PagesPerCall=50 "
            "MinutesPerCall=10 JoinMinutes=0 Gateway= GatewayTokenFile= "
            "Hub= HubPasswordFile= HubName= SpillAfter=60 HubAlarmTo= HubAlarmAfter=300 ");
}

TEST(SettingTables, BlankService) {
  std::string line;
  for (const ValueInfo& value : kServiceValues) {
    line += std::string(value.name) + "=" + value.initial + " ";
  }
  EXPECT_EQ(line,
            "CountryCode= Protocol=TAP PhoneNumber= Password= MaxLength=160 MaxMessages=1 "
            "UCPCommand= MessageType=3 TimeOut=2000 BaudRate=Auto ModemSetting=7E1 ModemName= ");
}

/// Every setting that a user can change.
std::vector<ValueInfo> AllValues() {
  std::vector<ValueInfo> all(kProfileValues.begin(), kProfileValues.end());
  all.insert(all.end(), kServiceValues.begin(), kServiceValues.end());
  all.push_back(setting::kUseService);
  all.push_back(setting::kFallbackService);
  return all;
}

TEST(SettingTables, APasswordIsTheOnlySecret) {
  std::string secrets;
  for (const ValueInfo& value : AllValues()) {
    if (value.secret) secrets += value.name;
  }
  EXPECT_EQ(secrets, "Password");
}

TEST(SettingTables, EveryValueHasAMeaning) {
  for (const ValueInfo& value : AllValues()) EXPECT_STRNE(value.meaning, "") << value.name;
}

TEST(SettingTables, ARuleThatNeedsWordsHasThem) {
  const std::set<ValueRule> wordless = {ValueRule::kNone, ValueRule::kModem,
                                        ValueRule::kModemOrDefault, ValueRule::kService};
  for (const ValueInfo& value : AllValues()) {
    EXPECT_EQ(wordless.contains(value.rule), std::string(value.expected).empty()) << value.name;
  }
}

TEST(SettingTables, ARuleThatNeedsChoicesHasThem) {
  for (const ValueInfo& value : AllValues()) {
    const auto there = std::count_if(value.choices.begin(), value.choices.end(),
                                     [](const char* choice) { return choice != nullptr; });
    if (value.rule == ValueRule::kOneOfEach) {
      EXPECT_EQ(there, 3) << value.name;
    } else {
      const bool takes = value.rule == ValueRule::kChoice || value.rule == ValueRule::kBaudRate;
      EXPECT_EQ(takes, there > 0) << value.name;
    }
  }
}

TEST(SettingTables, OnlyANumberHasALeastValue) {
  for (const ValueInfo& value : AllValues()) {
    EXPECT_TRUE(value.kind == ValueKind::kNumber || value.least == 0) << value.name;
  }
}

TEST(SettingTables, AValueIsTheOneOfItsName) {
  EXPECT_EQ(kGlobalValues[2], setting::kCountry);
  EXPECT_NE(setting::kCountry, setting::kCountryCode);
}

}  // namespace
}  // namespace mvsms
