// The configuration dialog: what it shows, what each opening, click and keystroke stores, and the
// dialogs that it opens.
#include "ui/frmconfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "diagnostics/frmerror.h"
#include "forms/localize.h"
#include "tests/support/desktop.h"
#include "ui/frmtest.h"

namespace mvsms {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCatalogue[] = "C:\\Programs\\mvSMS\\smstransports.inf";

std::vector<std::string> Entries(const ComboBox& combo) {
  std::vector<std::string> texts;
  for (const ComboBox::Entry& entry : combo.List()) texts.push_back(entry.text);
  return texts;
}

class ConfigForm : public testing::Test {
 protected:
  /// Opens the dialog of the profile; what that stored and showed stays in the records.
  frmConfig& Open() {
    form_ = std::make_shared<frmConfig>(apartment_);
    form_->HostAppName = profile_name_;
    form_->LoadValues();
    form_->SetOptions();
    form_->Show();
    return *form_;
  }
  /// The same, and forgets the records.
  frmConfig& Opened() {
    Open();
    desk_.Forget();
    return *form_;
  }
  std::vector<std::string> Routes() {
    std::vector<std::string> rows;
    for (const ListView::Row& row : form_->lsRouting.Rows()) {
      rows.push_back(row.text + ">" + row.sub_items.at(0));
    }
    return rows;
  }
  std::vector<std::string> Services() {
    std::vector<std::string> rows;
    for (const ListView::Row& row : form_->lsServices.Rows()) rows.push_back(row.text);
    return rows;
  }
  std::string Key(const std::string& below = "") { return desk_.profile.base_key() + below; }
  /// Lets the user add a service under this name, with the blank or the predefined choice.
  void AddBlank(const std::string& name) {
    desk_.When<frmNewService>("frmNewService", [name](frmNewService& dialog) {
      dialog.txtName.SetText(name);
      dialog.OKButton.Click();
    });
    form_->cmdSrvAdd.Click();
  }
  void AddPredefined(int row) {
    desk_.When<frmNewService>("frmNewService", [row](frmNewService& dialog) {
      dialog.Option1[1].SetValue(true);
      dialog.lsServices.Select(row);
      dialog.OKButton.Click();
    });
    form_->cmdSrvAdd.Click();
  }
  void FailWith(const std::string& operation) {
    desk_.platform.fail = [operation](const std::string& name) -> bool {
      if (name == operation) throw RaisedError(7, "", "Out of memory");
      return false;
    };
  }
  void FailOnceWith(const std::string& operation) {
    desk_.platform.fail = [this, operation](const std::string& name) -> bool {
      if (name != operation) return false;
      desk_.platform.fail = nullptr;
      throw RaisedError(7, "", "Out of memory");
    };
  }

  test::Desktop desk_;
  Apartment apartment_{desk_.platform};
  std::string profile_name_ = "Standard";
  std::shared_ptr<frmConfig> form_;
};

// --- texts and pages ------------------------------------------------------------------------

TEST_F(ConfigForm, SpeaksTheUsersLanguage) {
  const struct {
    std::uint16_t language;
    std::vector<std::string> texts;
  } rows[] = {
      {kLanguageEnglish,
       {"SMS Configuration",
        "Common",
        "Services",
        "Routing",
        "Diagnostics",
        "Always replace '+' with '00'",
        "Always replace '0..' with:",
        "Default Modem:",
        "Default Transport:",
        "Reset all Modems to Default",
        "Retries for sending a message:",
        "Retry-Delay (min)",
        "Add",
        "Properties",
        "Delete",
        "Add",
        "Properties",
        "Delete",
        "Open Test-Tool",
        "Write to logfile",
        "Show status windows while sending",
        "Open log",
        "Dialling Location",
        "Close"}},
      {kLanguageGerman,
       {"SMS Konfiguration",
        "Allgemein",
        "Dienste",
        "Routing",
        "Wartung",
        "'+' immer ersetzen durch '00'",
        "'0..' immer ersetzen mit:",
        "Standard-Modem:",
        "Standard-Dienst:",
        "Alle Modems auf Standard setzen",
        "Anzahl Versuche beim senden:",
        "Wiederholungszeitraum (min)",
        "Hinzuf\xFCgen",
        "Eigenschaften",
        "L\xF6schen",
        "Hinzuf\xFCgen",
        "Eigenschaften",
        "L\xF6schen",
        "Test-Tool \xF6"
        "ffnen",
        "Status in Logfile schreiben",
        "Status-Fenster beim Senden anzeigen",
        "Logfile \xF6"
        "ffnen",
        "W\xE4hlparameter",
        "Schlie\xDF"
        "en"}},
  };
  for (const auto& row : rows) {
    desk_.platform.language = row.language;
    frmConfig& form = Open();
    std::vector<std::string> texts{form.Caption()};
    for (const auto& tab : form.TabStrip1.Tabs()) texts.push_back(tab.caption);
    const Control* const controls[] = {
        &form.chkReplacePlus, &form.chkAddCountry, &form.Label1,          &form.Label2,
        &form.cmdResetModems, &form.Label3,        &form.Label4,          &form.cmdSrvAdd,
        &form.cmdSrvEdit,     &form.cmdSrvDelete,  &form.cmdRouteAdd,     &form.cmdRouteEdit,
        &form.cmdRouteDelete, &form.cmdTest,       &form.chkWriteLogfile, &form.chkShowStatus,
        &form.cmdOpenLogfile, &form.cmdLocation,   &form.cmdClose};
    for (const Control* control : controls) texts.push_back(control->Caption());
    EXPECT_EQ(texts, row.texts);
    EXPECT_EQ(form.lsServices.Columns()[0].text, "Transport");
    EXPECT_EQ(form.lsRouting.Columns()[0].text, "Prefix");
    EXPECT_EQ(form.lsRouting.Columns()[1].text, "Transport");
  }
}

TEST_F(ConfigForm, ATabShowsItsPageAtItsPlace) {
  frmConfig& form = Opened();
  for (int tab = 1; tab <= 4; ++tab) {
    form.TabStrip1.Select(tab);
    for (int page = 0; page < 4; ++page) {
      const Frame& frame = form.Frame[static_cast<std::size_t>(page)];
      EXPECT_EQ(frame.Visible(), page == tab - 1);
      EXPECT_EQ(frame.Place().left, 60);
      EXPECT_EQ(frame.Place().top, 500);
    }
  }
}

TEST_F(ConfigForm, OpensOnTheFirstPage) {
  frmConfig& form = Opened();
  EXPECT_EQ(form.TabStrip1.SelectedIndex(), 1);
  EXPECT_TRUE(form.Frame[0].Visible());
  EXPECT_FALSE(form.Frame[1].Visible());
}

TEST_F(ConfigForm, ItsListsSelectWholeRows) {
  frmConfig& form = Opened();
  EXPECT_EQ(form.lsServices.ExtendedStyle(), 32);
  EXPECT_EQ(form.lsRouting.ExtendedStyle(), 32);
}

TEST_F(ConfigForm, ComesToTheFrontOnItsFirstPaintOnly) {
  Open();
  form_->Paint();
  EXPECT_EQ(std::count(desk_.platform.shown.begin(), desk_.platform.shown.end(),
                       "BringToFront frmConfig"),
            1);
}

// --- loading --------------------------------------------------------------------------------

TEST_F(ConfigForm, OnAnEmptyProfileItStoresItsDefaults) {
  Open();
  EXPECT_THAT(desk_.platform.stored, ElementsAre("Standard\\ReplacePlus#1", "Standard\\Retries#3",
                                                 "Standard\\RetryDelay#1"));
  EXPECT_EQ(form_->chkReplacePlus.Value(), 1);
  EXPECT_EQ(form_->chkAddCountry.Value(), 0);
  EXPECT_EQ(form_->txtCountry.Text(), "");
  EXPECT_EQ(form_->txtRetries.Text(), "3");
  EXPECT_EQ(form_->txtRetryDelay.Text(), "1");
  EXPECT_EQ(form_->chkShowStatus.Value(), 0);
  EXPECT_EQ(form_->chkWriteLogfile.Value(), 0);
}

TEST_F(ConfigForm, AnEmptyHostNameIsTheStandardProfile) {
  profile_name_ = "";
  Open();
  EXPECT_EQ(form_->HostAppName, "Standard");
  EXPECT_EQ(desk_.Text(Key(), "Retries"), "3");
}

TEST_F(ConfigForm, ShowsWhatIsStoredAndStoresItAgain) {
  desk_.AddModem("Modem A");
  desk_.AddModem("Modem B");
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.Set("ReplacePlus", 0);
  desk_.profile.Set("AddCountry", 1);
  desk_.profile.Set("Country", "0049");
  desk_.profile.Set("Retries", 5);
  desk_.profile.Set("RetryDelay", 10);
  desk_.profile.Set("DefaultModem", "Modem B");
  desk_.profile.Set("DefaultService", "City");
  desk_.profile.Set("ShowStatus", 1);
  desk_.profile.Set("WriteLogfile", 1);
  desk_.Forget();
  frmConfig& form = Open();
  EXPECT_EQ(form.chkReplacePlus.Value(), 0);
  EXPECT_EQ(form.chkAddCountry.Value(), 1);
  EXPECT_EQ(form.txtCountry.Text(), "0049");
  EXPECT_EQ(form.txtRetries.Text(), "5");
  EXPECT_EQ(form.txtRetryDelay.Text(), "10");
  EXPECT_THAT(Entries(form.cmbModems), ElementsAre("Modem A", "Modem B"));
  EXPECT_EQ(form.cmbModems.Text(), "Modem B");
  EXPECT_EQ(form.cmbDefaultService.Text(), "City");
  EXPECT_THAT(desk_.platform.stored,
              ElementsAre("Standard\\AddCountry#1", "Standard\\Country=0049", "Standard\\Retries#5",
                          "Standard\\RetryDelay#10", "Standard\\DefaultModem=Modem B",
                          "Standard\\DefaultService=City", "Standard\\ShowStatus#1",
                          "Standard\\WriteLogfile#1"));
}

TEST_F(ConfigForm, NumbersThatAreNoneShowAsZero) {
  desk_.profile.Set("Retries", "many");
  desk_.profile.Set("RetryDelay", "");
  Open();
  EXPECT_EQ(form_->txtRetries.Text(), "0");
  EXPECT_EQ(form_->txtRetryDelay.Text(), "0");
  EXPECT_THAT(desk_.platform.stored,
              testing::IsSupersetOf({"Standard\\Retries#0", "Standard\\RetryDelay#0"}));
}

TEST_F(ConfigForm, AnUnknownModemOrServiceSelectsNothingAndStaysStored) {
  desk_.profile.Set("DefaultModem", "Gone");
  desk_.profile.Set("DefaultService", "Gone");
  Open();
  EXPECT_EQ(form_->cmbModems.ListIndex(), ComboBox::kNone);
  EXPECT_EQ(desk_.Text(Key(), "DefaultModem"), "Gone");
  EXPECT_EQ(desk_.Text(Key(), "DefaultService"), "Gone");
}

TEST_F(ConfigForm, ListsOnlyModemsThatCanSend) {
  desk_.AddModem("Modem A");
  desk_.AddModem("Phone");
  desk_.platform.lines[1].data_modem = false;
  Open();
  EXPECT_THAT(Entries(form_->cmbModems), ElementsAre("Modem A"));
}

TEST_F(ConfigForm, WithoutTelephonyTheModemListIsEmpty) {
  desk_.platform.fail = [](const std::string& name) { return name == "ITTAPI.Initialize"; };
  Open();
  EXPECT_THAT(Entries(form_->cmbModems), IsEmpty());
}

TEST_F(ConfigForm, ListsServicesAndRoutes) {
  desk_.profile.SetService("Alpha", {{"Protocol", "TAP"}});
  desk_.profile.SetService("Beta", {{"Protocol", "TAP"}});
  desk_.profile.Route("0171", "Beta");
  desk_.profile.Route("0172", "");
  Open();
  EXPECT_THAT(Services(), ElementsAre("Alpha", "Beta"));
  EXPECT_THAT(Entries(form_->cmbDefaultService), ElementsAre("Alpha", "Beta"));
  EXPECT_THAT(Routes(), ElementsAre("0171>Beta", "0172>"));
}

TEST_F(ConfigForm, WithoutServicesAndRoutesTheListsAreEmpty) {
  Open();
  EXPECT_THAT(Services(), IsEmpty());
  EXPECT_THAT(Routes(), IsEmpty());
}

// --- options of the host --------------------------------------------------------------------

TEST_F(ConfigForm, ADisabledStatusWindowIsHiddenAndSwitchedOff) {
  desk_.profile.Set("ShowStatus", 1);
  form_ = std::make_shared<frmConfig>(apartment_);
  form_->DisableShowWindow = true;
  form_->LoadValues();
  form_->SetOptions();
  EXPECT_FALSE(form_->chkShowStatus.Visible());
  EXPECT_EQ(desk_.Text(Key(), "ShowStatus"), "0");
  EXPECT_TRUE(form_->chkWriteLogfile.Visible());
  EXPECT_TRUE(form_->cmdOpenLogfile.Visible());
}

TEST_F(ConfigForm, EnforcedLoggingIsHiddenAndSwitchedOn) {
  form_ = std::make_shared<frmConfig>(apartment_);
  form_->EnforceLogging = true;
  form_->LoadValues();
  form_->SetOptions();
  EXPECT_FALSE(form_->chkWriteLogfile.Visible());
  EXPECT_FALSE(form_->cmdOpenLogfile.Visible());
  EXPECT_EQ(desk_.Text(Key(), "WriteLogfile"), "1");
  EXPECT_TRUE(form_->chkShowStatus.Visible());
}

// --- storing an option ----------------------------------------------------------------------

TEST_F(ConfigForm, EveryChangeIsStoredAtOnce) {
  desk_.AddModem("Modem A");
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  frmConfig& form = Opened();
  form.chkReplacePlus.SetValue(0);
  form.chkAddCountry.SetValue(1);
  form.txtCountry.SetText("0");
  form.txtCountry.SetText("00");
  form.txtRetries.SetText("");
  form.txtRetries.SetText("7");
  form.txtRetryDelay.SetText("x");
  form.cmbModems.SetListIndex(0);
  form.cmbDefaultService.SetListIndex(0);
  form.chkShowStatus.SetValue(1);
  form.chkWriteLogfile.SetValue(1);
  form.chkWriteLogfile.SetValue(0);
  EXPECT_THAT(
      desk_.platform.stored,
      ElementsAre("Standard\\ReplacePlus#0", "Standard\\AddCountry#1", "Standard\\Country=0",
                  "Standard\\Country=00", "Standard\\Retries#0", "Standard\\Retries#7",
                  "Standard\\RetryDelay#0", "Standard\\DefaultModem=Modem A",
                  "Standard\\DefaultService=City", "Standard\\ShowStatus#1",
                  "Standard\\WriteLogfile#1", "Standard\\WriteLogfile#0"));
}

TEST_F(ConfigForm, AnErrorInAnOptionsHandlerIsIgnored) {
  frmConfig& form = Opened();
  FailWith("Registry.SetValue");
  form.txtCountry.SetText("0049");
  form.chkShowStatus.SetValue(1);
  EXPECT_EQ(form.txtCountry.Text(), "0049");
  EXPECT_THAT(desk_.opened, IsEmpty());
}

// Before the profile is known, no option can be stored.
TEST_F(ConfigForm, AnOptionThatCannotBeStoredIsReportedByItsHandlerAndStaysAsEntered) {
  form_ = std::make_shared<frmConfig>(apartment_);
  form_->Load();
  form_->cmbModems.AddItem("Modem A");
  form_->cmbDefaultService.AddItem("City");
  form_->chkReplacePlus.SetValue(1);
  form_->chkAddCountry.SetValue(1);
  form_->txtCountry.SetText("0049");
  form_->txtRetries.SetText("5");
  form_->txtRetryDelay.SetText("2");
  form_->cmbModems.SetListIndex(0);
  form_->cmbDefaultService.SetListIndex(0);
  form_->chkShowStatus.SetValue(1);
  form_->chkWriteLogfile.SetValue(1);
  std::vector<std::string> expected;
  for (const char* handler :
       {"chkReplacePlus_Click", "chkAddCountry_Click", "txtCountry_Change", "txtRetries_Change",
        "txtRetryDelay_Change", "cmbModems_Click", "cmbDefaultService_Click", "chkShowStatus_Click",
        "chkWriteLogfile_Click"}) {
    expected.push_back(
        std::string("48 : An error has occured: Error saving value! (0)\r\n\r\nProc: ") + handler);
  }
  EXPECT_EQ(desk_.Messages(), expected);
  EXPECT_EQ(form_->txtRetries.Text(), "5");
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, ResetModemsDoesNothing) {
  frmConfig& form = Opened();
  form.cmdResetModems.Click();
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
  EXPECT_THAT(desk_.platform.shown, IsEmpty());
}

// --- services -------------------------------------------------------------------------------

TEST_F(ConfigForm, AddsABlankServiceAndMakesTheFirstOneTheDefault) {
  frmConfig& form = Opened();
  AddBlank("City");
  EXPECT_THAT(desk_.platform.stored,
              ElementsAre("City\\Default=", "City\\CountryCode=", "City\\Protocol=TAP",
                          "City\\PhoneNumber=", "City\\Password=", "City\\MaxLength=160",
                          "City\\MaxMessages=1", "City\\UCPCommand=", "City\\MessageType=3",
                          "City\\TimeOut=2000", "City\\BaudRate=Auto", "City\\ModemSetting=7E1",
                          "City\\ModemName=", "Standard\\DefaultService=City"));
  EXPECT_THAT(Services(), ElementsAre("City"));
  EXPECT_EQ(form.lsServices.SelectedText(), "City");
  EXPECT_EQ(form.cmbDefaultService.Text(), "City");
}

TEST_F(ConfigForm, ASecondServiceDoesNotChangeTheDefault) {
  Opened();
  AddBlank("City");
  AddBlank("Town");
  EXPECT_THAT(Services(), ElementsAre("City", "Town"));
  EXPECT_EQ(form_->lsServices.SelectedText(), "Town");
  EXPECT_EQ(desk_.Text(Key(), "DefaultService"), "City");
}

TEST_F(ConfigForm, TheDefaultServiceIsStillShownAfterOthersComeAndGo) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.SetService("Town", {{"Protocol", "TAP"}});
  desk_.profile.Set("DefaultService", "Town");
  frmConfig& form = Opened();
  AddBlank("Village");
  EXPECT_EQ(form.cmbDefaultService.Text(), "Town");
  form.lsServices.SelectText("City");
  form.cmdSrvDelete.Click();
  EXPECT_EQ(form.cmbDefaultService.Text(), "Town");
  EXPECT_THAT(desk_.platform.stored, testing::Not(Contains("Standard\\DefaultService=Town")));
  form.lsServices.SelectText("Town");
  form.cmdSrvDelete.Click();
  EXPECT_EQ(form.cmbDefaultService.ListIndex(), ComboBox::kNone);
  EXPECT_EQ(desk_.Text(Key(), "DefaultService"), "Town");
}

TEST_F(ConfigForm, ACatalogueServiceTakesOverThePrefixesItBrings) {
  desk_.platform.files[kCatalogue] =
      "7,Example,Germany,UCP,pw,51,0123456,160,1,49,9600,8,N,1,3000,3,0171;;0172;\n";
  desk_.profile.SetService("Old", {{"Protocol", "TAP"}});
  desk_.profile.Route("0172", "Old");
  desk_.profile.Route("0173", "Old");
  Opened();
  AddPredefined(0);
  EXPECT_THAT(
      desk_.platform.stored,
      ElementsAre("Example\\Default=", "Example\\CountryCode=49", "Example\\Protocol=UCP",
                  "Example\\PhoneNumber=0123456", "Example\\Password=pw", "Example\\MaxLength=160",
                  "Example\\MaxMessages=1", "Example\\UCPCommand=51", "Example\\MessageType=3",
                  "Example\\TimeOut=3000", "Example\\BaudRate=9600", "Example\\ModemSetting=8N1",
                  "Example\\ModemName=", "0171\\UseService=Example", "0172\\UseService=Example"));
  EXPECT_THAT(Routes(), ElementsAre("0171>Example", "0172>Example", "0173>Old"));
}

TEST_F(ConfigForm, ATakenOverPrefixKeepsNothingOfWhatItHeld) {
  desk_.platform.files[kCatalogue] = "7,Example,,UCP,,,,,,,,,,,,,0172\n";
  desk_.profile.Route("0172", "Old");
  basRegistry::SetValue(desk_.platform.registry(), kSettingsHive, Key("\\Routing\\0172"), "Extra",
                        std::string("x"), RegType::kSz);
  Opened();
  AddPredefined(0);
  EXPECT_EQ(desk_.Text(Key("\\Routing\\0172"), "Extra"), "(none)");
}

TEST_F(ConfigForm, ANameThatIsInTheListIsRefused) {
  desk_.platform.files[kCatalogue] = "";
  desk_.profile.SetService("City", {{"Protocol", "UCP"}});
  Opened();
  AddBlank("City");
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : An entry with this name already exists!"));
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, NamesAreComparedExactly) {
  desk_.platform.files[kCatalogue] = "";
  desk_.profile.SetService("City", {{"Protocol", "UCP"}});
  Opened();
  AddBlank("city");
  EXPECT_THAT(desk_.Messages(), IsEmpty());
  EXPECT_EQ(desk_.platform.stored.front(), "City\\Default=");
}

TEST_F(ConfigForm, AServiceWithoutANameIsReportedAndWritesNothing) {
  desk_.platform.files[kCatalogue] = "12\n";
  Opened();
  AddBlank(",x");
  AddPredefined(0);
  const std::string report =
      "48 : An error has occured: Error creating key! (0)\r\n\r\nProc: cmdSrvAdd_Click";
  EXPECT_THAT(desk_.Messages(), ElementsAre(report, report));
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, AShortEntryOfTheCatalogueStoresWhatItHas) {
  desk_.platform.files[kCatalogue] = "12,City,,UCP\n";
  Opened();
  AddPredefined(0);
  EXPECT_EQ(desk_.Text(Key("\\Services\\City"), "Protocol"), "UCP");
  EXPECT_EQ(desk_.Text(Key("\\Services\\City"), "TimeOut"), "");
}

TEST_F(ConfigForm, ACancelledAddWritesNothingAndLeavesTheDialogLoaded) {
  Opened();
  frmNewService* dialog = nullptr;
  desk_.When<frmNewService>("frmNewService", [&](frmNewService& shown) {
    dialog = &shown;
    shown.CancelButton.Click();
  });
  form_->cmdSrvAdd.Click();
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
  EXPECT_TRUE(dialog->IsLoaded());
  form_->cmdSrvAdd.Click();
  EXPECT_THAT(desk_.opened, ElementsAre("frmNewService", "frmNewService"));
}

TEST_F(ConfigForm, EditsTheSelectedService) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}, {"MessageType", "3"}});
  frmConfig& form = Opened();
  form.lsServices.Select(0);
  desk_.When<frmServiceProperties>("frmServiceProperties", [&](frmServiceProperties& dialog) {
    EXPECT_EQ(dialog.RegPath, Key("\\Services\\City"));
    EXPECT_EQ(dialog.OwnerWindow(), form.Window());
    dialog.PhoneNumber.SetText("0123");
    dialog.OKButton.Click();
  });
  form.cmdSrvEdit.Click();
  EXPECT_EQ(desk_.Text(Key("\\Services\\City"), "PhoneNumber"), "0123");
  EXPECT_EQ(desk_.platform.open_windows(), 1U);
  form.lsServices.DoubleClick();
  EXPECT_THAT(desk_.opened, ElementsAre("frmServiceProperties", "frmServiceProperties"));
}

TEST_F(ConfigForm, WithoutASelectionNothingIsEditedOrDeleted) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.Route("0171", "City");
  frmConfig& form = Opened();
  form.cmdSrvEdit.Click();
  form.cmdSrvDelete.Click();
  form.lsServices.DoubleClick();
  form.cmdRouteEdit.Click();
  form.cmdRouteDelete.Click();
  form.lsRouting.DoubleClick();
  EXPECT_THAT(desk_.platform.shown, IsEmpty());
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, DeletesAServiceAndEmptiesItsRoutes) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.SetService("Town", {{"Protocol", "TAP"}});
  desk_.profile.Set("DefaultService", "City");
  desk_.profile.Route("0171", "City");
  desk_.profile.Route("0172", "Town");
  frmConfig& form = Opened();
  form.lsServices.Select(0);
  form.cmdSrvDelete.Click();
  EXPECT_THAT(desk_.Messages(),
              ElementsAre("1 Delete: Do you want to delete the selected entry?City'?"));
  EXPECT_THAT(Services(), ElementsAre("Town"));
  EXPECT_THAT(Routes(), ElementsAre("0171>", "0172>Town"));
  EXPECT_THAT(desk_.platform.stored, ElementsAre("0171\\UseService="));
  EXPECT_EQ(desk_.Text(Key("\\Services\\City"), "Protocol"), "(none)");
  EXPECT_EQ(desk_.Text(Key(), "DefaultService"), "City");
}

TEST_F(ConfigForm, KeepsTheServiceWhenTheUserThinksBetterOfIt) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  frmConfig& form = Opened();
  form.lsServices.Select(0);
  desk_.platform.msgbox_answers = {MsgBoxAnswer::kCancel};
  form.cmdSrvDelete.Click();
  EXPECT_THAT(Services(), ElementsAre("City"));
}

TEST_F(ConfigForm, AServiceThatCannotBeDeletedKeepsItsRoutes) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.Route("0171", "City");
  frmConfig& form = Opened();
  form.lsServices.Select(0);
  desk_.platform.fail = [](const std::string& name) { return name == "Registry.DeleteTree"; };
  form.cmdSrvDelete.Click();
  EXPECT_EQ(desk_.Messages().back(),
            "48 : An error has occured: Error deleting key! (0)\r\n\r\nProc: cmdSrvDelete_Click");
  EXPECT_THAT(Routes(), ElementsAre("0171>City"));
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, WhatNeedsASelectedRowIsEnabledWithOne) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.Route("0171", "City");
  frmConfig& form = Opened();
  const auto enabled = [&] {
    std::string buttons;
    for (const CommandButton* button :
         {&form.cmdSrvAdd, &form.cmdSrvEdit, &form.cmdSrvDelete, &form.cmdRouteAdd,
          &form.cmdRouteEdit, &form.cmdRouteDelete}) {
      buttons += button->Enabled() ? 'x' : '-';
    }
    return buttons;
  };
  EXPECT_EQ(enabled(), "x--x--");
  form.lsServices.Select(0);
  EXPECT_EQ(enabled(), "xxxx--");
  form.lsRouting.Select(0);
  EXPECT_EQ(enabled(), "xxxxxx");
  form.cmdRouteDelete.Click();
  form.cmdSrvDelete.Click();
  EXPECT_EQ(enabled(), "x--x--");
}

TEST_F(ConfigForm, InsertAndDeleteWorkInTheLists) {
  desk_.profile.Route("0172", "");
  frmConfig& form = Opened();
  form.lsRouting.OnDeleteKey();
  EXPECT_THAT(desk_.Messages(), IsEmpty());
  form.lsRouting.Select(0);
  form.lsRouting.OnDeleteKey();
  desk_.platform.inputbox_answers = {"0173"};
  form.lsRouting.OnInsertKey();
  EXPECT_THAT(Routes(), ElementsAre("0173>"));
  form.lsServices.OnInsertKey();
  EXPECT_THAT(desk_.opened, ElementsAre("frmNewService"));
}

// --- routes ---------------------------------------------------------------------------------

TEST_F(ConfigForm, AddsARouteWithoutAService) {
  frmConfig& form = Opened();
  desk_.platform.inputbox_answers = {" 0172x"};
  form.cmdRouteAdd.Click();
  EXPECT_THAT(desk_.platform.shown,
              ElementsAre("InputBox New Routing Entry: Please enter the routing prefix (eg: "
                          "0049172 or 0172):"));
  EXPECT_THAT(desk_.platform.stored, ElementsAre(" 0172x\\UseService="));
  EXPECT_THAT(Routes(), ElementsAre(" 0172x>"));
  EXPECT_EQ(form.lsRouting.SelectedText(), " 0172x");
  EXPECT_THAT(desk_.opened, IsEmpty());
}

TEST_F(ConfigForm, AnEmptyPrefixAddsNothing) {
  frmConfig& form = Opened();
  form.cmdRouteAdd.Click();
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, AKnownPrefixIsRefused) {
  desk_.profile.Route("0172", "City");
  frmConfig& form = Opened();
  desk_.platform.inputbox_answers = {"0172"};
  form.cmdRouteAdd.Click();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : An entry with this name already exists!"));
  EXPECT_THAT(desk_.platform.stored, IsEmpty());
}

TEST_F(ConfigForm, EditsTheSelectedRoute) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  desk_.profile.Route("0172", "");
  frmConfig& form = Opened();
  desk_.When<frmEditRoute>("frmEditRoute", [&](frmEditRoute& dialog) {
    EXPECT_EQ(dialog.RegPath, Key());
    EXPECT_EQ(dialog.Route, "0172");
    EXPECT_EQ(dialog.OwnerWindow(), form.Window());
    SetComboString(dialog.cmbService, "City");
    dialog.cmdOK.Click();
  });
  form.lsRouting.Select(0);
  form.lsRouting.DoubleClick();
  EXPECT_THAT(Routes(), ElementsAre("0172>City"));
  EXPECT_EQ(desk_.platform.open_windows(), 1U);
  form.lsRouting.Select(0);
  form.cmdRouteEdit.Click();
  EXPECT_EQ(desk_.opened.size(), 2U);
}

TEST_F(ConfigForm, ARouteStaysSelectedWhenItHasBeenEdited) {
  for (const char* prefix : {"0171", "0172", "0173"}) desk_.profile.Route(prefix, "");
  frmConfig& form = Opened();
  form.lsRouting.Select(1);
  form.cmdRouteEdit.Click();
  EXPECT_EQ(form.lsRouting.SelectedText(), "0172");
  EXPECT_EQ(form.lsRouting.VisibleRow(), 1);
}

TEST_F(ConfigForm, DeletesTheSelectedRoute) {
  desk_.profile.Route("0172", "City");
  frmConfig& form = Opened();
  form.lsRouting.Select(0);
  desk_.platform.msgbox_answers = {MsgBoxAnswer::kCancel};
  form.cmdRouteDelete.Click();
  EXPECT_THAT(Routes(), ElementsAre("0172>City"));
  form.cmdRouteDelete.Click();
  EXPECT_EQ(desk_.Messages().back(), "1 Delete: Do you want to delete the selected entry?");
  EXPECT_THAT(Routes(), IsEmpty());
}

TEST_F(ConfigForm, ARouteThatCannotBeDeletedIsReportedAndStays) {
  desk_.profile.Route("0172", "City");
  frmConfig& form = Opened();
  form.lsRouting.Select(0);
  desk_.platform.fail = [](const std::string& name) { return name == "Registry.DeleteTree"; };
  form.cmdRouteDelete.Click();
  EXPECT_EQ(desk_.Messages().back(),
            "48 : An error has occured: Error deleting key! (0)\r\n\r\nProc: cmdRouteDelete_Click");
  EXPECT_THAT(Routes(), ElementsAre("0172>City"));
}

// --- diagnostics ----------------------------------------------------------------------------

TEST_F(ConfigForm, OpensTheSendLogOfTheComponentsFolder) {
  frmConfig& form = Opened();
  form.cmdOpenLogfile.Click();
  EXPECT_THAT(desk_.platform.opened, ElementsAre("Open|C:\\Programs\\mvSMS\\SMSLog.txt||C:\\|1"));
  desk_.platform.component_folder = "\\\\server\\share";
  form.cmdOpenLogfile.Click();
  desk_.platform.component_folder = "D:\\";
  form.cmdOpenLogfile.Click();
  EXPECT_EQ(desk_.platform.opened[1], "Open|\\\\server\\share\\SMSLog.txt||C:\\|1");
  EXPECT_EQ(desk_.platform.opened[2], "Open|D:\\SMSLog.txt||C:\\|1");
  EXPECT_THAT(desk_.Messages(), IsEmpty());
}

TEST_F(ConfigForm, SaysWhyTheLogDoesNotOpen) {
  frmConfig& form = Opened();
  desk_.platform.shell_result = 2;
  form.cmdOpenLogfile.Click();
  desk_.platform.shell_result = 0;
  form.cmdOpenLogfile.Click();
  desk_.platform.shell_result = 32;
  form.cmdOpenLogfile.Click();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : The file does not exist!",
                                            "0 : Unknown error (hr=0)", "0 : DLL not found"));
}

TEST_F(ConfigForm, OpensTheDiallingLocationOfTheChosenModem) {
  desk_.AddModem("Modem A");
  desk_.AddModem("Modem B");
  frmConfig& form = Opened();
  form.cmbModems.SetListIndex(1);
  form.cmdLocation.Click();
  ASSERT_EQ(desk_.platform.translate_dialogs.size(), 1U);
  EXPECT_EQ(desk_.platform.translate_dialogs[0], std::make_tuple("Modem B", "", form.Window()));
  EXPECT_EQ(desk_.platform.tapi_sessions(), 0U);
}

TEST_F(ConfigForm, OpensTheDiallingLocationOfTheFirstModemWhenNoneIsChosen) {
  desk_.AddModem("Modem A");
  Opened().cmdLocation.Click();
  EXPECT_EQ(std::get<0>(desk_.platform.translate_dialogs.at(0)), "Modem A");
}

TEST_F(ConfigForm, WithoutModemsThereIsNoDiallingLocation) {
  Opened().cmdLocation.Click();
  EXPECT_THAT(desk_.platform.translate_dialogs, IsEmpty());
  EXPECT_THAT(desk_.opened, IsEmpty());
}

TEST_F(ConfigForm, AModemThatHasGoneHasNoDiallingLocation) {
  desk_.AddModem("Modem A");
  frmConfig& form = Opened();
  desk_.platform.lines[0].name = "Modem B";
  form.cmdLocation.Click();
  EXPECT_THAT(desk_.platform.translate_dialogs, IsEmpty());
}

TEST_F(ConfigForm, OpensTheTestToolWithItsProfile) {
  profile_name_ = "Pager";
  frmConfig& form = Opened();
  desk_.When<frmTest>("frmTest", [&](frmTest& dialog) {
    EXPECT_EQ(dialog.HostAppName, "Pager");
    EXPECT_EQ(dialog.OwnerWindow(), form.Window());
    dialog.cmdClose.Click();
  });
  form.cmdTest.Click();
  EXPECT_THAT(desk_.opened, ElementsAre("frmTest"));
}

TEST_F(ConfigForm, EveryTestToolIsANewOneWithTheRememberedFields) {
  frmConfig& form = Opened();
  int opened = 0;
  desk_.When<frmTest>("frmTest", [&](frmTest& dialog) {
    EXPECT_EQ(dialog.txtStatus.Text(), "");
    EXPECT_EQ(dialog.txtSender.Text(), opened++ == 0 ? "" : "Ward 7");
    dialog.txtSender.SetText("Ward 7");
    dialog.txtStatus.SetText("said before");
    dialog.cmdClose.Click();
  });
  form.cmdTest.Click();
  form.cmdTest.Click();
  EXPECT_EQ(opened, 2);
}

TEST_F(ConfigForm, FindsTheDiallingLocationByTheExactNameAmongAllLines) {
  for (const char* name : {"modem a", "Modem", "Modem A"}) desk_.AddModem(name);
  frmConfig& form = Opened();
  form.cmbModems.SetListIndex(2);
  desk_.platform.lines[2].data_modem = false;
  form.cmdLocation.Click();
  EXPECT_EQ(std::get<0>(desk_.platform.translate_dialogs.at(0)), "Modem A");
}

TEST_F(ConfigForm, ExplainsWhatItsCaptionsDoNot) {
  frmConfig& form = Opened();
  EXPECT_EQ(form.cmdResetModems.ToolTipText(), "For later use: it changes nothing");
  desk_.platform.language = kLanguageGerman;
  EXPECT_EQ(Opened().chkAddCountry.ToolTipText(),
            "Mit 0049 wird 0171\x85 als 0049171\x85 gesendet");
}

TEST_F(ConfigForm, WithBothOptionsDecidedByTheHostNoLineDividesWhatIsLeft) {
  frmConfig& form = Opened();
  EXPECT_TRUE(form.lnSending.Visible());
  form.DisableShowWindow = form.EnforceLogging = true;
  form.SetOptions();
  EXPECT_FALSE(form.lnSending.Visible());
}

TEST_F(ConfigForm, CloseUnloadsItAndWhatIsLeftOpen) {
  frmConfig& form = Opened();
  frmNewService* dialog = nullptr;
  desk_.When<frmNewService>("frmNewService", [&](frmNewService& shown) {
    dialog = &shown;
    shown.CancelButton.Click();
  });
  form.cmdSrvAdd.Click();
  EXPECT_EQ(desk_.platform.open_windows(), 2U);
  form.cmdClose.Click();
  EXPECT_FALSE(form.IsLoaded());
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

TEST_F(ConfigForm, GivenUpWhileADialogIsOpenItEndsWithThatDialog) {
  desk_.profile.SetService("City", {{"Protocol", "TAP"}});
  Opened();
  form_->lsServices.Select(0);
  std::weak_ptr<frmConfig> watch = form_;
  desk_.When<frmServiceProperties>("frmServiceProperties", [&](frmServiceProperties&) {
    form_->Unload();
    form_.reset();
  });
  const auto keep = form_;  // as the window does while an event runs
  keep->cmdSrvEdit.Click();
  EXPECT_EQ(desk_.platform.open_windows(), 0U);
}

// --- unexpected errors ----------------------------------------------------------------------

class ConfigErrors : public ConfigForm {
 protected:
  ConfigErrors() {
    desk_.AddModem("Modem A");
    desk_.profile.SetService("City", {{"Protocol", "TAP"}});
    desk_.profile.Route("0171", "City");
    desk_.When<frmError>("frmError", [this](frmError& dialog) {
      procedures_.push_back(dialog.txtModule.Text());
      if (clear_) desk_.platform.fail = nullptr;
      (dialog.*answer_).Click();
    });
  }
  CommandButton frmError::* answer_ = &frmError::cmdCancel;
  bool clear_ = false;  // the failure passes before the answer
  std::vector<std::string> procedures_;
};

TEST_F(ConfigErrors, NameTheirProcedure) {
  frmConfig& form = Opened();
  form.lsServices.Select(0);
  form.lsRouting.Select(0);
  const struct {
    const char* operation;
    CommandButton& button;
    const char* procedure;
  } rows[] = {
      {"TextFile.Read", form.cmdSrvAdd, "frmNewService - LoadFile"},
      {"FormPeer.RunModal", form.cmdSrvAdd, "frmConfig - cmdSrvAdd_Click"},
      {"FormPeer.RunModal", form.cmdSrvEdit, "frmConfig - cmdSrvEdit_Click"},
      {"FormPeer.RunModal", form.cmdRouteEdit, "frmConfig - cmdRouteEdit_Click"},
      {"Registry.DeleteTree", form.cmdSrvDelete, "frmConfig - cmdSrvDelete_Click"},
      {"Forms.InputBox", form.cmdRouteAdd, "frmConfig - cmdRouteAdd_Click"},
      {"Registry.DeleteTree", form.cmdRouteDelete, "frmConfig - cmdRouteDelete_Click"},
      {"Shell.Execute", form.cmdOpenLogfile, "frmConfig - cmdOpenLogfile_Click"},
      {"ITAddress.AddressName", form.cmdLocation, "frmConfig - cmdLocation_Click"},
  };
  for (const auto& row : rows) {
    procedures_.clear();
    FailOnceWith(row.operation);
    row.button.Click();
    EXPECT_THAT(procedures_, ElementsAre(row.procedure)) << row.operation;
  }
}

TEST_F(ConfigErrors, BelongToTheWindowTheyInterrupt) {
  frmConfig& form = Opened();
  WindowHandle owner = kNoWindow;
  desk_.When<frmError>("frmError", [&](frmError& dialog) {
    owner = dialog.OwnerWindow();
    dialog.cmdCancel.Click();
  });
  FailOnceWith("ITAddress.AddressName");
  form.cmdLocation.Click();
  EXPECT_NE(owner, kNoWindow);
  EXPECT_EQ(owner, form.Window());
}

TEST_F(ConfigErrors, ARetriedStatementIsExecutedAgain) {
  frmConfig& form = Opened();
  answer_ = &frmError::cmdRetry;
  clear_ = true;
  FailWith("ITAddress.TranslateDialog");
  form.cmdLocation.Click();
  EXPECT_THAT(procedures_, ElementsAre("frmConfig - cmdLocation_Click"));
  EXPECT_EQ(desk_.platform.translate_dialogs.size(), 1U);
}

TEST_F(ConfigErrors, AnIgnoredStatementIsSkipped) {
  frmConfig& form = Opened();
  answer_ = &frmError::cmdIgnore;
  FailWith("ITAddress.TranslateDialog");
  form.cmdLocation.Click();
  EXPECT_EQ(procedures_.size(), 1U);
  EXPECT_EQ(desk_.platform.tapi_sessions(), 0U);  // the statements after it went on
}

TEST_F(ConfigErrors, WhileLoadingTheRestIsLoadedOrNotAsTheUserSays) {
  desk_.profile.Set("ReplacePlus", "neither");
  answer_ = &frmError::cmdIgnore;
  Open();
  EXPECT_THAT(procedures_, ElementsAre("frmConfig - LoadValues"));
  EXPECT_EQ(form_->txtRetries.Text(), "3");
  answer_ = &frmError::cmdCancel;
  Open();
  EXPECT_EQ(form_->txtRetries.Text(), "");
}

TEST_F(ConfigErrors, OfAddingAServiceConcernOneValueOnly) {
  for (const auto answer : {&frmError::cmdIgnore, &frmError::cmdRetry}) {
    desk_.platform.files[kCatalogue] = "7,Example,,UCP,pw,51,0,160,1,49,9600,8,N,1,3000,3,0171\n";
    basRegistry::DeleteKey(desk_.platform.registry(), kSettingsHive, Key("\\Services\\Example"));
    Opened();
    answer_ = answer;
    procedures_.clear();
    int calls = 0;
    desk_.platform.fail = [&](const std::string& operation) -> bool {
      if (operation == "Registry.SetValue" && ++calls == 2) {
        throw RaisedError(7, "", "Out of memory");
      }
      return false;
    };
    AddPredefined(0);
    desk_.platform.fail = nullptr;
    EXPECT_THAT(procedures_, ElementsAre("frmConfig - cmdSrvAdd_Click"));
    const bool retried = answer == &frmError::cmdRetry;
    EXPECT_THAT(desk_.platform.stored,
                testing::Contains("Example\\CountryCode=49").Times(retried ? 1 : 0));
    EXPECT_THAT(desk_.platform.stored, testing::Contains("Example\\Default=").Times(1));
    EXPECT_THAT(desk_.platform.stored, testing::Contains("0171\\UseService=Example").Times(1));
  }
}

TEST_F(ConfigErrors, InAListAreHandledThere) {
  FailOnceWith("Registry.EnumKey");
  Open();
  EXPECT_THAT(procedures_, ElementsAre("frmConfig - FillServices"));
  procedures_.clear();
  frmConfig& form = Opened();
  form.lsRouting.Select(0);
  FailWith("Registry.EnumKey");
  form.cmdRouteDelete.Click();
  EXPECT_THAT(procedures_, ElementsAre("frmConfig - FillRoutes"));
}

TEST_F(ConfigErrors, OfTheTestToolAreIgnored) {
  frmConfig& form = Opened();
  FailWith("FormPeer.RunModal");
  form.cmdTest.Click();
  EXPECT_THAT(procedures_, IsEmpty());
}

}  // namespace
}  // namespace mvsms
