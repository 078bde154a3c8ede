// mvsms modem, config, service, route: what they store, what they print, what they refuse.
#include <fstream>

#include "tests/cli/command_test.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class ModemCommand : public CommandTest {};
class ConfigCommand : public CommandTest {};
class ServiceCommand : public CommandTest {
 protected:
  void WriteCatalogue(const std::string& text =
                          "1,Alpha,Germany,TAP,pw,,0111,160,2,49,Auto,7,E,1,2000,3,0171;0172\n"
                          "2,Beta,\xD6sterreich,UCP,,51,0222,160,1,43,9600,8,N,1,3000,3,\n") {
    std::ofstream(Path("smstransports.inf")) << text;
  }
};
class RouteCommand : public CommandTest {};

// --- modem

TEST_F(ModemCommand, AddedModemIsShownWithWhatWasGivenAndTheRestAsUsual) {
  Do({"modem", "add", "Modem1", "--kind", "hayes", "--device", "/dev/ptmx", "--speed", "2400",
      "--framing", "7E1-soft", "--flow", "none"});
  EXPECT_EQ(Ask({"modem", "show", "Modem1"}),
            Json::parse(R"({"name": "Modem1", "kind": "hayes", "device": "/dev/ptmx", "init": "",
                            "dial": "ATD", "speed": 2400, "framing": "7E1-soft",
                            "flow": "none"})"));
}

TEST_F(ModemCommand, ATcpModemHasNothingButItsName) {
  Do({"modem", "add", "Internet", "--kind", "tcp"});
  EXPECT_EQ(Ask({"modem", "show", "Internet"}),
            Json::parse(R"({"name": "Internet", "kind": "tcp"})"));
}

TEST_F(ModemCommand, ListKeepsTheOrderOfAdding) {
  AddModem("Zulu");
  AddModem("Alpha");
  const Json list = Ask({"modem", "list"});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]["name"], "Zulu");
  EXPECT_EQ(list[1]["name"], "Alpha");
}

TEST_F(ModemCommand, AnEmptyListIsOnlyItsHeading) {
  EXPECT_THAT(Do({"modem", "list"}), AllOf(HasSubstr("NAME"), HasSubstr("DEVICE")));
  EXPECT_EQ(Ask({"modem", "list"}), Json::array());
}

TEST_F(ModemCommand, SetChangesOnlyWhatIsNamed) {
  AddModem("Modem1");
  Do({"modem", "set", "Modem1", "--dial", "ATDT0,"});
  const Json modem = Ask({"modem", "show", "Modem1"});
  EXPECT_EQ(modem["dial"], "ATDT0,");
  EXPECT_EQ(modem["device"], "/dev/ptmx");
  EXPECT_EQ(modem["speed"], 9600);
}

TEST_F(ModemCommand, SettingsOfAnUnpluggedModemCanBeChanged) {
  auto terminal = std::make_unique<posix::PseudoTerminal>();
  Do({"modem", "add", "Modem1", "--kind", "hayes", "--device", terminal->device()});
  terminal.reset();
  Do({"modem", "set", "Modem1", "--framing", "7E1-soft", "--init", "Zä"});
  EXPECT_EQ(Ask({"modem", "show", "Modem1"})["framing"], "7E1-soft");
  EXPECT_EQ(Ask({"modem", "show", "Modem1"})["init"], "Zä");
}

TEST_F(ModemCommand, OneThatIsNotPluggedInIsAddedByForce) {
  Do({"modem", "add", "Modem1", "--kind", "hayes", "--device", "/dev/ttyNoSuch0", "--force"});
  EXPECT_EQ(Ask({"modem", "show", "Modem1"})["device"], "/dev/ttyNoSuch0");
  Do({"modem", "set", "Modem1", "--device", "/dev/ttyNoSuch1", "--force"});
  Refuse({"modem", "set", "Modem1", "--device", "/dev/ttyNoSuch2"}, "--force takes it");
  Refuse({"modem", "set", "Modem1", "--device", "/etc/passwd", "--force"},
         "is not a serial device");
}

TEST_F(ModemCommand, ASpeedThatNoModemHasIsWarnedOf) {
  AddModem("Modem1");
  DoWithWarning({"modem", "set", "Modem1", "--speed", "12345"}, "12345 bit/s is no usual speed");
  for (const char* speed : {"300", "9600", "115200", "921600"}) {
    Do({"modem", "set", "Modem1", "--speed", speed});
  }
}

TEST_F(ModemCommand, AddingAgainIsRefusedUnlessItReplaces) {
  const std::vector<std::string> line{"modem",    "add",       "Modem1",  "--kind", "hayes",
                                      "--device", "/dev/ptmx", "--speed", "2400",   "--or-replace"};
  Do(line);
  Do({"modem", "set", "Modem1", "--init", "ATX3"});
  const std::string before = State();
  Do(line);
  EXPECT_EQ(Ask({"modem", "show", "Modem1"})["init"], "");
  Do({"modem", "set", "Modem1", "--init", "ATX3"});
  EXPECT_EQ(State(), before);
  Refuse({"modem", "add", "Modem1", "--kind", "tcp"}, "--or-replace");
}

TEST_F(ModemCommand, WhateverNamesARenamedModemFollows) {
  AddModem("Modem1");
  AddModem("Modem2");
  Do({"service", "add", "Pager", "PhoneNumber=1", "ModemName=Modem1"});
  Do({"service", "add", "City", "PhoneNumber=1", "ModemName=Modem2"});
  Do({"service", "add", "Pager", "PhoneNumber=1", "ModemName=Modem1", "--profile", "Alarms"});
  Do({"modem", "rename", "Modem1", "Büro"});
  EXPECT_EQ(Ask({"modem", "list"})[0]["name"], "Büro");
  EXPECT_EQ(Do({"config", "get", "DefaultModem"}), "Büro\n");
  EXPECT_EQ(Do({"service", "get", "Pager", "ModemName"}), "Büro\n");
  EXPECT_EQ(Do({"service", "get", "City", "ModemName"}), "Modem2\n");
  EXPECT_EQ(Do({"service", "get", "Pager", "ModemName", "--profile", "Alarms"}), "Büro\n");
  Refuse({"modem", "rename", "Büro", "Modem2"}, "there is a modem \"Modem2\" already");
  Refuse({"modem", "rename", "Modem1", "X"},
         "there is no modem \"Modem1\" (did you mean \"Modem2\"?)");
  Refuse({"modem", "rename", "Büro", "Default"}, "means the default modem");
}

TEST_F(ModemCommand, TheFirstOneBecomesTheDefaultAndPlusWorks) {
  EXPECT_EQ(Do({"modem", "add", "Net", "--kind", "tcp"}),
            "\"Net\" is the default modem now; a leading \"+\" is sent as \"00\"\n");
  EXPECT_EQ(Do({"modem", "add", "Net2", "--kind", "tcp"}), "");
  EXPECT_EQ(Do({"config", "get", "DefaultModem"}), "Net\n");
  EXPECT_EQ(Do({"config", "get", "ReplacePlus"}), "1\n");
}

TEST_F(ModemCommand, DeletedModemIsGone) {
  AddModem("Modem1");
  Run({"modem", "delete", "Modem1"});
  EXPECT_EQ(Ask({"modem", "list"}), Json::array());
}

TEST_F(ModemCommand, ALineOverTheNetworkHasAnAddress) {
  Do({"modem", "add", "Rack", "--kind", "hayes", "--device", "rfc2217://[::1]:4001"});
  EXPECT_EQ(Ask({"modem", "show", "Rack"})["device"], "rfc2217://[::1]:4001");
  Do({"modem", "add", "Far", "--kind", "hayes", "--device", "tcp://nowhere.invalid:1", "--force"});
}

TEST_F(ModemCommand, ALoginIsShownWithoutItsPassword) {
  TempFolder files;
  const std::string file = files / "password";
  std::ofstream(file) << "TopSecret9\n";
  Do({"modem", "add", "Net", "--kind", "tcp", "--login", "user", "--password-file", file});
  const Json modem = Ask({"modem", "show", "Net"});
  EXPECT_EQ(modem["login"], "user");
  EXPECT_EQ(modem["password_file"], file);
  EXPECT_EQ(State().find("TopSecret9"), std::string::npos);
  EXPECT_EQ(Do({"apply", "--export", "--show-passwords"}).find("TopSecret9"), std::string::npos);
  Do({"modem", "set", "Net", "--login", "", "--password-file", ""});
  EXPECT_FALSE(Ask({"modem", "show", "Net"}).contains("login"));
}

TEST_F(ModemCommand, WrongValuesAreRefusedByName) {
  AddModem("Modem1");
  const auto add = [](std::vector<std::string> more) {
    std::vector<std::string> line{"modem", "add", "New"};
    line.insert(line.end(), more.begin(), more.end());
    return line;
  };
  Refuse(add({}), "--kind");
  Refuse(add({"--kind", "isdn"}), "\"isdn\" is not a kind of modem");
  Refuse(add({"--kind", "hayes"}), "a hayes modem needs --device");
  Refuse(add({"--kind", "hayes", "--device", "/dev/no-such-device"}),
         "the device \"/dev/no-such-device\" does not exist");
  Refuse(add({"--kind", "hayes", "--device", "/etc/passwd"}), "is not a serial device");
  Refuse(add({"--kind", "tcp", "--device", "/dev/ptmx"}), "a tcp modem has no device");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--framing", "8X1"}),
         "\"8X1\" is not a framing");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--flow", "dtr"}),
         "\"dtr\" is not a flow control");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--speed", "fast"}),
         "--speed must be a number");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--init", "ATZ\rATH"}),
         "an AT command must not contain a line end");
  Refuse(add({"--kind", "hayes", "--device", "http://x:1"}), "begins with no known scheme");
  Refuse(add({"--kind", "hayes", "--device", "tcp://" + std::string(300, 'x') + ":1"}),
         "the host is unknown; --force takes it all the same");
  Refuse(add({"--kind", "hayes", "--device", "tls://127.0.0.1:1", "--ca", "/no/such.pem"}),
         "The authority's certificate /no/such.pem cannot be used");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--ca", "/etc/passwd"}),
         "--ca and --certificate are for tls://HOST:PORT");
  Refuse(add({"--kind", "hayes", "--device", "/dev/ptmx", "--login", "u"}),
         "--login is for the kind tcp");
  Refuse(add({"--kind", "tcp", "--login", "u"}), "--login and --password-file need each other");
  Refuse(add({"--kind", "tcp", "--login", "u", "--password-file", "/no/such"}),
         "The password file /no/such cannot be read");
  Refuse(add({"--kind", "pool", "--members", "Modem1", "--ca", "x"}), "its members have the other");
  Refuse({"modem", "add", "Modem1", "--kind", "tcp"}, "there is a modem \"Modem1\" already");
  Refuse({"modem", "add", "Standard", "--kind", "tcp"}, "means the default modem");
  Refuse({"modem", "add", "a\tb", "--kind", "tcp"}, "cannot be the name of a modem");
}

TEST_F(ModemCommand, AnUnknownModemIsNamedByEveryCommand) {
  for (const char* command : {"show", "set", "delete", "test"}) {
    Refuse({"modem", command, "Nowhere"}, "there is no modem \"Nowhere\"");
  }
}

TEST_F(ModemCommand, TestOfAModemThatIsGoneFailsNamingIt) {
  const posix::PseudoTerminal terminal;
  const std::string device = Path("ttyUSB0");  // a terminal's own name may soon be another's
  std::filesystem::create_symlink(terminal.device(), device);
  Do({"modem", "add", "Modem1", "--kind", "hayes", "--device", device});
  std::filesystem::remove(device);
  const Outcome outcome = Run({"modem", "test", "Modem1"});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_THAT(outcome.out, HasSubstr("Modem1: The device " + device + " does not exist"));
}

TEST_F(ModemCommand, DeletingAModemThatIsUsedIsWarnedOf) {
  AddModem("Modem1");
  Do({"service", "add", "Pager", "PhoneNumber=1", "ModemName=Modem1"});
  Do({"config", "set", "DefaultModem", "Modem1"});
  const Outcome outcome = Run({"modem", "delete", "Modem1"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("is the default modem"),
                                 HasSubstr("is the modem of the service \"Pager\"")));
  EXPECT_EQ(Ask({"modem", "list"}).size(), 0U);
}

TEST_F(ModemCommand, DeletingAModemNamesTheOtherProfilesThatUseIt) {
  AddModem("Modem1");
  Do({"service", "add", "Pager", "PhoneNumber=1", "ModemName=Modem1", "--profile", "Night"});
  Do({"config", "set", "DefaultModem", "Modem1", "--profile", "Night"});
  const std::string err = Run({"modem", "delete", "Modem1"}).err;
  EXPECT_THAT(err,
              AllOf(HasSubstr("is the default modem in the profile \"Night\"; 'mvsms config set "
                              "DefaultModem --profile \"Night\"' names another"),
                    HasSubstr("of the service \"Pager\" in the profile \"Night\"")));
}

TEST_F(ModemCommand, ADeviceIsKeptWithItsWholePath) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path("/dev");
  Do({"modem", "add", "Modem1", "--kind", "hayes", "--device", "ptmx"});
  std::filesystem::current_path(before);
  EXPECT_EQ(Ask({"modem", "show", "Modem1"})["device"], "/dev/ptmx");
  Refuse({"modem", "add", "Modem2", "--kind", "hayes", "--device", ""}, "needs --device");
}

// --- config

TEST_F(ConfigCommand, ATextWhereANumberShouldBeIsShownAsItStands) {
  Do({"registry", "import", "-"}, R"({"format": "mvsms registry", "version": 1, "tree":
      {"keys": {"Standard": {"values": {"Retries": "a\u001bc", "RetryDelay": "3"}}}}})");
  EXPECT_EQ(Run({"config", "get", "Retries"}).out, "a<ESC>c\n");
  EXPECT_EQ(Json::parse(Run({"config", "get", "Retries", "--json"}).out)["Retries"],
            "a\x1B"
            "c");
  const Outcome list = Run({"config", "list", "--json"});
  EXPECT_EQ(Json::parse(list.out)["RetryDelay"], 3);
  EXPECT_EQ(list.err,
            "mvsms: Retries holds the text \"a<ESC>c\" where a number belongs; "
            "'mvsms config set Retries 3' mends it\n");
}

TEST_F(ConfigCommand, ANumberThatWouldLoseItsZeroIsWarnedOf) {
  DoWithWarning({"config", "set", "AddCountry", "1"}, "numbers lose their leading 0");
  Do({"config", "set", "Country", "0049"});
  DoWithWarning({"config", "set", "Country", ""}, "numbers lose their leading 0");
  Do({"config", "set", "Retries", "2"});
  Do({"config", "set", "AddCountry", "0"});
}

TEST_F(ConfigCommand, SetValueIsReadBack) {
  Do({"config", "set", "Retries", "5"});
  Do({"config", "set", "WriteLogfile", "1"});
  EXPECT_EQ(Do({"config", "get", "Retries"}), "5\n");
  EXPECT_EQ(Ask({"config", "get", "WriteLogfile"}), Json::parse(R"({"WriteLogfile": 1})"));
}

TEST_F(ConfigCommand, ListNamesEveryOptionAndLeavesUnsetOnesEmpty) {
  Do({"config", "set", "Country", "0049"});
  EXPECT_EQ(Ask({"config", "list"}),
            Json::parse(R"({"ReplacePlus": null, "AddCountry": null, "Country": "0049",
                            "Retries": null, "RetryDelay": null, "DefaultModem": "",
                            "DefaultService": "", "ShowStatus": null, "WriteLogfile": null,
                            "Fit": null, "JournalText": "", "Syslog": null, "QuickRetries": "",
                            "OnUnknown": "", "PagesPerCall": null, "MinutesPerCall": null,
                            "JoinMinutes": null, "Gateway": "", "GatewayTokenFile": "",
                            "Hub": "", "HubPasswordFile": "", "HubName": "",
                            "SpillAfter": null, "HubAlarmTo": "", "HubAlarmAfter": null})"));
}

TEST_F(ConfigCommand, AnUnsetOptionIsAsNobodyEverSetIt) {
  const Json before = Ask({"config", "list"});
  Do({"config", "set", "Retries", "7"});
  Do({"config", "set", "Country", "0049"});
  Do({"config", "set", "Fit", "1"});
  Do({"config", "unset", "Fit"});
  EXPECT_EQ(Do({"config", "get", "Fit"}), "\n");
  Do({"config", "unset", "retries"});
  Do({"config", "unset", "Country"});
  Do({"config", "unset", "ShowStatus"});
  EXPECT_EQ(Ask({"config", "list"}), before);
  Refuse({"config", "unset", "Colour"}, "there is no setting \"Colour\"");
  Refuse({"config", "unset", "Retries", "--profile", "None"}, "there is no profile \"None\"");
}

TEST_F(ConfigCommand, ProfilesAreSeparate) {
  Do({"config", "set", "Retries", "7", "--profile", "Alarms"});
  EXPECT_EQ(Do({"config", "get", "Retries"}), "\n");
  EXPECT_EQ(Do({"--profile", "Alarms", "config", "get", "Retries"}), "7\n");
}

TEST_F(ConfigCommand, AnEmptyProfileIsStandard) {
  Do({"config", "set", "Retries", "7", "--profile", ""});
  EXPECT_EQ(Do({"config", "get", "Retries", "--profile", "Standard"}), "7\n");
}

TEST_F(ConfigCommand, NamesMayBeWrittenInAnyCase) {
  Do({"config", "set", "retrydelay", "2"});
  EXPECT_EQ(Do({"config", "get", "RetryDelay"}), "2\n");
}

TEST_F(ConfigCommand, DefaultsMustExistOrBeEmpty) {
  AddModem("Modem1");
  AddService("Pager");
  Do({"config", "set", "DefaultModem", "Modem1"});
  Do({"config", "set", "DefaultService", "Pager"});
  Refuse({"config", "set", "DefaultModem", "Other"}, "there is no modem \"Other\"");
  Refuse({"config", "set", "DefaultService", "Other"}, "there is no service \"Other\"");
  Do({"config", "set", "DefaultModem", ""});
  EXPECT_EQ(Do({"config", "get", "DefaultModem"}), "\n");
}

TEST_F(ConfigCommand, WrongNamesAndValuesAreRefused) {
  Refuse({"config", "set", "Colour", "1"}, "there is no setting \"Colour\"");
  Refuse({"config", "get", "Colour"}, "ReplacePlus, AddCountry");
  Refuse({"config", "set", "Retries", "often"}, "Retries must be a number");
  Refuse({"config", "set", "Retries", "3x"}, "not \"3x\"");
  Refuse({"config", "set", "Retries", "99999999999"}, "Retries must be a number");
  Refuse({"config", "set", "Retries", ""}, "Retries must be a number");
  Refuse({"config", "set", "WriteLogfile", "yes"}, "WriteLogfile must be 0 or 1");
  Refuse({"config", "set", "Country", "+49"}, "Country must be digits");
  Refuse({"config", "set", "Retries"}, "VALUE is required");
  Refuse({"config", "list", "--profile", "a\\b"}, "cannot be the name of a profile");
}

// --- service

TEST_F(ServiceCommand, ANewServiceIsTheBlankOne) {
  AddService("Pager");
  EXPECT_EQ(Ask({"service", "show", "Pager"}),
            Json::parse(R"({"name": "Pager", "CountryCode": "", "Protocol": "TAP",
                            "PhoneNumber": "0123456", "Password": "", "MaxLength": "160",
                            "MaxMessages": "1", "UCPCommand": "", "MessageType": "3",
                            "TimeOut": "2000", "BaudRate": "Auto", "ModemSetting": "7E1",
                            "ModemName": ""})"));
}

TEST_F(ServiceCommand, ValuesMayBeGivenWithSetOrAsTheyStand) {
  Do({"service", "add", "City", "--set", "Protocol=UCP", "PhoneNumber=localhost:5000", "--set",
      "UCPCommand=51"});
  Do({"service", "set", "City", "TimeOut=500", "--set", "Password=a=b"});
  EXPECT_EQ(Do({"service", "get", "City", "Protocol"}), "UCP\n");
  EXPECT_EQ(Do({"service", "get", "City", "PhoneNumber"}), "localhost:5000\n");
  EXPECT_EQ(Do({"service", "get", "City", "UCPCommand"}), "51\n");
  EXPECT_EQ(Do({"service", "get", "City", "TimeOut"}), "500\n");
  EXPECT_EQ(Do({"service", "get", "City", "Password", "--show-passwords"}), "a=b\n");
}

TEST_F(ServiceCommand, PasswordsShowOnlyWhenAskedFor) {
  Do({"service", "add", "Pager", "PhoneNumber=1", "Password=Geheim7"});
  for (const std::vector<std::string>& line : {std::vector<std::string>{"service", "list"},
                                               {"service", "show", "Pager"},
                                               {"service", "get", "Pager", "Password"}}) {
    auto json = line, shown = line;
    json.push_back("--json");
    shown.push_back("--show-passwords");
    EXPECT_THAT(Do(line), AllOf(HasSubstr("(set)"), Not(HasSubstr("Geheim7"))));
    EXPECT_THAT(Do(json), AllOf(HasSubstr("(set)"), Not(HasSubstr("Geheim7"))));
    EXPECT_THAT(Do(shown), AllOf(HasSubstr("Geheim7"), Not(HasSubstr("(set)"))));
  }
}

TEST_F(ServiceCommand, AnEmptyPasswordShowsAsEmpty) {
  AddService("Pager");
  EXPECT_THAT(Do({"service", "show", "Pager"}), Not(HasSubstr("(set)")));
}

TEST_F(ServiceCommand, TheNamesOfTheDefaultModemAreStoredAsEmpty) {
  AddModem("Modem1");
  Do({"service", "add", "Pager", "PhoneNumber=1", "ModemName=Modem1"});
  EXPECT_EQ(Do({"service", "get", "Pager", "ModemName"}), "Modem1\n");
  for (const char* name : {"Default", "Standard"}) {
    Do({"service", "set", "Pager", std::string("ModemName=") + name});
    EXPECT_EQ(Do({"service", "get", "Pager", "ModemName"}), "\n");
  }
}

TEST_F(ServiceCommand, NamesCompareWithoutCase) {
  AddService("Pager");
  Refuse({"service", "add", "PAGER"}, "there is a service \"PAGER\" already");
  EXPECT_EQ(Do({"service", "get", "pager", "Protocol"}), "TAP\n");
}

TEST_F(ServiceCommand, AddingAgainIsRefusedUnlessItReplaces) {
  const std::vector<std::string> line{"service", "add", "Pager", "PhoneNumber=1", "--or-replace"};
  Do(line);
  const std::string before = State();
  Do({"service", "set", "Pager", "TimeOut=3000", "Password=x"});
  Do(line);
  EXPECT_EQ(State(), before);
  Refuse({"service", "add", "Pager"}, "--or-replace");
}

TEST_F(ServiceCommand, WhateverNamesARenamedServiceFollows) {
  AddService("Pager");
  AddService("City");
  Do({"service", "set", "Pager", "Password=Geheim7"});
  Do({"route", "add", "0171", "Pager"});
  Do({"route", "add", "0172", "City"});
  Do({"service", "rename", "pager", "Night"});
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Night\n");
  EXPECT_EQ(Do({"route", "show", "0171"}), "Night\n");
  EXPECT_EQ(Do({"route", "show", "0172"}), "City\n");
  EXPECT_EQ(Do({"service", "get", "Night", "Password", "--show-passwords"}), "Geheim7\n");
  Do({"service", "rename", "Night", "NIGHT"});
  EXPECT_EQ(Ask({"service", "list"})[1]["name"], "NIGHT");
  EXPECT_EQ(Do({"route", "show", "0171"}), "NIGHT\n");
  Refuse({"service", "rename", "Night", "City"}, "there is a service \"City\" already");
  Refuse({"service", "rename", "Pager", "X"}, "there is no service \"Pager\"");
  Refuse({"service", "rename", "Night", "a\\b"}, "cannot be the name of a service");
}

TEST_F(ServiceCommand, TheFirstOneBecomesTheDefaultAndPlusWorks) {
  EXPECT_EQ(Do({"service", "add", "Pager", "PhoneNumber=1"}),
            "\"Pager\" is the default service now; a leading \"+\" is sent as \"00\"\n");
  EXPECT_EQ(Do({"service", "add", "City", "PhoneNumber=1"}), "");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
  EXPECT_EQ(Do({"route", "test", "+49171"}), "0049171: Pager (no route; the default service)\n");
}

TEST_F(ServiceCommand, AChosenDefaultAndAChosenPlusStay) {
  Do({"config", "set", "ReplacePlus", "0"});
  AddService("Pager");
  EXPECT_EQ(Do({"config", "get", "ReplacePlus"}), "0\n");
  AddService("City");
  Do({"service", "delete", "City"});
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
}

TEST_F(ServiceCommand, TheOnlyModemBecomesTheDefaultOfAFurtherProfile) {
  Do({"modem", "add", "Net", "--kind", "tcp"});
  Do({"service", "add", "Pager", "PhoneNumber=1", "--profile", "Alarms"});
  EXPECT_EQ(Do({"config", "get", "DefaultModem", "--profile", "Alarms"}), "Net\n");
}

TEST_F(ServiceCommand, AMistypedNameIsToldWithTheNearestOne) {
  AddService("Pager");
  Refuse({"service", "show", "Pagre"}, "there is no service \"Pagre\" (did you mean \"Pager\"?)");
  Refuse({"service", "show", "X"}, "there is no service \"X\"\n");
}

TEST_F(ServiceCommand, DeleteEmptiesTheRoutesThatNamedIt) {
  AddService("Pager");
  AddService("City");
  Do({"route", "add", "0049171", "Pager"});
  Do({"route", "add", "0043", "City"});
  Do({"config", "set", "DefaultService", "Pager"});
  DoWithWarning({"service", "delete", "pager"}, "\"pager\" is the default service");
  EXPECT_EQ(Ask({"route", "list"}),
            Json::parse(R"([{"prefix": "0043", "service": "City", "then": ""},
                            {"prefix": "0049171", "service": "", "then": ""}])"));
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "Pager\n");
  EXPECT_EQ(Ask({"service", "list"}).size(), 1U);
}

TEST_F(ServiceCommand, WrongNamesAndValuesAreRefused) {
  AddService("Pager");
  const auto set = [this](const std::string& assignment, const std::string& sentence) {
    Refuse({"service", "set", "Pager", assignment}, sentence);
    Refuse({"service", "add", "New", "--set", assignment}, sentence);
  };
  set("Protocol=IXO", "Protocol must be TAP or UCP, not \"IXO\"");
  set("Protocol=tap", "Protocol must be TAP or UCP");
  set("MaxLength=many", "MaxLength must be a number");
  set("MaxLength=0", "MaxLength must be a number from 1");
  set("MaxMessages=-1", "MaxMessages must be a number");
  set("MessageType=4", "MessageType must be 2 (numeric) or 3 (alphanumeric), not \"4\"");
  set("TimeOut=soon", "TimeOut must be a number");
  set("TimeOut=0", "TimeOut must be a number from 1 to");
  for (const char* number : {"abc", "call me", ":5000", "centre:", "centre:70000", "a b:1", "+"}) {
    set(std::string("PhoneNumber=") + number, "PhoneNumber must be a number as a modem dials it");
  }
  set("UCPCommand=52", "UCPCommand must be 01 or 51");
  set("UCPCommand=30", "UCPCommand must be 01 or 51");
  for (const char* rate :
       {"quick", "", "0", "28800", "1000000", "99999999999", "+9600", "9600.0"}) {
    set(std::string("BaudRate=") + rate, "BaudRate must be Auto, ISDN or a rate of serial ports");
  }
  set("ModemSetting=8,N,1", "ModemSetting must be three characters");
  set("ModemSetting=8n1", "ModemSetting must be three characters");
  set("ModemName=Nowhere", "there is no modem \"Nowhere\"");
  set("PhoneNumber=1\r2", "PhoneNumber must be one line of text");
  set("Colour=red", "there is no setting \"Colour\"");
  set("Protocol", "\"Protocol\" is not of the form KEY=VALUE");
  Refuse({"service", "set", "Pager"}, "nothing to set");
  Refuse({"service", "add", "a\\b"}, "cannot be the name of a service");
  Refuse({"service", "add", ""}, "name the service, or an entry of the catalogue");
  Refuse({"service", "add", std::string(255, 'x')}, "cannot be the name of a service");
}

TEST_F(ServiceCommand, APasswordThatIsRefusedIsNotRepeated) {
  AddService("Pager");
  const Outcome outcome = Run({"service", "set", "Pager", "--set", "Password=secret\xD1\x84"});
  EXPECT_EQ(outcome.exit_code, kExitUsage);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("Password must be a text in Windows-1252"),
                                 Not(HasSubstr("secret"))));
}

TEST_F(ServiceCommand, OneWrongValueStoresNoneOfThem) {
  AddService("Pager");
  Refuse({"service", "set", "Pager", "MaxLength=80", "Protocol=IXO"}, "Protocol");
  EXPECT_EQ(Do({"service", "get", "Pager", "MaxLength"}), "160\n");
}

TEST_F(ServiceCommand, AnUnknownServiceIsNamedByEveryCommand) {
  Refuse({"service", "show", "Nowhere"}, "there is no service \"Nowhere\"");
  Refuse({"service", "get", "Nowhere", "Protocol"}, "there is no service \"Nowhere\"");
  Refuse({"service", "set", "Nowhere", "Protocol=TAP"}, "there is no service \"Nowhere\"");
  Refuse({"service", "delete", "Nowhere"}, "there is no service \"Nowhere\"");
}

TEST_F(ServiceCommand, TheCatalogueIsListedByGroup) {
  WriteCatalogue();
  const Json all = Ask({"service", "catalogue"});
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0]["name"], "Alpha");
  EXPECT_EQ(all[0]["prefixes"], "0171;0172");
  const Json group = Ask({"service", "catalogue", "--group", "\u00D6sterreich"});
  ASSERT_EQ(group.size(), 1U);
  EXPECT_EQ(group[0]["id"], "2");
  EXPECT_THAT(Do({"service", "catalogue"}), HasSubstr("Alpha"));
}

TEST_F(ServiceCommand, AServiceFromTheCatalogueBringsItsRoutes) {
  WriteCatalogue();
  AddService("Old");
  Do({"route", "add", "0172", "Old"});
  Do({"service", "add", "--from-catalogue", "1"});
  const Json service = Ask({"service", "show", "Alpha"});
  EXPECT_EQ(service["PhoneNumber"], "0111");
  EXPECT_EQ(service["ModemSetting"], "7E1");
  EXPECT_EQ(service["ModemName"], "");
  EXPECT_EQ(Ask({"route", "test", "01729"})["service"], "Alpha");
}

TEST_F(ServiceCommand, AServiceFromTheCatalogueMayHaveAnotherNameAndOtherValues) {
  WriteCatalogue();
  Do({"service", "add", "Mine", "--from-catalogue", "2", "--set", "TimeOut=9000"});
  const Json service = Ask({"service", "show", "Mine"});
  EXPECT_EQ(service["Protocol"], "UCP");
  EXPECT_EQ(service["TimeOut"], "9000");
}

TEST_F(ServiceCommand, WhatTheCatalogueCannotGiveIsNamed) {
  Refuse({"service", "catalogue"}, "there is no catalogue: " + Path("smstransports.inf"));
  Refuse({"service", "add", "--from-catalogue", "1"}, "there is no catalogue");
  Refuse({"service", "add"}, "name the service, or an entry of the catalogue");
  WriteCatalogue("1,Broken,x,TAP,,,1,many,1,,,,,,,,");
  Refuse({"service", "add", "--from-catalogue", "9"}, "the catalogue has no entry \"9\"");
  Refuse({"service", "add", "--from-catalogue", "1"}, "MaxLength");
}

TEST_F(ServiceCommand, AUcpServiceWithoutItsOperationIsWarnedOf) {
  DoWithWarning({"service", "add", "Sms", "Protocol=UCP"}, "needs UCPCommand=51");
  Do({"service", "add", "Sms2", "Protocol=UCP", "UCPCommand=51", "PhoneNumber=1"});
}

TEST_F(ServiceCommand, WhateverAModemDialsIsANumber) {
  AddService("Pager");
  for (const char* number : {"0123456789", "0,0123-456", "+49 (171) 123/456", "T0W123#", "",
                             "localhost:5000", "[::1]:2000", "10.0.0.1:65535"}) {
    Do({"service", "set", "Pager", std::string("PhoneNumber=") + number});
  }
}

TEST_F(ServiceCommand, ANumberThatIsHardlyMeantIsWarnedOfAndStored) {
  AddService("Pager");
  DoWithWarning({"service", "set", "Pager", "TimeOut=3"}, "TimeOut=3 (milliseconds to wait");
  DoWithWarning({"service", "set", "Pager", "MaxLength=100000"}, "is more than 1000");
  DoWithWarning({"config", "set", "Retries", "4000000"}, "Retries=4000000");
  EXPECT_EQ(Do({"service", "get", "Pager", "TimeOut"}), "3\n");
}

TEST_F(ServiceCommand, OneWithoutANumberToDialIsWarnedOf) {
  DoWithWarning({"service", "add", "Pager"}, "a service needs a PhoneNumber");
}

TEST_F(ServiceCommand, UmlautsMakeTheRoundTripAndNamesThatWouldLoseCharactersAreRefused) {
  AddService("Müller & Söhne €");
  EXPECT_EQ(Ask({"service", "list"})[0]["name"], "Müller & Söhne €");
  EXPECT_EQ(Do({"service", "get", "MÜLLER & SÖHNE €", "MaxLength"}), "160\n");
  Refuse({"service", "add", "日本"}, "the name \"日本\" has characters outside Windows-1252");
  Refuse({"modem", "add", "日本", "--kind", "tcp"}, "cannot be the name of a modem");
}

// --- route

TEST_F(RouteCommand, AddedRouteIsListedAndShown) {
  AddService("Pager");
  Do({"route", "add", "0049171", "Pager"});
  EXPECT_EQ(Do({"route", "show", "0049171"}), "Pager\n");
  EXPECT_THAT(Do({"route", "list"}), AllOf(HasSubstr("0049171"), HasSubstr("Pager")));
}

TEST_F(RouteCommand, SetAndDeleteChangeAnExistingRoute) {
  AddService("Pager");
  AddService("City");
  Do({"route", "add", "0049", "Pager"});
  Do({"route", "set", "0049", "City"});
  EXPECT_EQ(Do({"route", "show", "0049"}), "City\n");
  Do({"route", "delete", "0049"});
  EXPECT_EQ(Ask({"route", "list"}), Json::array());
}

TEST_F(RouteCommand, AddingAgainIsRefusedUnlessItReplaces) {
  AddService("Pager");
  AddService("City");
  Do({"route", "add", "0049", "Pager", "--or-replace"});
  Do({"route", "add", "0049", "City", "--or-replace"});
  EXPECT_EQ(Do({"route", "show", "0049"}), "City\n");
  Refuse({"route", "add", "0049", "Pager"}, "--or-replace");
}

TEST_F(RouteCommand, ARouteMayHaveAServiceForEveryOtherTry) {
  for (const char* service : {"Pager", "City", "Area"}) AddService(service);
  Do({"route", "add", "0049", "Pager", "--then", "City"});
  EXPECT_EQ(Ask({"route", "list"})[0]["then"], "City");
  EXPECT_EQ(Do({"route", "list"}), "PREFIX  SERVICE  THEN\n0049    Pager    City\n");
  Do({"route", "set", "0049", "Area"});
  EXPECT_EQ(Ask({"route", "show", "0049"})["then"], "City") << "it is left as it is";
  Do({"service", "rename", "City", "Town"});
  EXPECT_EQ(Ask({"route", "show", "0049"})["then"], "Town");
  Do({"route", "set", "0049", "Area", "--then", ""});
  EXPECT_EQ(Do({"route", "list"}), "PREFIX  SERVICE  THEN\n0049    Area     -\n");
  Refuse({"route", "set", "0049", "Area", "--then", "area"},
         "--then must name another service than \"Area\"");
  Refuse({"route", "set", "0049", "Area", "--then", "Nowhere"}, "there is no service \"Nowhere\"");
}

TEST_F(RouteCommand, TestShowsTheNumberAndTheLongestPrefix) {
  AddService("Pager");
  AddService("City");
  Do({"config", "set", "ReplacePlus", "1"});
  Do({"route", "add", "0049", "Pager"});
  Do({"route", "add", "004917", "City"});
  EXPECT_EQ(Do({"route", "test", "+49 (171) 123-456"}), "0049171123456: City\n");
  EXPECT_EQ(Ask({"route", "test", "0049301234"}),
            Json::parse(R"({"number": "0049301234", "service": "Pager", "routed": true})"));
}

TEST_F(RouteCommand, TestFallsBackToTheDefaultService) {
  EXPECT_EQ(Do({"route", "test", "0171"}), "0171: no service (no route; the default service)\n");
  AddService("Pager");
  EXPECT_EQ(Do({"route", "test", "0171"}), "0171: Pager (no route; the default service)\n");
}

TEST_F(RouteCommand, TestNamesAServiceThatIsGone) {
  AddService("Pager");
  Do({"config", "set", "DefaultService", "Pager"});
  Run({"service", "delete", "Pager"});
  Refuse({"route", "test", "0171"}, "service \"Pager\", which does not exist", kExitFailed);
}

TEST_F(RouteCommand, WrongArgumentsAreRefused) {
  AddService("Pager");
  Do({"route", "add", "0049", "Pager"});
  Do({"config", "set", "ReplacePlus", "0"});
  Refuse({"route", "add", "+49", "Pager"}, "the prefix \"+49\" must be digits");
  Refuse({"route", "add", "", "Pager"}, "cannot be the name of a route");
  Refuse({"route", "add", "0049", "Pager"}, "there is a route \"0049\" already");
  Refuse({"route", "add", "0043", "Nowhere"}, "there is no service \"Nowhere\"");
  Refuse({"route", "set", "0049", "Nowhere"}, "there is no service \"Nowhere\"");
  Refuse({"route", "set", "0043", "Pager"}, "there is no route \"0043\"");
  Refuse({"route", "show", "0043"}, "there is no route \"0043\"");
  Refuse({"route", "delete", "0043"}, "there is no route \"0043\"");
  Refuse({"route", "test", "call me"}, "invalid characters");
  Refuse({"route", "test", "+49171"}, "a \"+\" needs ReplacePlus");
  Refuse({"route", "test", " "}, "the number is empty");
}

// --- profile

class ProfileCommand : public CommandTest {};

TEST_F(ProfileCommand, ListCountsWhatEachHas) {
  AddService("Pager");
  Do({"route", "add", "0171", "Pager"});
  Do({"config", "set", "Retries", "1", "--profile", "Alarms"});
  EXPECT_EQ(Ask({"profile", "list"}), Json::parse(R"([
      {"name": "Alarms", "services": 0, "routes": 0, "default_service": ""},
      {"name": "Standard", "services": 1, "routes": 1, "default_service": "Pager"}])"));
  EXPECT_THAT(Do({"profile", "list"}), AllOf(HasSubstr("DEFAULT SERVICE"), HasSubstr("Alarms")));
}

TEST_F(ProfileCommand, ACopyHasEverythingAndLivesAlone) {
  Do({"service", "add", "Pager", "PhoneNumber=1", "Password=Geheim7"});
  Do({"route", "add", "0171", "Pager"});
  Do({"profile", "copy", "Standard", "Alarms"});
  const std::vector<std::string> ask{"service", "show", "Pager", "--show-passwords"};
  auto of_copy = ask;
  of_copy.insert(of_copy.end(), {"--profile", "Alarms"});
  EXPECT_EQ(Do(of_copy), Do(ask));
  EXPECT_EQ(Do({"route", "show", "0171", "--profile", "Alarms"}), "Pager\n");
  Do({"service", "set", "Pager", "PhoneNumber=2", "--profile", "Alarms"});
  EXPECT_EQ(Do({"service", "get", "Pager", "PhoneNumber"}), "1\n");
}

TEST_F(ProfileCommand, ADeletedOneIsGoneWithAllBelowIt) {
  AddService("Pager");
  Do({"profile", "copy", "Standard", "Alarms"});
  const std::string before = Do({"service", "list"});
  Do({"profile", "delete", "Alarms"});
  EXPECT_EQ(Ask({"profile", "list"}).size(), 1U);
  EXPECT_EQ(Do({"service", "list"}), before);
}

TEST_F(ProfileCommand, WrongNamesAreRefused) {
  AddService("Pager");
  Do({"profile", "copy", "Standard", "Alarms"});
  Refuse({"profile", "copy", "Standard", "ALARMS"}, "there is a profile \"ALARMS\" already");
  Refuse({"profile", "copy", "Alarm", "New"}, "did you mean \"Alarms\"?");
  Refuse({"profile", "delete", "Alarm"}, "there is no profile \"Alarm\"");
  Refuse({"profile", "copy", "Standard", "a\\b"}, "cannot be the name of a profile");
}

}  // namespace
}  // namespace mvsms::cli
