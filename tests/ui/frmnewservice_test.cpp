// The new-service dialog: the two choices, the filter, and the record it gives.
#include "ui/frmnewservice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "diagnostics/frmerror.h"
#include "forms/localize.h"
#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPath[] = "C:\\Programs\\mvSMS\\smstransports.inf";

class NewService : public testing::Test {
 protected:
  NewService() {
    desk_.platform.files[kPath] =
        "1,Alpha,Germany,TAP,pw,,0111,160,2,49,Auto,7,E,1,2000,3,0171;0172,2026-01\n"
        "2,Beta,Austria,UCP,,51,0222,160,1,43,9600,8,N,1,3000,3,\n"
        "1,Gamma,Germany,TAP,,,0333,80,1,49,1200,7,E,1,2000,2,\n";
  }
  void Open() {
    form_.Prepare();
    form_.Show();
  }
  void NameProviderPage(const std::string& page) {
    basRegistry::SetValue(desk_.platform.registry(), kSettingsHive, kRootKey, "ProviderInfoPage",
                          page, RegType::kSz);
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const ListView::Row& row : form_.lsServices.Rows()) names.push_back(row.sub_items.at(0));
    return names;
  }
  test::Desktop desk_;
  frmNewService form_{desk_.platform};
};

TEST_F(NewService, OffersABlankServiceFirst) {
  Open();
  EXPECT_TRUE(form_.Option1[0].Value());
  EXPECT_FALSE(form_.Option1[1].Value());
  EXPECT_TRUE(form_.txtName.Enabled());
  EXPECT_FALSE(form_.lsServices.Enabled());
  EXPECT_FALSE(form_.cmbLanguage.Enabled());
}

TEST_F(NewService, StartsInTheName) { EXPECT_EQ(form_.FirstFocus(), &form_.txtName); }

TEST_F(NewService, ABlankServiceNeedsAName) {
  Open();
  EXPECT_FALSE(form_.OKButton.Enabled());
  form_.txtName.SetText("X");
  EXPECT_TRUE(form_.OKButton.Enabled());
  form_.txtName.SetText("");
  EXPECT_FALSE(form_.OKButton.Enabled());
  form_.Option1[1].SetValue(true);
  EXPECT_TRUE(form_.OKButton.Enabled());
  EXPECT_FALSE(form_.txtName.Enabled());
  EXPECT_TRUE(form_.lsServices.Enabled());
}

TEST_F(NewService, GivesTheBlankRecordUnderTheTypedName) {
  Open();
  form_.txtName.SetText("X");
  form_.OKButton.Click();
  EXPECT_EQ(form_.Result(), BlankService("X"));
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(NewService, TakesItsTextsFromTheStringTable) {
  desk_.platform.language = kLanguageGerman;
  Open();
  EXPECT_EQ(form_.Caption(), "Dienst hinzuf\xFCgen");
  EXPECT_EQ(form_.Option1[0].Caption(), "Neuer Dienst");
  EXPECT_EQ(form_.Option1[1].Caption(), "Vordefiniert");
  EXPECT_EQ(form_.lblFilter.Caption(), "L\xE4nder anzeigen:");
  EXPECT_EQ(form_.lblServices.Caption(), "Dienste");
  EXPECT_EQ(form_.lblProviderInfo.Caption(),
            "Klicken Sie hier f\xFCr weitere Informationen \xFC"
            "ber SMS und Paging-Provider...");
  EXPECT_EQ(form_.lsServices.Columns()[4].text, "Nummer");
  EXPECT_EQ(form_.lsServices.Columns()[5].text,
            "Gepr\xFC"
            "ft");
  EXPECT_EQ(form_.cmbLanguage.List()[0].text, "Alle");
}

TEST_F(NewService, ListsTheWholeCatalogueUnderAll) {
  Open();
  EXPECT_EQ(form_.cmbLanguage.Text(), "All");
  EXPECT_THAT(Names(), ElementsAre("Alpha", "Beta", "Gamma"));
  EXPECT_EQ(form_.lsServices.VisibleRow(), 0);
}

TEST_F(NewService, ARowShowsTheFieldsOfItsEntry) {
  Open();
  const ListView::Row& row = form_.lsServices.Rows()[0];
  EXPECT_EQ(row.text, "1");
  EXPECT_THAT(row.sub_items, ElementsAre("Alpha", "Germany", "TAP", "0111", "2026-01"));
  EXPECT_EQ(form_.lsServices.Columns()[0].key, "ID");
  EXPECT_EQ(form_.lsServices.Columns()[2].key, "CC");
}

TEST_F(NewService, AGroupFiltersTheList) {
  Open();
  std::vector<std::string> groups;
  for (const auto& entry : form_.cmbLanguage.List()) groups.push_back(entry.text);
  EXPECT_THAT(groups, ElementsAre("All", "Germany", "Austria"));
  SetComboString(form_.cmbLanguage, "Germany");
  EXPECT_THAT(Names(), ElementsAre("Alpha", "Gamma"));
  SetComboString(form_.cmbLanguage, "All");
  EXPECT_THAT(Names(), ElementsAre("Alpha", "Beta", "Gamma"));
}

TEST_F(NewService, ThePredefinedChoiceWantsASelectedRow) {
  Open();
  form_.Option1[1].SetValue(true);
  form_.OKButton.Click();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : Please select a service!"));
  EXPECT_TRUE(form_.IsVisible());
  EXPECT_THAT(form_.Result(), IsEmpty());
}

TEST_F(NewService, ThePredefinedChoiceGivesTheEntry) {
  Open();
  form_.Option1[1].SetValue(true);
  form_.lsServices.Select(1);
  form_.OKButton.Click();
  EXPECT_EQ(FieldOf(form_.Result(), catalogue::kName), "Beta");
  EXPECT_EQ(form_.Result().size(), 17U);
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(NewService, ALaterEntryOfTheSameIdentifierWins) {
  Open();
  form_.Option1[1].SetValue(true);
  form_.lsServices.Select(0);
  form_.lsServices.DoubleClick();
  EXPECT_EQ(FieldOf(form_.Result(), catalogue::kName), "Gamma");
}

TEST_F(NewService, CancelGivesNothing) {
  Open();
  form_.txtName.SetText("X");
  form_.CancelButton.Click();
  EXPECT_THAT(form_.Result(), IsEmpty());
  EXPECT_TRUE(form_.IsLoaded());
}

TEST_F(NewService, PreparedAgainItForgetsTheLastChoice) {
  Open();
  form_.txtName.SetText("X");
  form_.OKButton.Click();
  Open();
  EXPECT_THAT(form_.Result(), IsEmpty());
  EXPECT_EQ(form_.txtName.Text(), "");
}

TEST_F(NewService, WithoutTheCatalogueABlankServiceIsStillPossible) {
  desk_.platform.files.clear();
  Open();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : Default file not found (smstransports.inf)"));
  form_.txtName.SetText("X");
  form_.OKButton.Click();
  EXPECT_EQ(FieldOf(form_.Result(), catalogue::kName), "X");
}

TEST_F(NewService, ACatalogueThatCannotBeReadIsNotCalledMissing) {
  desk_.platform.fail = [](const std::string& operation) { return operation == "TextFile.Read"; };
  std::string reported;
  desk_.When<frmError>("frmError", [&](frmError& dialog) {
    reported = dialog.txtModule.Text();
    dialog.cmdIgnore.Click();
  });
  Open();
  EXPECT_EQ(reported, "frmNewService - LoadFile");
  EXPECT_THAT(desk_.Messages(), ElementsAre());
}

TEST_F(NewService, ACommaInATypedNameSplitsIt) {
  EXPECT_EQ(FieldOf(BlankService("A,B"), catalogue::kName), "A");
  EXPECT_EQ(FieldOf(BlankService("A,B"), catalogue::kGroup), "B");
  EXPECT_EQ(FieldOf(BlankService("A,B"), catalogue::kPassword), "TAP");
}

TEST_F(NewService, EveryFillingScrollsToTheFirstRowWhenThereIsOne) {
  Open();
  form_.Option1[1].SetValue(true);
  form_.lsServices.Select(1);
  form_.cmbLanguage.SetListIndex(1);
  EXPECT_EQ(form_.lsServices.VisibleRow(), 0);
  desk_.platform.files.clear();
  Open();
  EXPECT_EQ(form_.lsServices.VisibleRow(), ListView::kNone);
}

TEST_F(NewService, TheLinkIsThereWhenAnInstallationNamesAProviderPage) {
  Open();
  EXPECT_FALSE(form_.lblProviderInfo.Visible());
  form_.Unload();
  NameProviderPage("https://intranet/pagers");
  Open();
  EXPECT_TRUE(form_.lblProviderInfo.Visible());
}

TEST_F(NewService, TheProviderPageOpensInTheUsersLanguage) {
  desk_.platform.language = kLanguageGerman;
  NameProviderPage("https://intranet/pagers");
  Open();
  form_.lblProviderInfo.Click();
  EXPECT_THAT(desk_.platform.opened,
              ElementsAre("Open|https://intranet/pagers?Language=DE||C:\\|1"));
  EXPECT_THAT(desk_.Messages(), IsEmpty());
}

TEST_F(NewService, SaysWhyTheProviderPageDoesNotOpen) {
  NameProviderPage("C:\\gone.html");
  Open();
  desk_.platform.shell_result = 2;
  form_.lblProviderInfo.Click();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : The file does not exist!"));
}

TEST_F(NewService, AProviderPageMayHaveAQueryOfItsOwn) {
  NameProviderPage("https://intranet/?page=7");
  Open();
  form_.lblProviderInfo.Click();
  EXPECT_THAT(desk_.platform.opened,
              ElementsAre("Open|https://intranet/?page=7&Language=EN||C:\\|1"));
}

TEST_F(NewService, UnexpectedErrorsNameTheirProcedure) {
  const auto failing = [&](const char* operation) {
    desk_.platform.fail = [operation](const std::string& name) -> bool {
      if (name == operation) throw RaisedError(7, "", "Out of memory");
      return false;
    };
  };
  std::vector<std::string> procedures;
  desk_.When<frmError>("frmError", [&](frmError& dialog) {
    procedures.push_back(dialog.txtModule.Text());
    dialog.cmdIgnore.Click();
  });
  failing("TextFile.Read");
  form_.Prepare();
  failing("Shell.Execute");
  form_.lblProviderInfo.Click();
  failing("Forms.MsgBox");
  form_.Option1[1].SetValue(true);
  form_.OKButton.Click();
  EXPECT_THAT(procedures,
              ElementsAre("frmNewService - LoadFile", "frmNewService - lblProviderInfo_Click",
                          "frmNewService - OKButton_Click"));
}

}  // namespace
}  // namespace mvsms
