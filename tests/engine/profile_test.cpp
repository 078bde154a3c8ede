// A profile by the rows of the settings table, held against what lies in the store.
#include "engine/profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kKey[] = "Software\\MIRVALEN\\PAGOREX\\Ward 7";

class OfAProfile : public testing::Test {
 protected:
  /// The type and the bytes in the store.
  std::string Stored(const std::string& key, const std::string& name) {
    RegKey open = 0;
    RegType type = RegType::kNone;
    std::string data;
    registry_.OpenKey(kHKeyLocalMachine, key, kMaximumAllowed, open);
    registry_.QueryValue(open, name, type, data);
    registry_.CloseKey(open);
    return std::to_string(static_cast<std::uint32_t>(type)) + ":" + data;
  }

  memory::MemoryPlatform platform_;
  Registry& registry_ = platform_.registry();
  const Profile profile_{registry_, kKey};
};

TEST_F(OfAProfile, ThatCanBeMadeOrChangedIsNotReadOnly) {
  EXPECT_FALSE(IsReadOnly(registry_, kKey));
  profile_.Set(setting::kRetries, 3);
  EXPECT_FALSE(IsReadOnly(registry_, kKey));
}

TEST_F(OfAProfile, WhichTheStoreGuardsIsReadOnly) {
  platform_.fail = [](const std::string& name) { return name == "Registry.OpenKey"; };
  EXPECT_TRUE(IsReadOnly(registry_, kKey));
}

TEST_F(OfAProfile, AnAbsentValueIsNothing) {
  EXPECT_EQ(profile_.Get(setting::kRetries), Variant());
  EXPECT_EQ(profile_.Service("Pager").Get(setting::kProtocol), Variant());
}

TEST_F(OfAProfile, AnAbsentValueShowsAsItsInitialText) {
  EXPECT_EQ(profile_.GetOrInitial(setting::kRetries), Variant("3"));
  EXPECT_EQ(profile_.GetOrInitial(setting::kCountry), Variant(""));
  profile_.Set(setting::kRetries, 5);
  EXPECT_EQ(profile_.GetOrInitial(setting::kRetries), Variant(5));
}

TEST_F(OfAProfile, AValueIsWrittenAsItsRowSays) {
  EXPECT_TRUE(profile_.Set(setting::kRetries, "7"));
  EXPECT_TRUE(profile_.Set(setting::kCountry, 49));
  EXPECT_EQ(Stored(kKey, "Retries"), std::string("4:\x07\0\0\0", 6));
  EXPECT_EQ(Stored(kKey, "Country"), "1:49");
}

TEST_F(OfAProfile, ServicesAndRoutesLieInKeysOfTheirOwn) {
  profile_.Service("Pager").Set(setting::kMaxLength, "160");
  profile_.Route("0049").Set(setting::kUseService, "Pager");
  EXPECT_EQ(Stored(std::string(kKey) + "\\Services\\Pager", "MaxLength"), "1:160");
  EXPECT_EQ(Stored(std::string(kKey) + "\\Routing\\0049", "UseService"), "1:Pager");
}

TEST_F(OfAProfile, WithoutServicesAndRoutesThereAreNoNames) {
  EXPECT_THAT(profile_.Services(), IsEmpty());
  EXPECT_THAT(profile_.Routes(), IsEmpty());
}

TEST_F(OfAProfile, ServicesAndRoutesAreNamedInTheStoresOrder) {
  for (const char* name : {"Pager", "City"}) profile_.Service(name).Set(setting::kProtocol, "UCP");
  for (const char* prefix : {"0172", "0049"}) profile_.Route(prefix).Set(setting::kUseService, "");
  EXPECT_THAT(profile_.Services(), ElementsAre("City", "Pager"));
  EXPECT_THAT(profile_.Routes(), ElementsAre("0049", "0172"));
}

TEST_F(OfAProfile, ADeletedServiceIsGoneOnce) {
  profile_.Service("Pager").Set(setting::kProtocol, "UCP");
  EXPECT_TRUE(profile_.Service("Pager").Delete());
  EXPECT_FALSE(profile_.Service("Pager").Delete());
  EXPECT_THAT(profile_.Services(), IsEmpty());
}

TEST_F(OfAProfile, ARefusedWriteIsNotNoticed) {
  platform_.fail = [](const std::string& operation) { return operation == "Registry.CreateKey"; };
  EXPECT_TRUE(profile_.Set(setting::kRetries, 5));
  EXPECT_EQ(profile_.Get(setting::kRetries), Variant());
}

TEST_F(OfAProfile, AKeyWithoutAPathTakesNoValue) {
  EXPECT_FALSE(SettingsKey(registry_, "").Set(setting::kRetries, 5));
}

TEST_F(OfAProfile, TheRootKeyHoldsWhatAnInstallationSets) {
  EXPECT_EQ(RootKey(registry_).path(), "Software\\MIRVALEN\\PAGOREX");
  EXPECT_EQ(RootKey(registry_).Get(setting::kSupportMailbox), Variant());
  RootKey(registry_).Set(setting::kSupportMailbox, "help@ward.example");
  EXPECT_EQ(Stored("Software\\MIRVALEN\\PAGOREX", "SupportMailbox"), "1:help@ward.example");
}

}  // namespace
}  // namespace mvsms
