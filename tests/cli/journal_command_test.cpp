// mvsms journal, and the rows that sends leave in it.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "backends/posix/store/journal.h"
#include "backends/posix/store/sqlite.h"
#include "cli/commands.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using dispatch::JournalRow;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class JournalCommand : public CommandTest {
 protected:
  void Put(const JournalRow& row) { posix::Journal(home_.string()).Put(row); }
  static JournalRow Accepted(const std::string& id) {
    JournalRow row;
    row.id = id;
    row.profile = "Standard";
    row.recipient = "0049171123";
    row.text = "Pump 3";
    row.service = "Pager";
    row.modem = "Modem";
    row.outcome = "accepted";
    row.reason = "the message centre has acknowledged the message";
    row.pieces = row.pieces_accepted = 1;
    row.duration = std::chrono::milliseconds(12345);
    return row;
  }
  static JournalRow Open(const std::string& id) {
    JournalRow row;
    row.id = id;
    row.recipient = "0171";
    row.text = "Pump 3";
    return row;
  }
  void Tamper(const char* sql) { posix::Connection(Path("journal.db")).Execute(sql); }
  std::vector<Json> Entries(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"journal", "--json"});
    std::istringstream lines(Do(arguments));
    std::vector<Json> entries;
    for (std::string line; std::getline(lines, line);) entries.push_back(Json::parse(line));
    return entries;
  }
};

// --- what sends leave

TEST_F(JournalCommand, ASendIsOneRowWithTheIdOfItsJson) {
  const Outcome outcome = Run({"send", "--json", "--to", "0171", "Größe 5"});
  ASSERT_THAT(Entries(), SizeIs(1));
  const Json entry = Entries()[0];
  const Json json = Json::parse(outcome.out);
  for (const char* name : {"id", "outcome", "reason", "exit_code", "recipient", "service"}) {
    EXPECT_EQ(entry[name], json[name]) << name;
  }
  EXPECT_EQ(entry["exit_code"], outcome.exit_code);
  EXPECT_EQ(entry["text"], "Größe 5");
  EXPECT_EQ(entry["text_sha256"], nullptr);
  EXPECT_EQ(entry["profile"], "Standard");
  EXPECT_NE(entry["ended"], nullptr);
}

TEST_F(JournalCommand, ARecipientWhoCannotBeSentToIsNamedAsGiven) {
  AddModem("Modem");
  AddService("Pager");
  Do({"config", "set", "DefaultModem", "Modem"});
  Do({"config", "set", "DefaultService", "Pager"});
  Run({"send", "--to", "Karl 5", "text"});
  EXPECT_EQ(Entries()[0]["recipient"], "Karl 5");
  EXPECT_EQ(Entries()[0]["outcome"], "unusable");
}

TEST_F(JournalCommand, ATextIsKeptAsFarAsTheSettingSays) {
  Do({"config", "set", "JournalText", "hash"});
  Run({"send", "--to", "0171", "Größe 5"});
  Do({"config", "set", "JournalText", "none"});
  Run({"send", "--to", "0171", "Größe 5"});
  const auto entries = Entries();
  EXPECT_EQ(entries[0]["text"], nullptr);
  // printf 'Größe 5' | sha256sum
  EXPECT_EQ(entries[0]["text_sha256"],
            "d0f0d44208b6217840aceca84e2df2cc78f428ca88a862a1c1c0549bd1cb5154");
  EXPECT_EQ(entries[1]["text"], nullptr);
  EXPECT_EQ(entries[1]["text_sha256"], nullptr);
  EXPECT_THAT(Do({"journal"}), Not(HasSubstr("Größe")));
}

TEST_F(JournalCommand, WrongUsageAndADryRunAreNoAttempts) {
  Run({"send", "--to", "0171", "--service", "None", "text"});
  Run({"send", "--to", "0171", "--timeout", "0", "text"});
  Run({"send", "--to", "0171", "--dry-run", "text"});
  EXPECT_FALSE(std::filesystem::exists(Path("journal.db")));
}

TEST_F(JournalCommand, SettingsThatCannotBeReadAreARowWithoutText) {
  std::ofstream(Path("settings.db")) << std::string(5000, 'x');
  EXPECT_EQ(Run({"send", "--to", "0171", "text"}).exit_code, kExitSettings);
  std::filesystem::remove(Path("settings.db"));
  const Json entry = Entries().at(0);
  EXPECT_EQ(entry["exit_code"], kExitSettings);
  EXPECT_EQ(entry["outcome"], "unusable");
  EXPECT_EQ(entry["text"], nullptr);
  EXPECT_THAT(entry["reason"].get<std::string>(), HasSubstr("settings.db cannot be used"));
}

TEST_F(JournalCommand, AJournalThatCannotBeWrittenIsToldOnceAndChangesNothing) {
  const int exit_code = Run({"send", "--to", "0171", "text"}).exit_code;
  std::ofstream(Path("journal.db"), std::ios::trunc) << std::string(5000, 'x');
  const Outcome outcome = Run({"send", "--quiet", "--to", "0171", "text"});
  EXPECT_EQ(outcome.exit_code, exit_code);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("The journal " + Path("journal.db") + " cannot be used"),
                                 HasSubstr("The message goes out all the same.")));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2) << outcome.err;
  Refuse({"journal"}, "file is not a database", kExitFailed);
}

TEST_F(JournalCommand, TheSystemsLogIsWrittenOnlyWhenAskedFor) {
  const std::string complaint = "the system's log took no line";
  EXPECT_THAT(Run({"send", "--to", "0171", "text"}).err, Not(HasSubstr(complaint)));
  Do({"config", "set", "Syslog", "1"});
  // Whether there is such a log depends on the machine; the exit code never does.
  EXPECT_EQ(Run({"send", "--to", "0171", "text"}).exit_code, kExitSettings);
}

// --- what is shown

TEST_F(JournalCommand, WithoutAJournalItSaysWhereItLooked) {
  Refuse({"journal"}, "there is no journal at " + Path("journal.db"), kExitFailed);
}

TEST_F(JournalCommand, ALineHasWhatAPersonAsksFor) {
  Put(Accepted("1"));
  EXPECT_THAT(Do({"journal"}),
              EndsWith("  accepted     0049171123  Pager  Modem  12.3 s  \"Pump 3\"\n"));
  JournalRow row = Accepted("2");
  row.outcome = "refused";
  row.reason = "no";
  row.text.clear();
  Put(row);
  EXPECT_THAT(Do({"journal"}), EndsWith("12.3 s  (text not kept)  no\n"));
}

TEST_F(JournalCommand, AnOpenEntrySaysSoAndKnowsNoMore) {
  Put(Open("1"));
  const Json entry = Entries().at(0);
  EXPECT_EQ(entry["outcome"], "open");
  for (const char* name : {"ended", "modem", "exit_code", "pieces", "seconds", "answer"}) {
    EXPECT_EQ(entry[name], nullptr) << name;
  }
  EXPECT_THAT(Do({"journal"}), EndsWith("  open         0171  \"Pump 3\"\n"));
}

TEST_F(JournalCommand, AnEntryWhoseSenderWasKilledIsUnknown) {
  Put(Open("1"));
  Tamper("UPDATE attempts SET process = '1 1'");
  EXPECT_THAT(Do({"journal", "--outcome", "unknown"}), HasSubstr("it may have gone out"));
  EXPECT_EQ(Entries().at(0)["exit_code"], nullptr);
}

TEST_F(JournalCommand, NothingInItSteersTheTerminal) {
  JournalRow row = Accepted("1");
  row.text = "\x1B[2J\x9D\n=1";
  row.answer = "\x1B[2J";
  row.recipient = "\x07";
  Put(row);
  const auto safe = [](unsigned char c) { return c >= ' ' || c == '\n' || c == '\r'; };
  for (const std::vector<std::string>& line : std::vector<std::vector<std::string>>{
           {"journal"}, {"journal", "--json"}, {"journal", "--csv"}}) {
    const std::string out = Do(line);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), safe)) << out;
    EXPECT_THAT(out, Not(HasSubstr("\xC2\x9D")));
  }
  EXPECT_EQ(Entries().at(0)["text"], "\x1B[2J\xC2\x9D\n=1");
}

TEST_F(JournalCommand, CsvQuotesAndKeepsSpreadsheetsFromCalculating) {
  JournalRow row = Accepted("1");
  row.text = "=1+1, \"x\"";
  row.recipient = "+49";
  Put(row);
  const std::string csv = Do({"journal", "--csv"});
  EXPECT_THAT(csv, testing::StartsWith("id,begun,ended,user,profile,recipient,text,"));
  EXPECT_THAT(csv, HasSubstr(",'+49,\"'=1+1, \"\"x\"\"\",,Pager,Modem,"));
  EXPECT_THAT(csv, EndsWith(",0,1,1,12.345,\r\n"));
}

TEST_F(JournalCommand, AllProfilesAreShownUnlessOneIsNamed) {
  Put(Accepted("1"));
  JournalRow row = Accepted("2");
  row.profile = "Night";
  Put(row);
  EXPECT_THAT(Entries(), SizeIs(2));
  ASSERT_THAT(Entries({"--profile", "night"}), SizeIs(1));
  EXPECT_EQ(Entries({"--profile", "night"})[0]["id"], "2");
  EXPECT_EQ(Entries({"--profile", "Standard"}).at(0)["id"], "1");
  EXPECT_THAT(Entries({"--profile", "Day"}), IsEmpty());
}

TEST_F(JournalCommand, TheNewestComesLastAndOnlyWhatIsAskedFor) {
  Put(Accepted("1"));
  JournalRow other = Accepted("2");
  other.recipient = "0172";
  other.outcome = "refused";
  Put(other);
  Tamper("UPDATE attempts SET begun = begun - 7200 WHERE id = '1'");
  EXPECT_EQ(Entries().at(1)["id"], "2");
  EXPECT_EQ(Entries({"--since", "1h"}).at(0)["id"], "2");
  EXPECT_THAT(Entries({"--since", "3h"}), SizeIs(2));
  EXPECT_EQ(Entries({"--to", "+49 (171) 123"}).at(0)["id"], "1");
  EXPECT_THAT(Entries({"--to", "0171123"}), SizeIs(1));
  EXPECT_THAT(Entries({"--to", "0171"}), IsEmpty());
  EXPECT_EQ(Entries({"--outcome", "refused"}).at(0)["id"], "2");
  EXPECT_THAT(Entries({"--outcome", "refused", "--to", "123"}), IsEmpty());
}

TEST_F(JournalCommand, ANumberWithTheCodeOfTheCountryFindsTheRowsWithout) {
  JournalRow row = Accepted("1");
  row.recipient = "01711234567";
  Put(row);
  row = Accepted("2");
  row.recipient = "4567";  // a pager's
  Put(row);
  const std::vector<Json> found = Entries({"--to", "+49 171 1234567"});
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0]["id"], "1");
}

TEST_F(JournalCommand, WhatCannotBeAskedForIsWrongUsage) {
  Put(Accepted("1"));
  Refuse({"journal", "--since", "yesterday"}, "--since must be");
  Refuse({"journal", "--to", "Karl"}, "--to must be a number");
  Refuse({"journal", "--prune", "30", "--to", "0171"}, "--to excludes --prune");
  Refuse({"journal", "--csv", "--json"}, "--csv and --json exclude each other");
  Refuse({"journal", "--outcome", "lost"}, "--outcome");
  Refuse({"journal", "--prune", "0"}, "--prune must be a number from 1");
}

TEST_F(JournalCommand, PruningDeletesWhatIsOlderThanSoManyDays) {
  for (const char* id : {"1", "2", "3"}) Put(Accepted(id));
  Tamper("UPDATE attempts SET begun = begun - 86400 * (4 - number) + 3600");
  EXPECT_EQ(Do({"journal", "--prune", "2"}), "1 attempt deleted\n");
  EXPECT_EQ(Ask({"journal", "--prune", "1"}), (Json{{"deleted", 1}}));
  EXPECT_EQ(Entries().at(0)["id"], "3");
}

}  // namespace
}  // namespace mvsms::cli
