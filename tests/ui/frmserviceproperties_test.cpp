// The service properties: what each field shows, requires and stores, in order.
#include "ui/frmserviceproperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "diagnostics/frmerror.h"
#include "forms/localize.h"
#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

std::vector<std::string> Entries(const ComboBox& combo) {
  std::vector<std::string> texts;
  for (const ComboBox::Entry& entry : combo.List()) texts.push_back(entry.text);
  return texts;
}

class ServiceProperties : public testing::Test {
 protected:
  ServiceProperties() {
    desk_.AddModem("Modem A");
    desk_.AddModem("Modem B");
    desk_.profile.SetService("City", {{"CountryCode", "49"},
                                      {"Protocol", "UCP"},
                                      {"PhoneNumber", "0123"},
                                      {"Password", "secret"},
                                      {"MaxLength", "160"},
                                      {"MaxMessages", "3"},
                                      {"UCPCommand", "51"},
                                      {"MessageType", "2"},
                                      {"TimeOut", "3000"},
                                      {"BaudRate", "9600"},
                                      {"ModemSetting", "8N1"},
                                      {"ModemName", "Modem B"}});
    form_.RegPath = key_;
  }
  void Open(std::initializer_list<std::pair<const char*, const char*>> changes = {}) {
    desk_.profile.SetService("City", changes);
    form_.Init();
    form_.Show();
    desk_.Forget();
  }
  std::string Stored(const std::string& value) { return desk_.Text(key_, value); }

  test::Desktop desk_;
  std::string key_ = desk_.profile.base_key() + "\\Services\\City";
  frmServiceProperties form_{desk_.platform};
};

TEST_F(ServiceProperties, ShowsTheServiceAsItIsStored) {
  Open();
  EXPECT_EQ(form_.txtName.Text(), "City");
  EXPECT_TRUE(form_.txtName.style().locked);
  EXPECT_EQ(form_.CountryCode.Text(), "49");
  EXPECT_EQ(form_.Protocol.Text(), "UCP");
  EXPECT_EQ(form_.PhoneNumber.Text(), "0123");
  EXPECT_EQ(form_.Password.Text(), "secret");
  EXPECT_TRUE(form_.Password.style().password);
  EXPECT_EQ(form_.MaxLength.Text(), "160");
  EXPECT_EQ(form_.MaxMessages.Text(), "3");
  EXPECT_EQ(form_.UCPCommand.Text(), "51");
  EXPECT_EQ(form_.MessageType.Text(), "Numeric");
  EXPECT_EQ(form_.TimeOut.Text(), "3000");
  EXPECT_EQ(form_.BaudRate.Text(), "9600");
  EXPECT_EQ(form_.ModemSetting.Text(), "8N1");
  EXPECT_EQ(form_.ModemName.Text(), "Modem B");
}

TEST_F(ServiceProperties, OffersItsEntries) {
  Open();
  EXPECT_THAT(Entries(form_.Protocol), ElementsAre("TAP", "UCP"));
  EXPECT_THAT(Entries(form_.UCPCommand), ElementsAre("01", "30", "51"));
  EXPECT_THAT(Entries(form_.BaudRate),
              ElementsAre("Auto", "300", "1200", "2400", "4800", "9600", "19200", "ISDN"));
  EXPECT_THAT(Entries(form_.ModemSetting), ElementsAre("8N1", "7E1"));
  EXPECT_THAT(Entries(form_.ModemName), ElementsAre("Default", "Modem A", "Modem B"));
  EXPECT_THAT(Entries(form_.MessageType), ElementsAre("Numeric", "Alphanumeric"));
  EXPECT_EQ(form_.MessageType.List()[0].item_data, 2);
  EXPECT_EQ(form_.MessageType.List()[1].item_data, 3);
}

TEST_F(ServiceProperties, TakesItsTextsFromTheStringTable) {
  desk_.platform.language = kLanguageGerman;
  Open();
  EXPECT_EQ(form_.Caption(), "SMS Konfiguration");
  EXPECT_EQ(form_.TabStrip1.Tabs()[0].caption, "Eigenschaften des Dienstes");
  const std::pair<Label*, const char*> labels[] = {
      {&form_.lblName, "Dienst-Name"},
      {&form_.lblCountryCode, "L\xE4ndervorwahl"},
      {&form_.lblProtocol, "Protokoll"},
      {&form_.lblPhoneNumber, "Einwahlnummer"},
      {&form_.lblPassword, "Passwort (f\xFCr TAP)"},
      {&form_.lblMaxLength, "Maximale L\xE4nge"},
      {&form_.lblMaxMessages, "Nachrichten pro Session"},
      {&form_.lblUCPCommand, "UCP-Operation"},
      {&form_.lblMessageType, "Nachrichten-Typ"},
      {&form_.lblTimeOut, "Timeout"},
      {&form_.lblBaudRate, "Baudrate"},
      {&form_.lblModemSetting, "Data Bits - Parity - Stop Bits"},
      {&form_.lblModemName, "Modem"}};
  for (const auto& [label, text] : labels) EXPECT_EQ(label->Caption(), text);
  EXPECT_EQ(form_.OKButton.Caption(), "OK");
  EXPECT_EQ(form_.CancelButton.Caption(), "Abbrechen");
  EXPECT_THAT(Entries(form_.MessageType), ElementsAre("Numerisch", "Alphanumerisch"));
  EXPECT_EQ(form_.ModemName.List()[0].text, "Standard");
}

TEST_F(ServiceProperties, AnUnusableModemNameMeansTheDefault) {
  for (const char* name : {"", "Default", "Standard", "Modem C", "modem a"}) {
    Open({{"ModemName", name}});
    EXPECT_EQ(form_.ModemName.ListIndex(), 0) << name;
    form_.OKButton.Click();
    EXPECT_EQ(Stored("ModemName"), "") << name;
  }
}

TEST_F(ServiceProperties, AnUnknownTextSelectsNothing) {
  Open(
      {{"Protocol", "SMTP"}, {"UCPCommand", "1"}, {"BaudRate", "115200"}, {"ModemSetting", "7E2"}});
  for (ComboBox* combo :
       {&form_.Protocol, &form_.UCPCommand, &form_.BaudRate, &form_.ModemSetting}) {
    EXPECT_EQ(combo->ListIndex(), ComboBox::kNone) << combo->Name();
  }
}

TEST_F(ServiceProperties, ATextThatNoEntryShowsIsSavedAsItStands) {
  Open({{"Protocol", "TAP"}, {"UCPCommand", "1"}, {"BaudRate", "57600"}, {"ModemSetting", "8E1"}});
  form_.OKButton.Click();
  EXPECT_THAT(desk_.platform.stored,
              testing::IsSupersetOf(
                  {"City\\UCPCommand=1", "City\\BaudRate=57600", "City\\ModemSetting=8E1"}));
}

TEST_F(ServiceProperties, ATextThatNoEntryShowsGivesWayToAChosenOne) {
  Open({{"BaudRate", "57600"}, {"Protocol", "SMTP"}});
  EXPECT_EQ(form_.BaudRate.ListIndex(), ComboBox::kNone);
  SetComboString(form_.BaudRate, "9600");
  form_.OKButton.Click();
  EXPECT_THAT(desk_.Messages(), ElementsAre("0 : Please Select Protocol Type!"));
  SetComboString(form_.Protocol, "TAP");
  form_.OKButton.Click();
  EXPECT_EQ(Stored("BaudRate"), "9600");
}

TEST_F(ServiceProperties, StartsInTheFirstFieldThatCanBeChanged) {
  EXPECT_EQ(form_.FirstFocus(), &form_.CountryCode);
}

TEST_F(ServiceProperties, TellsTheUnitOfTheTimeout) {
  Open();
  EXPECT_EQ(form_.TimeOut.ToolTipText(), "Milliseconds; 2000 to 3000 suits most centres");
}

TEST_F(ServiceProperties, TheMessageTypeGoesByItsNumber) {
  const std::pair<const char*, int> rows[] = {{"2", 0}, {"3", 1},  {"4", -1},
                                              {"", -1}, {"x", -1}, {" 3x", 1}};
  for (const auto& [stored, index] : rows) {
    Open({{"MessageType", stored}});
    EXPECT_EQ(form_.MessageType.ListIndex(), index) << stored;
  }
}

TEST_F(ServiceProperties, AnEmptyOrUnreadableMaximumLengthShowsAndSavesAsZero) {
  for (const char* stored : {"", "many"}) {
    Open({{"MaxLength", stored}});
    EXPECT_EQ(form_.MaxLength.Text(), "0");
    form_.OKButton.Click();
    EXPECT_EQ(Stored("MaxLength"), "0");
  }
}

TEST_F(ServiceProperties, TheProtocolDecidesWhichFieldsAreEnabled) {
  Open({{"Protocol", ""}});
  EXPECT_FALSE(form_.Password.Enabled());
  EXPECT_FALSE(form_.UCPCommand.Enabled());
  SetComboString(form_.Protocol, "TAP");
  EXPECT_TRUE(form_.Password.Enabled());
  EXPECT_FALSE(form_.UCPCommand.Enabled());
  SetComboString(form_.Protocol, "UCP");
  EXPECT_FALSE(form_.Password.Enabled());
  EXPECT_TRUE(form_.UCPCommand.Enabled());
}

TEST_F(ServiceProperties, DisabledFieldsKeepAndSaveTheirTexts) {
  Open();
  SetComboString(form_.Protocol, "TAP");
  form_.OKButton.Click();
  EXPECT_EQ(Stored("UCPCommand"), "51");
  EXPECT_EQ(Stored("Password"), "secret");
}

TEST_F(ServiceProperties, OkWritesEveryValueInOrderAndHides) {
  Open();
  form_.OKButton.Click();
  EXPECT_THAT(
      desk_.platform.stored,
      ElementsAre("City\\CountryCode=49", "City\\Protocol=UCP", "City\\PhoneNumber=0123",
                  "City\\Password=secret", "City\\MaxLength=160", "City\\MaxMessages=3",
                  "City\\UCPCommand=51", "City\\MessageType=2", "City\\TimeOut=3000",
                  "City\\BaudRate=9600", "City\\ModemSetting=8N1", "City\\ModemName=Modem B"));
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(ServiceProperties, TheDefaultModemIsWrittenAndThenEmptied) {
  Open({{"ModemName", ""}});
  form_.OKButton.Click();
  ASSERT_GE(desk_.platform.stored.size(), 2U);
  EXPECT_EQ(desk_.platform.stored.end()[-2], "City\\ModemName=Default");
  EXPECT_EQ(desk_.platform.stored.end()[-1], "City\\ModemName=");
}

TEST_F(ServiceProperties, TextsAreStoredAsTyped) {
  Open();
  form_.TimeOut.SetText("soon");
  form_.MaxMessages.SetText("");
  form_.OKButton.Click();
  EXPECT_EQ(Stored("TimeOut"), "soon");
  EXPECT_EQ(Stored("MaxMessages"), "");
}

TEST_F(ServiceProperties, OkWantsTheThreeChoicesInTheirOrder) {
  Open({{"MessageType", ""}, {"Protocol", ""}, {"UCPCommand", ""}});
  form_.OKButton.Click();
  form_.MessageType.SetListIndex(1);
  form_.OKButton.Click();
  SetComboString(form_.Protocol, "UCP");
  form_.OKButton.Click();
  EXPECT_THAT(desk_.Messages(),
              ElementsAre("0 : Please Select Message Type!", "0 : Please Select Protocol Type!",
                          "0 : Please Select UCP Operation Type!"));
  EXPECT_TRUE(desk_.platform.stored.empty());
  EXPECT_TRUE(form_.IsVisible());
  SetComboString(form_.Protocol, "TAP");
  form_.OKButton.Click();
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(ServiceProperties, CancelWritesNothing) {
  Open();
  form_.TimeOut.SetText("1");
  form_.CancelButton.Click();
  EXPECT_TRUE(desk_.platform.stored.empty());
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(ServiceProperties, EveryFailedWriteIsReportedAndTheRestStillWritten) {
  Open();
  form_.RegPath = "";
  form_.OKButton.Click();
  EXPECT_THAT(desk_.Messages(), testing::SizeIs(12));
  EXPECT_THAT(
      desk_.Messages(),
      testing::Each("48 : An error has occured: Error saving value! (0)\r\n\r\nProc: SaveValues"));
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(ServiceProperties, AnUnexpectedErrorAsksTheUser) {
  Open();
  int calls = 0;
  desk_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "Registry.SetValue" && ++calls == 2) throw RaisedError(7, "", "Out of memory");
    return false;
  };
  desk_.When<frmError>("frmError", [](frmError& dialog) {
    EXPECT_EQ(dialog.txtModule.Text(), "frmServiceProperties - SaveValues");
    dialog.cmdIgnore.Click();
  });
  form_.OKButton.Click();
  EXPECT_THAT(desk_.opened, ElementsAre("frmError"));
  EXPECT_EQ(desk_.platform.stored.size(), 11U);
  EXPECT_EQ(desk_.platform.stored[1], "City\\PhoneNumber=0123");
}

TEST_F(ServiceProperties, CancellingAnErrorWhileSavingLeavesTheRestUnwritten) {
  Open();
  desk_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "Registry.SetValue") throw RaisedError(7, "", "Out of memory");
    return false;
  };
  desk_.When<frmError>("frmError", [](frmError& dialog) { dialog.cmdCancel.Click(); });
  form_.OKButton.Click();
  EXPECT_EQ(desk_.opened.size(), 1U);
  EXPECT_TRUE(desk_.platform.stored.empty());
}

TEST_F(ServiceProperties, AnErrorWhileLoadingNamesItsProcedure) {
  desk_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "Registry.QueryValue") throw RaisedError(7, "", "Out of memory");
    return false;
  };
  desk_.When<frmError>("frmError", [](frmError& dialog) {
    EXPECT_EQ(dialog.txtModule.Text(), "frmServiceProperties - LoadValues");
    dialog.cmdCancel.Click();
  });
  form_.Init();
  EXPECT_THAT(desk_.opened, ElementsAre("frmError"));
}

TEST_F(ServiceProperties, WithoutTelephonyThereIsTheDefaultModemOnly) {
  desk_.platform.fail = [](const std::string& operation) {
    return operation == "ITTAPI.Initialize";
  };
  form_.Init();
  EXPECT_THAT(Entries(form_.ModemName), ElementsAre("Default"));
}

TEST_F(ServiceProperties, LoadedAgainItHasTheSameEntries) {
  form_.Init();
  form_.Unload();
  form_.Init();
  EXPECT_EQ(form_.MessageType.List().size(), 2U);
}

}  // namespace
}  // namespace mvsms
