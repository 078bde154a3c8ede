// The routing entry editor: what it lists, selects and stores.
#include "ui/frmeditroute.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "diagnostics/frmerror.h"
#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

class EditRoute : public testing::Test {
 protected:
  EditRoute() {
    desk_.profile.SetService("Alpha", {{"Protocol", "TAP"}});
    desk_.profile.SetService("Beta", {{"Protocol", "UCP"}});
    form_.RegPath = desk_.profile.base_key();
    form_.Route = "0172";
  }
  std::string Stored() {
    return desk_.Text(desk_.profile.base_key() + "\\Routing\\0172", "UseService");
  }

  test::Desktop desk_;
  frmEditRoute form_{desk_.platform};
};

TEST_F(EditRoute, ListsTheServicesAndSelectsTheRoutesOne) {
  desk_.profile.Route("0172", "Beta");
  form_.Show();
  ASSERT_EQ(form_.cmbService.List().size(), 2U);
  EXPECT_EQ(form_.cmbService.List()[0].text, "Alpha");
  EXPECT_EQ(form_.cmbService.Text(), "Beta");
}

TEST_F(EditRoute, TakesItsTextsFromTheStringTable) {
  desk_.platform.language = kLanguageGerman;
  form_.Show();
  EXPECT_EQ(form_.Caption(), "Routing-Eintrag \xE4ndern");
  EXPECT_EQ(form_.cmdOK.Caption(), "OK");
  EXPECT_EQ(form_.cmdCancel.Caption(), "Abbrechen");
}

TEST_F(EditRoute, OkStoresTheChoiceAndHides) {
  form_.Show();
  form_.cmbService.SetListIndex(0);
  form_.cmdOK.Click();
  EXPECT_EQ(Stored(), "Alpha");
  EXPECT_FALSE(form_.IsVisible());
  EXPECT_TRUE(form_.IsLoaded());
}

TEST_F(EditRoute, OkCreatesAMissingKey) {
  EXPECT_EQ(Stored(), "(none)");
  form_.Show();
  form_.cmdOK.Click();
  EXPECT_EQ(Stored(), "");
}

TEST_F(EditRoute, ADeletedServiceLeavesNothingSelectedAndOkStoresThat) {
  desk_.profile.Route("0172", "Gone");
  form_.Show();
  EXPECT_EQ(form_.cmbService.ListIndex(), ComboBox::kNone);
  form_.cmdOK.Click();
  EXPECT_EQ(Stored(), "");
}

TEST_F(EditRoute, WithoutServicesTheListIsEmptyAndOkStoresNone) {
  form_.RegPath = "Software\\MIRVALEN\\PAGOREX\\Other";
  form_.Show();
  EXPECT_TRUE(form_.cmbService.List().empty());
  form_.cmdOK.Click();
  EXPECT_EQ(desk_.Text("Software\\MIRVALEN\\PAGOREX\\Other\\Routing\\0172", "UseService"), "");
}

TEST_F(EditRoute, CancelWritesNothing) {
  desk_.profile.Route("0172", "Beta");
  form_.Show();
  form_.cmbService.SetListIndex(0);
  form_.cmdCancel.Click();
  EXPECT_EQ(Stored(), "Beta");
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(EditRoute, AnErrorWhileTheServicesAreListedIsHandled) {
  int failures = 1;
  desk_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "Registry.EnumKey" && failures-- > 0)
      throw RaisedError(7, "", "Out of memory");
    return false;
  };
  desk_.When<frmError>("frmError", [](frmError& dialog) {
    EXPECT_EQ(dialog.txtModule.Text(), "frmEditRoute - FillServices");
    dialog.cmdRetry.Click();
  });
  form_.Show();
  EXPECT_THAT(desk_.opened, ElementsAre("frmError"));
  EXPECT_EQ(form_.cmbService.List().size(), 2U);
}

TEST_F(EditRoute, OtherErrorsAreIgnored) {
  form_.Show();
  desk_.platform.fail = [](const std::string& operation) -> bool {
    if (operation == "Registry.SetValue") throw RaisedError(7, "", "Out of memory");
    return false;
  };
  form_.cmdOK.Click();
  EXPECT_FALSE(form_.IsVisible());
  EXPECT_TRUE(desk_.opened.empty());
}

}  // namespace
}  // namespace mvsms
