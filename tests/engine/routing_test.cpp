// From the recipient as written to the service that serves it.
#include "engine/routing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "tests/support/profile.h"

namespace mvsms {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Routing : public testing::Test {
 protected:
  ~Routing() override { EXPECT_EQ(platform_.open_keys(), 0U); }

  std::string Fix(std::string address) {
    address_ = std::move(address);
    return FixAddress(
        registry_, host_, address_,
        [this](std::int32_t number, const std::string& text, const std::string& module) {
          errors_.push_back(std::to_string(number) + "|" + text + "|" + module);
        });
  }
  std::string Find(const std::string& address) { return FindService(registry_, host_, address); }

  /// The definition: of all routes in the listed order, the longest that the address begins with.
  std::string FindLiterally(const std::string& address) {
    std::string best;
    for (const std::string& prefix :
         basRegistry::EnumKeys(registry_, kSettingsHive, profile_.base_key() + "\\Routing")) {
      if (address.substr(0, prefix.size()) == prefix && prefix.size() > best.size()) best = prefix;
    }
    if (best.empty()) return {};
    return ToText(basRegistry::GetValue(
        registry_, kSettingsHive, profile_.base_key() + "\\Routing\\" + best, "UseService", {}));
  }

  bool Read(std::string service) {
    service_name_ = std::move(service);
    return GetServiceInfo(registry_, host_, settings_, record_, service_name_);
  }

  memory::MemoryPlatform platform_;
  Registry& registry_ = platform_.registry();
  test::Profile profile_{registry_};
  std::string host_;
  std::string address_;
  std::vector<std::string> errors_;
  Settings settings_{"First modem", "Pager", 3, false, false};
  ServiceRecord record_;
  std::string service_name_;
};

// --- FixAddress --------------------------------------------------------------------------------

TEST_F(Routing, InternationalNumberBecomesDigits) {
  profile_.Set("ReplacePlus", 1);
  EXPECT_EQ(Fix("+49 (171) 123-456"), "0049171123456");
  EXPECT_EQ(Fix("+49/171/1"), "00491711");
  EXPECT_THAT(errors_, IsEmpty());
}

TEST_F(Routing, EveryPlusOfAnInternationalNumberIsReplaced) {
  profile_.Set("ReplacePlus", 1);
  EXPECT_EQ(Fix("+49+171"), "004900171");
}

TEST_F(Routing, PlusInsideANumberIsInvalid) {
  profile_.Set("ReplacePlus", 1);
  EXPECT_EQ(Fix("49+171"), "");
  EXPECT_THAT(errors_, ElementsAre("45|The recipient address contains invalid characters: "
                                   "49+171|Sender.FixAddress"));
}

TEST_F(Routing, PlusStaysAndFailsWhenItIsNotToBeReplaced) {
  profile_.Set("ReplacePlus", 0);
  profile_.Set("AddCountry", 1);
  profile_.Set("Country", "0049");
  EXPECT_EQ(Fix("+49 171"), "");
  EXPECT_THAT(errors_, ElementsAre("45|The recipient address contains invalid characters: "
                                   "+49171|Sender.FixAddress"));
}

TEST_F(Routing, NationalZeroIsReplacedByTheCountry) {
  profile_.Set("AddCountry", 1);
  profile_.Set("Country", "0049");
  EXPECT_EQ(Fix("0171 120"), "0049171120");
  EXPECT_EQ(Fix("0"), "0049");
  EXPECT_EQ(Fix("0043 1"), "00431");
  EXPECT_EQ(Fix("171"), "171");
  EXPECT_EQ(Fix("(0171)"), "0171");
}

TEST_F(Routing, NationalZeroStaysWithoutAddCountry) {
  profile_.Set("Country", "0049");
  EXPECT_EQ(Fix("0171"), "0171");
}

TEST_F(Routing, PlusAndCountryExcludeEachOther) {
  profile_.Set("ReplacePlus", 1);
  profile_.Set("AddCountry", 1);
  profile_.Set("Country", "99");
  EXPECT_EQ(Fix("+49"), "0049");
  EXPECT_EQ(Fix("049"), "9949");
}

TEST_F(Routing, CountryGoesInAsItStands) {
  profile_.Set("AddCountry", 1);
  EXPECT_EQ(Fix("0171"), "171");
  profile_.Set("Country", "00 49-");
  EXPECT_EQ(Fix("0171"), "0049171");
  profile_.Set("Country", "+49");
  EXPECT_EQ(Fix("0171"), "");
  EXPECT_THAT(errors_, ElementsAre("45|The recipient address contains invalid characters: "
                                   "+49171|Sender.FixAddress"));
}

TEST_F(Routing, OuterBlanksAreTrimmedInTheCallersVariable) {
  EXPECT_EQ(Fix("  12 34 "), "1234");
  EXPECT_EQ(address_, "12 34");
}

TEST_F(Routing, OnlyDigitsPass) {
  for (const char* address : {"12a", "0x12", "#12", "12*", "12\t", "\xB2", "1.2", "12,13"}) {
    errors_.clear();
    EXPECT_EQ(Fix(address), "");
    EXPECT_EQ(errors_.size(), 1U) << address;
  }
}

TEST_F(Routing, AddressWithoutAnyDigitIsEmptyAndNoError) {
  EXPECT_EQ(Fix(""), "");
  EXPECT_EQ(Fix("   "), "");
  EXPECT_EQ(Fix("-/ ()"), "");
  EXPECT_THAT(errors_, IsEmpty());
}

TEST_F(Routing, EmptyHostNameBecomesStandardInEveryOperation) {
  Fix("1");
  EXPECT_EQ(host_, "Standard");
  host_.clear();
  Find("1");
  EXPECT_EQ(host_, "Standard");
  host_.clear();
  Read("Pager");
  EXPECT_EQ(host_, "Standard");
}

TEST_F(Routing, SwitchThatIsNoNumberIsAnError) {
  profile_.Set("ReplacePlus", "yes");
  EXPECT_THROW(Fix("1"), RaisedError);
}

// --- FindService -------------------------------------------------------------------------------

TEST_F(Routing, LongestPrefixWins) {
  profile_.Route("0049", "Short");
  profile_.Route("004917", "Long");
  EXPECT_EQ(Find("00491711234"), "Long");
  EXPECT_EQ(Find("00493011234"), "Short");
  EXPECT_EQ(Find("0049"), "Short");
}

TEST_F(Routing, PrefixesAreComparedFromTheFirstDigit) {
  profile_.Route("49", "A");
  profile_.Route("49171", "B");
  EXPECT_EQ(Find("00491711234"), "");
}

TEST_F(Routing, PrefixThatTheStoreCannotListIsNone) {
  const std::string listed(254, '1');
  profile_.Route(listed + "1", "Too long");
  EXPECT_EQ(Find(listed + "123"), "");
  profile_.Route(listed, "Pager");
  EXPECT_EQ(Find(listed + "123"), "Pager");
}

TEST_F(Routing, PrefixLongerThanTheAddressDoesNotMatch) {
  profile_.Route("00491", "A");
  EXPECT_EQ(Find("0049"), "");
}

TEST_F(Routing, NoRoutesMeanNoService) {
  EXPECT_EQ(Find("0049"), "");
  profile_.Set("Retries", 1);
  EXPECT_EQ(Find("0049"), "");
}

TEST_F(Routing, EmptyAddressHasNoService) {
  profile_.Route("1", "A");
  EXPECT_EQ(Find(""), "");
}

TEST_F(Routing, RouteWithoutServiceHidesShorterOnes) {
  profile_.Route("00", "A");
  profile_.Route("0049", "");
  EXPECT_EQ(Find("00491"), "");
  basRegistry::SetValue(registry_, kSettingsHive, profile_.base_key() + "\\Routing\\0043", "other",
                        std::string("x"), RegType::kSz);
  EXPECT_EQ(Find("00431"), "");
}

TEST_F(Routing, RouteThatMayNotBeOpenedIsARouteWithoutService) {
  profile_.Route("1", "A");
  profile_.Route("12", "B");
  int opened = 0;
  platform_.fail = [&opened](const std::string& operation) {
    return operation == "Registry.OpenKey" && ++opened > 1;
  };
  EXPECT_EQ(Find("123"), "");
}

TEST_F(Routing, OtherCharactersCompareWithCase) {
  profile_.Route("Ab", "A");
  EXPECT_EQ(Find("Ab1"), "A");
  EXPECT_EQ(Find("ab1"), "");
}

TEST_F(Routing, BackslashInAnAddressIsNoStepIntoARoute) {
  profile_.Route("1\\2", "Inner");
  profile_.Route("1", "Outer");
  EXPECT_EQ(Find("1\\23"), "Outer");
}

TEST_F(Routing, CostDoesNotGrowWithTheTable) {
  const auto cost = [this] {
    platform_.calls.clear();
    Find("004917112345");
    return platform_.calls.size();
  };
  profile_.Route("0049", "A");
  const std::size_t small = cost();
  for (int i = 0; i < 2000; ++i) profile_.Route("7" + std::to_string(i), "B");
  EXPECT_EQ(cost(), small);
}

TEST_F(Routing, FindsWhatComparingEveryRouteFinds) {
  std::mt19937 random(20240611);  // any seed; fixed, so that a failure can be repeated
  const auto text = [&random](const std::string& alphabet, std::size_t longest) {
    std::string result(1 + random() % longest, ' ');
    for (char& c : result) c = alphabet[random() % alphabet.size()];
    return result;
  };
  for (int table = 0; table < 40; ++table) {
    const std::string alphabet = table % 2 == 0 ? "012" : "01aA\xE9\xC9";
    for (auto route = random() % 25; route > 0; --route) {
      profile_.Route(text(alphabet, 5), random() % 6 == 0 ? "" : text("xyz", 3));
    }
    for (int probe = 0; probe < 100; ++probe) {
      const std::string address = text(alphabet, 8);
      EXPECT_EQ(Find(address), FindLiterally(address)) << address;
    }
    basRegistry::DeleteKey(registry_, kSettingsHive, profile_.base_key() + "\\Routing");
  }
}

// --- GetServiceInfo ----------------------------------------------------------------------------

TEST_F(Routing, RecordIsFilledFromTheServicesKey) {
  profile_.SetService("Pager", {{"CountryCode", "49"},
                                {"Protocol", "UCP"},
                                {"PhoneNumber", "0171123"},
                                {"Password", "secret"},
                                {"MaxLength", "160"},
                                {"MaxMessages", "2"},
                                {"UCPCommand", "51"},
                                {"MessageType", "3"},
                                {"TimeOut", "2000"},
                                {"BaudRate", "9600"},
                                {"ModemName", "Modem"},
                                {"ModemSetting", "8N1"}});
  ASSERT_TRUE(Read("Pager"));
  EXPECT_EQ(record_.Name, "Pager");
  EXPECT_EQ(record_.CountryCode, "49");
  EXPECT_EQ(record_.Protocol, "UCP");
  EXPECT_EQ(record_.PhoneNumber, "0171123");
  EXPECT_EQ(record_.Password, "secret");
  EXPECT_EQ(record_.MaxLength, 160);
  EXPECT_EQ(record_.MaxMessages, 2);
  EXPECT_EQ(record_.UCPCommand, "51");
  EXPECT_EQ(record_.MessageType, 3);
  EXPECT_EQ(record_.TimeOut, 2000);
  EXPECT_EQ(record_.BaudRate, "9600");
  EXPECT_EQ(record_.ModemName, "Modem");
  EXPECT_EQ(record_.DataBits, 8);
  EXPECT_EQ(record_.Parity, "N");
  EXPECT_EQ(record_.StopBits, 1);
}

TEST_F(Routing, EmptyServiceNameBecomesTheDefaultService) {
  profile_.SetService("Pager", {{"Protocol", "TAP"}});
  ASSERT_TRUE(Read(""));
  EXPECT_EQ(service_name_, "Pager");
  EXPECT_EQ(record_.Name, "Pager");
  EXPECT_EQ(record_.Protocol, "TAP");
}

TEST_F(Routing, UnknownServiceReadsAsEmpty) {
  record_.Protocol = "left over";
  ASSERT_TRUE(Read("Nobody"));
  EXPECT_EQ(record_.Name, "Nobody");
  EXPECT_EQ(record_.Protocol, "");
  EXPECT_EQ(record_.MaxLength, 0);
  EXPECT_EQ(record_.ModemName, "First modem");
  EXPECT_EQ(record_.Parity, "");
}

TEST_F(Routing, LengthAndTimeOutAreTheNumbersTheirTextsBeginWith) {
  profile_.SetService("Pager", {{"MaxLength", "80 chars"}, {"TimeOut", "1500.5ms"}});
  ASSERT_TRUE(Read("Pager"));
  EXPECT_EQ(record_.MaxLength, 80);
  EXPECT_EQ(record_.TimeOut, 1500);
}

TEST_F(Routing, MaxMessagesAndMessageTypeMustBeNumbers) {
  profile_.SetService("Pager", {{"MaxMessages", "two"}});
  EXPECT_FALSE(Read("Pager"));
  profile_.SetService("Pager", {{"MaxMessages", "2"}, {"MessageType", "text"}});
  EXPECT_FALSE(Read("Pager"));
  profile_.SetService("Pager", {{"MessageType", "2"}});
  EXPECT_TRUE(Read("Pager"));
}

TEST_F(Routing, EmptyServiceNameIsFilledInEvenWhenTheRecordCannotBeRead) {
  profile_.SetService("Pager", {{"MaxMessages", "two"}});
  EXPECT_FALSE(Read(""));
  EXPECT_EQ(service_name_, "Pager");
}

TEST_F(Routing, ModemNamesThatStandForTheDefaultModem) {
  for (const char* name : {"", "Default", "Standard"}) {
    profile_.SetService("Pager", {{"ModemName", name}});
    Read("Pager");
    EXPECT_EQ(record_.ModemName, "First modem") << name;
  }
  profile_.SetService("Pager", {{"ModemName", "default"}});
  Read("Pager");
  EXPECT_EQ(record_.ModemName, "default");
}

TEST_F(Routing, BaudRatesThatLeaveTheSpeedToTheModem) {
  for (const char* rate : {"Auto", "ISDN", ""}) {
    profile_.SetService("Pager", {{"BaudRate", rate}});
    Read("Pager");
    EXPECT_EQ(record_.BaudRate, "") << rate;
  }
  profile_.SetService("Pager", {{"BaudRate", "auto"}});
  Read("Pager");
  EXPECT_EQ(record_.BaudRate, "auto");
}

TEST_F(Routing, FramingIsThreeCharactersWithNothingBetween) {
  profile_.SetService("Pager", {{"ModemSetting", "7E1"}});
  Read("Pager");
  EXPECT_EQ(std::to_string(record_.DataBits) + record_.Parity + std::to_string(record_.StopBits),
            "7E1");
  profile_.SetService("Pager", {{"ModemSetting", "8,N,1"}});
  Read("Pager");
  EXPECT_EQ(record_.Parity, ",");
  EXPECT_EQ(record_.StopBits, 0);
}

}  // namespace
}  // namespace mvsms
