// The command line as a whole: help, usage errors, and texts that look like something else.
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <streambuf>

#include "cli/commands.h"
#include "cli/send_run.h"
#include "dispatch/outcome.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class CommandLine : public CommandTest {};
class SendCommand : public CommandTest {};
class LogCommand : public CommandTest {
 protected:
  void Write(const std::string& name, const std::string& text) {
    std::ofstream(Path(name), std::ios::binary | std::ios::app) << text;
  }
};

TEST_F(CommandLine, WithoutACommandItIsWrongUsage) {
  Refuse({}, "A subcommand is required");
  Refuse({"modem"}, "A subcommand is required");
}

TEST_F(CommandLine, AnUnknownCommandOrOptionIsNamed) {
  Refuse({"fax"}, "there is no command \"mvsms fax\"");
  Refuse({"modem", "sell", "Modem1"}, "there is no command \"mvsms modem sell\"");
  Refuse({"modem", "list", "--colour"}, "--colour");
  Refuse({"modem", "list", "more"}, "more");
}

TEST_F(CommandLine, UsageErrorsPointToTheHelpOfTheirCommand) {
  Refuse({"send", "text"}, "Try 'mvsms send --help'");
  Refuse({"modem", "add"}, "Try 'mvsms modem add --help'");
}

// An output that refuses every byte, and says so by an exception.
class BrokenOutput : public std::streambuf {
  int_type overflow(int_type) override { throw std::runtime_error("the output broke"); }
};

TEST_F(CommandLine, WhateverIsThrownWhileItIsBuiltOrReadIsOneSentence) {
  BrokenOutput broken;
  std::istringstream in;
  for (const std::vector<std::string>& line :
       std::vector<std::vector<std::string>>{{"--help"}, {"--version"}, {"config", "list"}}) {
    std::ostream out(&broken);
    out.exceptions(std::ios::badbit);
    std::ostringstream err;
    Context context(home_.string(), in, out, err);
    EXPECT_EQ(RunCommandLine(line, context), kExitFailed);
    EXPECT_EQ(err.str(), "mvsms: the output broke\n");
  }
}

TEST_F(CommandLine, EveryHelpHasAnExample) {
  for (const std::vector<std::string>& line :
       std::vector<std::vector<std::string>>{{"send"},
                                             {"log"},
                                             {"demo"},
                                             {"modem", "add"},
                                             {"modem", "list"},
                                             {"modem", "test"},
                                             {"config", "set"},
                                             {"service", "add"},
                                             {"service", "delete"},
                                             {"route", "test"},
                                             {"registry", "export"},
                                             {"registry", "import"},
                                             {"profile", "copy"},
                                             {"service", "rename"},
                                             {"modem", "rename"},
                                             {"config", "unset"},
                                             {"apply"},
                                             {"setup"}}) {
    auto help = line;
    help.push_back("--help");
    std::string command = "  mvsms";
    for (const std::string& word : line) command += " " + word;
    EXPECT_THAT(Do(help), AllOf(HasSubstr("Examples:"), HasSubstr(command), HasSubstr("--profile"),
                                HasSubstr("--json")));
  }
}

TEST_F(CommandLine, HelpNamesTheExitCodesAndTheFolder) {
  for (const char* code : {"0 accepted", "1 refused", "65", "75", "76", "78"}) {
    EXPECT_THAT(Do({"--help"}), HasSubstr(code));
    EXPECT_THAT(Do({"send", "--help"}), HasSubstr(code));
  }
  EXPECT_THAT(Do({"--help"}), HasSubstr("MVSMS_HOME"));
}

TEST_F(CommandLine, TheVersionNamesTheCommitWhereThereIsOne) {
  EXPECT_THAT(Do({"--version"}),
              MatchesRegex("mvsms [0-9]+\\.[0-9]+\\.[0-9]+( \\([0-9a-f]+\\))?\n"));
}

// Names come from catalogues, imports and other people's command lines. Some terminals obey U+0090
// as they obey ESC P.
class NamesThatSteer : public CommandTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void DoAll(const std::vector<std::vector<std::string>>& lines) {
    for (const std::vector<std::string>& line : lines) {
      const Outcome outcome = Run(line);
      EXPECT_THAT(outcome.out + outcome.err, Not(AnyOf(HasSubstr("\xC2\x90"), HasSubstr("\x1B"))))
          << testing::PrintToString(line);
    }
  }
  const std::string name_ = GetParam();
};

TEST_P(NamesThatSteer, AreShownWithoutDoingSo) {
  DoAll({{"modem", "add", name_, "--kind", "tcp"},
         {"modem", "add", "Other", "--kind", name_},
         {"modem", "show", name_},
         {"modem", "list"},
         {"modem", "test", name_},
         {"service", "add", name_, "Protocol=TAP", "PhoneNumber=1"},
         {"service", "add", name_, "Protocol=TAP", "PhoneNumber=1"},
         {"service", "add", "Other", name_ + "=1"},
         {"service", "show", name_},
         {"service", "list"},
         {"route", "add", "0171", name_},
         {"route", "add", "0171", name_},
         {"route", "test", "0171"},
         {"route", "list"},
         {"profile", "copy", "Standard", name_},
         {"profile", "copy", "Standard", name_},
         {"profile", "list"},
         {"config", "get", name_},
         {"config", "list"},
         {"send", "--to", "1", "--service", name_ + "2", "text"},
         {"send", "--to", "1", "--profile", name_ + "2", "text"},
         {"send", "--to", "1", "--dry-run", name_},
         {"send", "--to", "1", name_},
         {"apply", Path(name_)},
         {"log", "--file", Path(name_)},
         {name_}});
}
INSTANTIATE_TEST_SUITE_P(OfAnyKind, NamesThatSteer, testing::Values("a\xC2\x90", "a\x1B[2J"));

TEST_F(CommandLine, ABrokenSettingsFileIsAFailureThatNamesIt) {
  std::ofstream(Path("settings.db")) << std::string(4096, 'x');
  for (const std::vector<std::string>& line : {std::vector<std::string>{"config", "list"},
                                               {"service", "list"},
                                               {"route", "list"},
                                               {"send", "--to", "1", "text"},
                                               {"config", "set", "Retries", "1"},
                                               {"registry", "export"}}) {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.exit_code, line[0] == "send" ? kExitSettings : kExitFailed);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("settings.db"));
  }
}

// --- send

TEST_F(SendCommand, WithoutSettingsItSaysSoAndFails) {
  const Outcome outcome = Run({"send", "--to", "0171", "text"});
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  EXPECT_THAT(outcome.err,
              HasSubstr("set both: the profile \"Standard\" in " + home_.string() +
                        " has no DefaultModem and no DefaultService; nothing is set up there"));
  EXPECT_THAT(outcome.out, HasSubstr("End sending message. Result:  Failed"));
}

TEST_F(SendCommand, QuietPrintsNothingButWhy) {
  const Outcome outcome = Run({"send", "--quiet", "--to", "0171", "text"});
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err,
              AllOf(StartsWith("mvsms: the settings have no default modem or no default service"),
                    HasSubstr("set both")));
}

TEST_F(SendCommand, AnUnknownProfileIsWrongUsageThatNamesThePlace) {
  Refuse({"send", "--profile", "Alarm", "--to", "0171", "text"},
         "there is no profile \"Alarm\" in " + home_.string());
}

TEST_F(SendCommand, AWaitIsANumberOfSeconds) {
  for (const char* wait : {"0", "-1", "soon", "86401"}) {
    Refuse({"send", "--wait", wait, "--to", "0171", "text"}, "--wait");
  }
}

TEST_F(SendCommand, SettingsThatCannotBeReadAreAnObjectToo) {
  std::ofstream(Path("settings.db")) << "no database";
  const Outcome outcome = Run({"send", "--json", "--to", "0171", "text"});
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  EXPECT_EQ(Json::parse(outcome.out)["outcome"], "unusable");
  EXPECT_EQ(Json::parse(outcome.out)["id"], Json::parse(Do({"journal", "--json"}))["id"]);
}

TEST_F(SendCommand, ANewProfileThatLooksLikeASlipIsTold) {
  Do({"config", "set", "Retries", "1"});
  DoWithWarning({"config", "set", "Retries", "1", "--profile", "Standart"},
                "a new profile \"Standart\" begins (did you mean \"Standard\"?)");
}

TEST_F(SendCommand, AMistypedProfileIsToldWithTheOnesThereAre) {
  Run({"config", "set", "Retries", "1", "--profile", "Alarms"});
  Run({"config", "set", "Retries", "1"});
  const std::string sentence = "there is no profile \"Alarm\" in " + home_.string() +
                               " (did you mean \"Alarms\"?); "
                               "profiles there: \"Alarms\" \"Standard\"";
  for (const std::vector<std::string>& line :
       std::vector<std::vector<std::string>>{{"send", "--to", "0171", "text"},
                                             {"config", "list"},
                                             {"config", "get", "Retries"},
                                             {"service", "list"},
                                             {"route", "list"}}) {
    auto with_profile = line;
    with_profile.insert(with_profile.begin(), {"--profile", "Alarm"});
    Refuse(with_profile, sentence);
  }
  EXPECT_THAT(Run({"send", "--to", "0171", "text"}).err,
              HasSubstr("profiles there: \"Alarms\" \"Standard\""));
}

TEST_F(SendCommand, ATextWhereANumberBelongsIsToldAsTheReason) {
  Do({"registry", "import", "-"}, R"({"format": "mvsms registry", "version": 1, "tree":
      {"keys": {"Standard": {"values": {"ShowStatus": "abc"}}}}})");
  EXPECT_THAT(Run({"send", "--to", "0171", "text"}).err,
              HasSubstr("ShowStatus holds the text \"abc\" where a number belongs"));
}

TEST_F(SendCommand, ATimeoutIsANumberOfSeconds) {
  for (const char* timeout : {"0", "-1", "soon", "86401"}) {
    Refuse({"send", "--timeout", timeout, "--to", "0171", "text"}, "--timeout");
  }
}

TEST_F(SendCommand, EverySendHasAnIdOfItsOwn) {
  const auto id = [this] {
    return Json::parse(Run({"send", "--json", "--to", "0171", "text"}).out)["id"];
  };
  EXPECT_EQ(id().get<std::string>().size(), 32U);
  EXPECT_NE(id(), id());
}

TEST_F(SendCommand, JsonIsOneObjectWithEverything) {
  const Outcome outcome = Run({"send", "--json", "--to", "0171", "text"});
  const Json json = Json::parse(outcome.out);
  EXPECT_EQ(json["result"], false);
  EXPECT_EQ(json["retry_suggested"], false);
  EXPECT_EQ(json["aborted"], false);
  EXPECT_EQ(json["outcome"], "unusable");
  EXPECT_EQ(json["exit_code"], outcome.exit_code);
  EXPECT_EQ(json["reason"], "the settings have no default modem or no default service");
  EXPECT_THAT(json["advice"].get<std::string>(), StartsWith("set both"));
  EXPECT_EQ(json["pieces"], (Json{{"all", 0}, {"accepted", 0}}));
  EXPECT_EQ(json["started"].get<std::string>().size(), 19U);
  for (const char* name : {"service", "modem", "dialled", "answer"}) EXPECT_EQ(json[name], "");
  EXPECT_EQ(json["recipient"], "0171");
  EXPECT_EQ(json["errors"][0]["number"], 5);
  EXPECT_EQ(json["errors"][0]["module"], "Sender.SendMessage");
  EXPECT_EQ(json["status"][1], "5: Unable to load settings. SMS must be configured first!");
}

TEST_F(SendCommand, AnUnknownServiceIsWrongUsage) {
  Refuse({"send", "--to", "0171", "--service", "Nowhere", "text"},
         "there is no service \"Nowhere\"");
  Refuse({"send", "--to", "0171"}, "TEXT is required");
}

TEST_F(SendCommand, ASenderWithTheDividerOfFieldsIsWrongUsage) {
  Refuse({"send", "--to", "0171", "--from", "a/b", "text"}, "--from must not contain \"/\"");
}

TEST_F(SendCommand, ALogThatCannotBeWrittenIsWarnedOf) {
  const Outcome outcome = Run({"send", "--to", "0171", "--log", Path("none/my.log"), "text"});
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot write the log"), HasSubstr("none/my.log")));
  EXPECT_THAT(outcome.err, HasSubstr("the settings have no default"));
}

TEST_F(SendCommand, TheLogOfTheProfileBeginsWithTheRecipient) {
  Do({"config", "set", "WriteLogfile", "1"});
  Run({"send", "--to", "0171", "text"});
  EXPECT_THAT(Do({"log"}), HasSubstr("Begin send message to 0171\n"));
}

TEST_F(SendCommand, WithoutAskingThereIsNoLog) {
  Run({"send", "--to", "0171", "text"});
  EXPECT_FALSE(std::filesystem::exists(Path("SMSLog.txt")));
}

TEST_F(SendCommand, TheLogOfTheProfileThatCannotBeWrittenIsWarnedOf) {
  Do({"config", "set", "WriteLogfile", "1"});
  std::filesystem::create_directory(Path("SMSLog.txt"));
  EXPECT_THAT(Run({"send", "--to", "0171", "text"}).err,
              HasSubstr("cannot write the log " + Path("SMSLog.txt")));
}

TEST_F(SendCommand, ASettingMakesFittingTheDefault) {
  AddModem("Modem");
  AddService("Pager");
  Do({"config", "set", "DefaultModem", "Modem"});
  Do({"config", "set", "DefaultService", "Pager"});
  const std::vector<std::string> plain = {"send", "--dry-run", "--json", "--to", "0171", "è"};
  EXPECT_EQ(Run(plain).exit_code, kExitMessage);
  Do({"config", "set", "Fit", "1"});
  EXPECT_EQ(Run(plain).exit_code, kExitAccepted);
  EXPECT_EQ(Run({"send", "--no-fit", "--dry-run", "--json", "--to", "0171", "è"}).exit_code,
            kExitMessage);
}

TEST_F(SendCommand, WhatTheSettingsLackIsNamedAfterAFailure) {
  Do({"modem", "add", "Net", "--kind", "tcp"});
  AddService("Pager");
  Do({"config", "set", "ReplacePlus", "0"});
  const auto complaint = [this](const std::string& to) {
    return Run({"send", "--to", to, "text"}).err;
  };
  EXPECT_THAT(complaint("+49171"), HasSubstr("a \"+\" needs ReplacePlus"));
  Run({"modem", "delete", "Net"});
  EXPECT_THAT(complaint("0171"), HasSubstr("there is no modem \"Net\""));
  Run({"service", "delete", "Pager"});
  EXPECT_THAT(complaint("0171"), HasSubstr("there is no service \"Pager\""));
}

// The error tells how long the message is, so it shows what arrived of the text.
class MessageText : public CommandTest {
 protected:
  MessageText() {
    Do({"modem", "add", "Net", "--kind", "tcp"});
    Do({"service", "add", "Short", "MaxLength=1", "PhoneNumber=localhost:1"});
    Do({"config", "set", "DefaultModem", "Net"});
    Do({"config", "set", "DefaultService", "Short"});
  }
  void ExpectLength(std::size_t length, std::vector<std::string> arguments,
                    const std::string& input = "") {
    SCOPED_TRACE(arguments.back());
    arguments.insert(arguments.begin(), {"send", "--quiet", "--to", "0171"});
    EXPECT_THAT(Run(arguments, input).err,
                HasSubstr("Message is too long (" + std::to_string(length) + ")"));
  }
};

TEST_F(MessageText, MayLookLikeACommandOrAList) {
  for (const char* text : {"log", "list", "send", "modem", "[a,b]", "\"quoted\"", "{}", "a=b"}) {
    ExpectLength(std::string(text).size(), {text});
  }
  ExpectLength(10, {"--", "-5 degrees"});
  ExpectLength(6, {"--", "--json"});
}

TEST_F(MessageText, IsTheLastArgumentWhateverItHolds) {
  ExpectLength(9, {"-1 degree"});
  ExpectLength(12, {"--5 degrees!"});
  ExpectLength(2, {"++"});
  ExpectLength(2, {"--", "--"});
  ExpectLength(2, {"--", "-h"});
  ExpectLength(6, {"--", "--help"});
  ExpectLength(9, {"--version"});
  ExpectLength(5, {"/help"});
}

TEST_F(MessageText, IsNeverTakenForAnOptionWithoutAWord) {
  for (const char* text : {"-h", "--help", "--json", "--", "-q", "-hot", "--to=me", "--from"}) {
    Refuse({"send", "--to", "0171", text}, "--");
    Refuse({"send", "--to=0171", text}, "--");
  }
  Refuse({"send", "--to", "0171", "text", "-h"}, "write -- before a text");
  Refuse({"send", "--help", "--to", "0171"}, "write -- before a text");
  Refuse({"send", "--to", "0171", "-h", "--", "text"}, "write -- before a text");
  Refuse({"send", "--to", "0171", "text", "--"}, "write -- before a text");
  Refuse({"send", "-1 degree", "--to", "0171"}, "write -- before a text");
  Refuse({"send", "--to", "0171", "a", "-1 degree"}, "write -- before a text");
  Refuse({"--profile", "X", "send", "--to", "0171", "--help"}, "write -- before a text");
}

TEST_F(MessageText, LeavesTheHelpToWhoAsksForIt) {
  EXPECT_THAT(Do({"send", "-h"}), HasSubstr("Examples:"));
  EXPECT_THAT(Do({"--json", "send", "--json", "--help"}), HasSubstr("Examples:"));
}

TEST_F(MessageText, IsCountedInCharactersOfTheCodePage) {
  ExpectLength(5, {"Größe"});
  ExpectLength(2, {"日本"});
  ExpectLength(2, {"\xFFz"});
}

TEST_F(MessageText, ThatLosesCharactersIsWarnedOf) {
  const std::string sentence = "characters outside Windows-1252; each is sent as \"?\"";
  EXPECT_THAT(Run({"send", "--to", "0171", "日本"}).err, HasSubstr(sentence));
  EXPECT_THAT(Run({"send", "--to", "0171", "Größe €"}).err, Not(HasSubstr(sentence)));
}

// As older programs and terminals write it.
TEST_F(MessageText, ThatIsNotUtf8IsTakenAsWindows1252WithAWord) {
  ExpectLength(7, {"St\xF6rung"});
  ExpectLength(8, {"-"}, "St\xF6rung\x80\n");
  const std::string sentence = "is not UTF-8; it is taken as Windows-1252";
  EXPECT_THAT(Run({"send", "--to", "0171", "St\xF6rung"}).err,
              AllOf(HasSubstr("mvsms: TEXT " + sentence), Not(HasSubstr("sent as"))));
  EXPECT_THAT(Run({"send", "--to", "0171", "-"}, "St\xF6rung").err,
              HasSubstr("mvsms: the text " + sentence));
  EXPECT_THAT(Run({"send", "--to", "0171", "Störung \xEF\xBF\xBD"}).err, Not(HasSubstr(sentence)));
}

TEST_F(MessageText, ComesFromStandardInputWithoutItsLastLineEnd) {
  ExpectLength(8, {"-"}, "from far\n");
  ExpectLength(4, {"-"}, "a\r\nb\r\n");
}

TEST_F(MessageText, EmptyIsRefusedBeforeAnythingIsDialled) {
  for (const char* text : {"  ", "", "-"}) {
    const Outcome outcome = Run({"send", "--to", "0171", text}, "\n");
    EXPECT_EQ(outcome.exit_code, kExitMessage);
    EXPECT_EQ(outcome.err, "mvsms: the message is empty; give a text\n");
  }
}

TEST_F(MessageText, ANumberThatIsNoneIsNamed) {
  const Outcome outcome = Run({"send", "--to", "Karl", "x"});
  EXPECT_EQ(outcome.exit_code, kExitMessage);
  EXPECT_THAT(outcome.err, HasSubstr("The recipient address contains invalid characters: Karl"));
}

// --- several recipients

class SeveralRecipients : public MessageText {};

TEST_F(SeveralRecipients, EachHasASendOfItsOwnWithItsOwnOutcome) {
  const Outcome outcome = Run({"send", "--quiet", "--to", "0171", "--to", "Karl", "ab"});
  EXPECT_EQ(outcome.exit_code, kExitMessage);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("mvsms: to 0171: "), HasSubstr("too long"),
                                 HasSubstr("mvsms: to Karl: "), HasSubstr("invalid characters")));
}

TEST_F(SeveralRecipients, TheWorstOutcomeIsTheExitCode) {
  const auto code = [this](const std::vector<std::string>& recipients) {
    std::vector<std::string> line{"send", "--quiet"};
    for (const std::string& recipient : recipients) line.insert(line.end(), {"--to", recipient});
    line.push_back("a");
    return Run(line).exit_code;
  };
  EXPECT_EQ(code({"0171", "0172"}), kExitRetry);  // nothing listens there
  EXPECT_EQ(code({"0171", "Karl", "0172"}), kExitMessage);
  EXPECT_EQ(code({"Karl", "0171"}), kExitMessage);
}

TEST_F(SeveralRecipients, JsonIsOneLineForEachAndStaysOneObjectForOne) {
  const Outcome both = Run({"send", "--json", "--to", "0171", "--to", "0172", "ab"});
  std::istringstream lines(both.out);
  std::string line;
  std::vector<std::string> recipients;
  while (std::getline(lines, line)) recipients.push_back(Json::parse(line)["recipient"]);
  EXPECT_EQ(recipients, (std::vector<std::string>{"0171", "0172"}));
  EXPECT_THAT(Run({"send", "--json", "--to", "0171", "ab"}).out, StartsWith("{\n"));
}

TEST_F(SeveralRecipients, AfterASignalTheOthersAreGivenUpWithTheirOwnEnds) {
  std::istringstream in;
  std::ostringstream out, err;
  Context context(home_.string(), in, out, err);
  context.json = true;
  int signal = SIGINT;
  SendOptions options;
  options.to = "0172";
  options.text = "a";
  options.signal = &signal;
  EXPECT_EQ(SendOnce(context, options), 128 + SIGINT);
  EXPECT_EQ(Json::parse(out.str())["outcome"], "unreachable");
  EXPECT_EQ(Json::parse(Do({"journal", "--json"}))["exit_code"], 128 + SIGINT);
}

TEST_F(SeveralRecipients, EachIsShownByADryRun) {
  const std::string out = Run({"send", "--dry-run", "--to", "0171", "--to", "0172", "a"}).out;
  EXPECT_THAT(out, AllOf(HasSubstr("recipient  0171"), HasSubstr("recipient  0172")));
}

// --- log

TEST_F(LogCommand, WithoutALogItSaysHowToGetOne) {
  Refuse({"log"}, "config set WriteLogfile 1", kExitFailed);
  Refuse({"log", "--file", Path("none.log")}, "none.log", kExitFailed);
  Refuse({"log", "--file", home_.string()}, "cannot read the send log", kExitFailed);
}

TEST_F(LogCommand, PrintsTheLogInUtf8WithControlCharactersNamed) {
  Write("SMSLog.txt",
        "2026-01-02 03:04:05\tGr\xFC\xDF"
        "e\x06\r\n");
  EXPECT_EQ(Do({"log"}), "2026-01-02 03:04:05\tGrüße<ACK>\n");
}

// What a centre answers stands in the log as it came.
TEST_F(LogCommand, ACentreCannotSteerTheTerminalByLineEndsAndTabs) {
  Write("SMSLog.txt",
        "2026-01-02 03:04:05\tSystem message: \r\n\x1B[2JALL OK\t/01\x9D\r\n"
        "2026\x1B[1m:\tx\r\n");
  EXPECT_EQ(Do({"log"}),
            "2026-01-02 03:04:05\tSystem message: \n<ESC>[2JALL OK<TAB>/01<9D>\n"
            "2026<ESC>[1m:<TAB>x\n");
  const std::string json = Do({"log", "--json"});
  EXPECT_THAT(json, HasSubstr("{\"time\":\"\",\"text\":\"2026\\u001b[1m:\\tx\"}"));
  EXPECT_THAT(json, HasSubstr("/01\\u009d"));
}

TEST_F(LogCommand, WhereThePortsBufferLiesInMemoryIsNotShown) {
  Write("SMSLog.txt",
        "2026-01-02 03:04:05\tWriteFile: 94427729139281\r\n"
        "2026-01-02 03:04:05\tWriteFile: x1\r\n");
  EXPECT_EQ(Do({"log"}), "2026-01-02 03:04:05\tWriteFile\n2026-01-02 03:04:05\tWriteFile: x1\n");
}

TEST_F(LogCommand, APipeIsNoLog) {
  ASSERT_EQ(mkfifo(Path("SMSLog.txt").c_str(), 0600), 0);
  Refuse({"log"}, "cannot read the send log", kExitFailed);
}

TEST_F(LogCommand, JsonIsOneObjectALine) {
  Write("SMSLog.txt", "2026-01-02 03:04:05\tBegin\r\n\r\n2026-01-02 03:04:06\tEnd\r\n");
  EXPECT_EQ(Do({"log", "--json"}),
            "{\"time\":\"2026-01-02 03:04:05\",\"text\":\"Begin\"}\n"
            "{\"time\":\"\",\"text\":\"\"}\n"
            "{\"time\":\"2026-01-02 03:04:06\",\"text\":\"End\"}\n");
}

TEST_F(LogCommand, IsFoundInAFolderWhoseNameHasNoAnsiForm) {
  home_ /= "h\xC5\x91me";
  std::filesystem::create_directory(home_);
  Run({"config", "set", "WriteLogfile", "1"});
  Run({"send", "--to", "0171", "text"});
  EXPECT_THAT(Do({"log"}), HasSubstr("Result:  Failed"));
}

TEST_F(LogCommand, ALogThatTheSendCouldNotWriteIsRefused) {
  Refuse({"send", "--to", "0171", "--log", Path("\xC5\x91.log"), "text"}, "--log");
}

TEST_F(LogCommand, ASendWritesTheLogThatItIsGiven) {
  Run({"send", "--to", "0171", "--log", Path("my.log"), "text"});
  EXPECT_THAT(Do({"log", "--file", Path("my.log")}),
              AllOf(HasSubstr("\t5: Unable to load settings."), HasSubstr("Result:  Failed")));
}

}  // namespace
}  // namespace mvsms::cli
