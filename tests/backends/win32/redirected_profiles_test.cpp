// Taking over what 32-bit hosts stored where Windows had redirected them.
#include "backends/win32/redirected_profiles.h"

#include <gmock/gmock.h>

#include "engine/settings.h"
#include "platform/registry_key.h"
#include "tests/backends/contract.h"

namespace mvsms::win32 {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RedirectedProfiles : public testing::Test {
 protected:
  void Set(const std::string& key, const std::string& text) {
    basRegistry::SetValue(registry_, kSettingsHive, key, "DefaultService", text, RegType::kSz);
  }
  std::string Get(const std::string& key) {
    return ToText(
        basRegistry::GetValue(registry_, kSettingsHive, key, "DefaultService", std::string()));
  }
  static std::string Old(const std::string& name) {
    return std::string(kRedirectedRoot) + "\\" + name;
  }
  static std::string InUse(std::string name) { return BaseKey(name); }

  std::unique_ptr<BackEnd> back_end_ = SystemBackEnd().make();
  Registry& registry_ = back_end_->platform().registry();
};

TEST_F(RedirectedProfiles, WithoutAnyThereIsNothingToTell) {
  EXPECT_THAT(TakeOverRedirectedProfiles(), IsEmpty());
}

TEST_F(RedirectedProfiles, AreCopiedWholeAndToldOf) {
  Set(Old("Alarm"), "Pager");
  Set(Old("Alarm\\Services\\Pager"), "deep");
  EXPECT_THAT(TakeOverRedirectedProfiles(),
              ElementsAre(HasSubstr("Software\\WOW6432Node\\MIRVALEN\\PAGOREX\\Alarm")));
  EXPECT_EQ(Get(InUse("Alarm")), "Pager");
  EXPECT_EQ(Get(InUse("Alarm\\Services\\Pager")), "deep");
}

TEST_F(RedirectedProfiles, LoseNothingThemselves) {
  Set(Old("Alarm"), "Pager");
  TakeOverRedirectedProfiles();
  EXPECT_EQ(Get(Old("Alarm")), "Pager");
}

TEST_F(RedirectedProfiles, DoNotComeBackOnceTheCopyWasDeleted) {
  Set(Old("Alarm"), "Pager");
  TakeOverRedirectedProfiles();
  ASSERT_TRUE(basRegistry::DeleteKey(registry_, kSettingsHive, InUse("Alarm")));
  EXPECT_THAT(TakeOverRedirectedProfiles(), IsEmpty());
  EXPECT_EQ(Get(InUse("Alarm")), "");
}

TEST_F(RedirectedProfiles, NeverReplaceAProfileInUseWhichIsToldOnce) {
  Set(Old("Alarm"), "old");
  Set(InUse("Alarm"), "new");
  EXPECT_THAT(TakeOverRedirectedProfiles(), ElementsAre(HasSubstr("another of its name")));
  EXPECT_THAT(TakeOverRedirectedProfiles(), IsEmpty());
  EXPECT_EQ(Get(InUse("Alarm")), "new");
}

TEST_F(RedirectedProfiles, OfALaterTimeAreTakenOverToo) {
  Set(Old("One"), "1");
  TakeOverRedirectedProfiles();
  Set(Old("Two"), "2");
  EXPECT_EQ(TakeOverRedirectedProfiles().size(), 1U);
  EXPECT_EQ(Get(InUse("Two")), "2");
}

}  // namespace
}  // namespace mvsms::win32
