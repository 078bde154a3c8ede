// The texts of the forms against a list written down on its own, byte for byte.
#include "resources/string_table.h"

#include <gtest/gtest.h>

#include <iterator>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"

namespace mvsms {
namespace {

struct Expected {
  int id;
  const char* english;  // Windows-1252
  const char* german;
};

// clang-format off
constexpr Expected kExpected[] = {
    {1, "EN", "DE"},
    {10, "OK", "OK"},
    {11, "Cancel", "Abbrechen"},
    {12, "Name", "Name"},
    {15, "All", "Alle"},
    {105, "Change Routing Entry", "Routing-Eintrag \xE4" "ndern"},
    {210, "Numeric", "Numerisch"},
    {211, "Alphanumeric", "Alphanumerisch"},
    {220, "Default", "Standard"},
    {5000, "SMS Configuration", "SMS Konfiguration"},
    {5001, "Common", "Allgemein"},
    {5002, "Services", "Dienste"},
    {5003, "Routing", "Routing"},
    {5004, "Diagnostics", "Wartung"},
    {5005, "Add", "Hinzuf\xFC" "gen"},
    {5006, "Properties", "Eigenschaften"},
    {5007, "Delete", "L\xF6" "schen"},
    {5008, "Close", "Schlie\xDF" "en"},
    {5009, "Default Transport:", "Standard-Dienst:"},
    {5010, "Default Modem:", "Standard-Modem:"},
    {5011, "Reset all Modems to Default", "Alle Modems auf Standard setzen"},
    {5012, "Dialling Location", "W\xE4" "hlparameter"},
    {5013, "Always replace '+' with '00'", "'+' immer ersetzen durch '00'"},
    {5014, "Always replace '0..' with:", "'0..' immer ersetzen mit:"},
    {5015, "Retries for sending a message:", "Anzahl Versuche beim senden:"},
    {5016, "Show status windows while sending", "Status-Fenster beim Senden anzeigen"},
    {5017, "Write to logfile", "Status in Logfile schreiben"},
    {5018, "Open log", "Logfile \xF6" "ffnen"},
    {5020, "Retry-Delay (min)", "Wiederholungszeitraum (min)"},
    {5101, "An entry with this name already exists!", "Ein Eintrag mit diesem Namen existiert bereits"},
    {5102, "Do you want to delete the selected entry?", "M\xF6" "chten Sie den Eintrag l\xF6" "schen?"},
    {5103, "Please enter the routing prefix (eg: 0049172 or 0172):", "Bitte geben Sie das Routing-Pr\xE4" "fix ein (z.B.: 0049172 or 0172):"},
    {5104, "New Routing Entry", "Neuer Routing-Eintrag"},
    {6001, "Transport Service Properties ", "Eigenschaften des Dienstes"},
    {6002, "Service Name", "Dienst-Name"},
    {6003, "Country Code", "L\xE4" "ndervorwahl"},
    {6004, "Protocol Type", "Protokoll"},
    {6005, "Dial-Up Number", "Einwahlnummer"},
    {6006, "Password (For TAP)", "Passwort (f\xFC" "r TAP)"},
    {6007, "Max Message Length", "Maximale L\xE4" "nge"},
    {6008, "Max Messages Per Session", "Nachrichten pro Session"},
    {6009, "UCP Operation", "UCP-Operation"},
    {6010, "Message Type", "Nachrichten-Typ"},
    {6011, "Timeout", "Timeout"},
    {6012, "Baud Rate", "Baudrate"},
    {6013, "Data Bits - Parity - Stop Bits", "Data Bits - Parity - Stop Bits"},
    {6014, "Modem Device", "Modem"},
    {6101, "Please Select Message Type!", "Bitte w\xE4" "hlen Sie den Nachrichten-Typ!"},
    {6102, "Please Select Protocol Type!", "Bitte w\xE4" "hlen Sie das Protokoll!"},
    {6103, "Please Select UCP Operation Type!", "Bitte w\xE4" "hlen Sie die UCP-Operation!"},
    {6104, "Open Test-Tool", "Test-Tool \xF6" "ffnen"},
    {6105, "SMS Message", "SMS-Nachricht"},
    {6106, "Sender: ", "Absender:"},
    {6107, "Recipient:", "Empf\xE4" "nger:"},
    {6108, "Message:", "Nachricht:"},
    {6109, "Send", "Senden"},
    {6110, "Abort", "Abbrechen"},
    {6111, "Close", "Schlie\xDF" "en"},
    {6112, "Services", "Dienste"},
    {6113, "Country Filter:", "L\xE4" "nder anzeigen:"},
    {6115, "Number", "Nummer"},
    {6116, "Checked", "Gepr\xFC" "ft"},
    {6117, "Blank Service", "Neuer Dienst"},
    {6118, "Predefined", "Vordefiniert"},
    {6119, "Add Service", "Dienst hinzuf\xFC" "gen"},
    {6120, "Please click here for further information about SMS and paging providers...", "Klicken Sie hier f\xFC" "r weitere Informationen \xFC" "ber SMS und Paging-Provider..."},
    {6121, "An error has occured:", "Ein Fehler ist aufgetreten:"},
};
// clang-format on

class StringTable : public testing::Test {
 protected:
  std::string In(std::uint16_t language, int id) {
    platform_.language = language;
    return LoadResString(platform_.locale(), static_cast<std::uint16_t>(id));
  }
  memory::MemoryPlatform platform_;
};

TEST_F(StringTable, HasEveryTextInBothLanguages) {
  EXPECT_EQ(std::size(kExpected), 67U);
  for (const Expected& text : kExpected) {
    EXPECT_EQ(In(kLanguageEnglish, text.id), text.english) << text.id;
    EXPECT_EQ(In(kLanguageGerman, text.id), text.german) << text.id;
  }
}

TEST_F(StringTable, HasNoOtherIds) {
  int found = 0;
  for (int id = 0; id <= 0xFFFF; ++id) {
    try {
      In(kLanguageEnglish, id);
      ++found;
    } catch (const RaisedError& error) {
      ASSERT_EQ(error.number(), 326);
    }
  }
  EXPECT_EQ(found, 67);
}

TEST_F(StringTable, IsGermanWhereverGermanIsSpokenAndEnglishElsewhere) {
  EXPECT_EQ(In(0x0C07, 1), "DE");  // Austria
  EXPECT_EQ(In(0x0807, 1), "DE");  // Switzerland
  EXPECT_EQ(In(0x0809, 1), "EN");  // United Kingdom
  EXPECT_EQ(In(0x040C, 1), "EN");  // France
}

TEST_F(StringTable, TakesAnIdAsText) {
  EXPECT_EQ(LoadResString(platform_.locale(), "5000"), "SMS Configuration");
  for (const char* id : {"", "abc", "5000x", "70536", "-1"}) {
    EXPECT_THROW(LoadResString(platform_.locale(), id), RaisedError) << id;
  }
}

TEST_F(StringTable, KnowsANumberWhenItSeesOne) {
  EXPECT_TRUE(IsNumeric("5000"));
  EXPECT_TRUE(IsNumeric("-1"));
  EXPECT_FALSE(IsNumeric(""));
  EXPECT_FALSE(IsNumeric("abc"));
  EXPECT_FALSE(IsNumeric("12 "));
}

}  // namespace
}  // namespace mvsms
