// Config: one dialog at a time, modal or not, and none left behind.
#include "ui/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

class ConfigClass : public testing::Test {
 protected:
  test::Desktop desk_;
  Apartment apartment_{desk_.platform};
  std::unique_ptr<Config> config_ = std::make_unique<Config>(apartment_);
};

TEST_F(ConfigClass, ShowsTheDialogAndReturnsAtOnce) {
  config_->ShowConfigDialog("");
  EXPECT_EQ(desk_.platform.open_windows(), 1U);
  EXPECT_THAT(desk_.platform.shown, ElementsAre("Show frmConfig", "BringToFront frmConfig"));
  EXPECT_EQ(desk_.Text("Software\\MIRVALEN\\PAGOREX\\Standard", "Retries"), "3");
}

TEST_F(ConfigClass, SaysOnceAtOpeningThatSettingsCannotBeStored) {
  desk_.platform.fail = [](const std::string& name) { return name == "Registry.OpenKey"; };
  config_->ShowConfigDialog("A");
  EXPECT_THAT(desk_.Messages(), ElementsAre(testing::HasSubstr("You have no right to change")));
}

TEST_F(ConfigClass, ASecondCallReplacesTheDialog) {
  config_->ShowConfigDialog("A");
  desk_.Forget();
  config_->ShowConfigDialog("B");
  EXPECT_THAT(desk_.platform.shown, ElementsAre("Hide frmConfig", "Close frmConfig",
                                                "Show frmConfig", "BringToFront frmConfig"));
  EXPECT_EQ(desk_.platform.open_windows(), 1U);
  EXPECT_EQ(desk_.Text("Software\\MIRVALEN\\PAGOREX\\B", "Retries"), "3");
}

TEST_F(ConfigClass, AModalDialogIsGoneWhenTheCallReturns) {
  desk_.When<frmConfig>("frmConfig", [](frmConfig& form) {
    EXPECT_TRUE(form.IsVisible());
    form.cmdClose.Click();
  });
  config_->ShowConfigDialog("A", kNoWindow, true);
  EXPECT_THAT(desk_.opened, ElementsAre("frmConfig"));
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

TEST_F(ConfigClass, TheHostsWindowOwnsTheDialog) {
  desk_.When<frmConfig>("frmConfig", [](frmConfig& form) { EXPECT_EQ(form.OwnerWindow(), 4711); });
  config_->ShowConfigDialog("A", 4711, true);
  EXPECT_THAT(desk_.opened, ElementsAre("frmConfig"));
}

TEST_F(ConfigClass, ItsEndUnloadsTheDialog) {
  config_->ShowConfigDialog("A");
  config_.reset();
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

TEST_F(ConfigClass, ItsEndAfterTheUserHasClosedTheDialogDoesNothing) {
  desk_.platform.on_modal = nullptr;
  config_->ShowConfigDialog("A", kNoWindow, true);
  config_.reset();
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

TEST_F(ConfigClass, ItMayEndWhileItsModalDialogIsOpen) {
  desk_.When<frmConfig>("frmConfig", [](frmConfig& form) { form.Unload(); });
  config_->ShowConfigDialog("A", kNoWindow, true);
  config_->ShowConfigDialog("B", kNoWindow, true);
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

TEST_F(ConfigClass, HandsItsOptionsToTheDialog) {
  EXPECT_FALSE(config_->DisableShowWindow);
  EXPECT_FALSE(config_->EnforceLogging);
  config_->DisableShowWindow = true;
  config_->EnforceLogging = true;
  desk_.When<frmConfig>("frmConfig", [](frmConfig& form) {
    EXPECT_FALSE(form.chkShowStatus.Visible());
    EXPECT_FALSE(form.chkWriteLogfile.Visible());
  });
  config_->ShowConfigDialog("A", kNoWindow, true);
  EXPECT_THAT(desk_.opened, ElementsAre("frmConfig"));
  EXPECT_EQ(desk_.Text("Software\\MIRVALEN\\PAGOREX\\A", "WriteLogfile"), "1");
}

TEST_F(ConfigClass, AHundredRoundsLeaveNothingBehind) {
  for (int i = 0; i < 100; ++i) config_->ShowConfigDialog("A", kNoWindow, true);
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
  EXPECT_EQ(desk_.platform.open_keys(), 0U);
  EXPECT_EQ(desk_.platform.running_timers(), 0U);
  EXPECT_EQ(desk_.platform.tapi_sessions(), 0U);
}

}  // namespace
}  // namespace mvsms
