// The journal's file: what a row keeps, what an open one says, who may read it, and what is told
// when it cannot be used.
#include "backends/posix/store/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "backends/posix/store/sqlite.h"
#include "base/raised_error.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using dispatch::JournalRow;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

class PosixJournal : public testing::Test {
 protected:
  static JournalRow OpenRow(const std::string& id) {
    JournalRow row;
    row.id = id;
    row.profile = "Standard";
    row.recipient = "+49 171";
    row.text = "Gr\xF6\xDF\x65 5 \x80";
    row.service = "Pager";
    return row;
  }
  static JournalRow ClosedRow(const std::string& id) {
    JournalRow row = OpenRow(id);
    row.recipient = "0049171";
    row.modem = "Modem";
    row.dialled = "0123";
    row.outcome = "refused";
    row.reason = "the message centre refused the message: no";
    row.answer = "\x15";
    row.exit_code = 1;
    row.pieces = 3;
    row.pieces_accepted = 2;
    row.duration = std::chrono::milliseconds(61234);
    return row;
  }
  void Put(const JournalRow& row) const { Journal(home_).Put(row); }
  std::vector<JournalEntry> All() const { return Journal(home_).Read(0, 0); }
  std::vector<std::string> Ids() const {
    std::vector<std::string> ids;
    for (const JournalEntry& entry : All()) ids.push_back(entry.row.id);
    return ids;
  }
  /// Runs one statement of SQL on the file, as somebody with another tool would.
  void Tamper(const char* sql) const { Connection(file_).Execute(sql); }
  template <typename Action>
  static std::string ErrorOf(Action action) {
    try {
      action();
    } catch (const RaisedError& error) {
      return error.description();
    }
    return "no error";
  }

  TempFolder folder_;
  std::string home_ = folder_ / "state";
  std::string file_ = home_ + "/journal.db";
};

TEST_F(PosixJournal, ReadingCreatesNothing) {
  EXPECT_THAT(All(), IsEmpty());
  EXPECT_EQ(Journal(home_).Prune(std::time(nullptr)), 0);
  EXPECT_FALSE(Journal(home_).Exists());
  EXPECT_FALSE(std::filesystem::exists(home_));
}

TEST_F(PosixJournal, ARowIsOpenWhileItsProcessRuns) {
  Put(OpenRow("1"));
  const JournalEntry entry = All().at(0);
  EXPECT_TRUE(entry.IsOpen());
  EXPECT_EQ(entry.row.id, "1");
  EXPECT_EQ(entry.row.profile, "Standard");
  EXPECT_EQ(entry.row.recipient, "+49 171");
  EXPECT_EQ(entry.row.text, OpenRow("1").text);
  EXPECT_EQ(entry.user, getuid());
  EXPECT_EQ(entry.ended, 0);
  EXPECT_LE(std::time(nullptr) - entry.begun, 60);
}

TEST_F(PosixJournal, AClosedRowHasEverythingThatWasFoundOut) {
  Put(OpenRow("1"));
  const JournalRow closed = ClosedRow("1");
  Put(closed);
  ASSERT_THAT(Ids(), ElementsAre("1"));
  const JournalEntry entry = All().at(0);
  EXPECT_FALSE(entry.IsOpen());
  EXPECT_GE(entry.ended, entry.begun);
  EXPECT_EQ(entry.row.recipient, closed.recipient);
  EXPECT_EQ(entry.row.text, closed.text);
  EXPECT_EQ(entry.row.service, closed.service);
  EXPECT_EQ(entry.row.modem, closed.modem);
  EXPECT_EQ(entry.row.dialled, closed.dialled);
  EXPECT_EQ(entry.row.outcome, closed.outcome);
  EXPECT_EQ(entry.row.reason, closed.reason);
  EXPECT_EQ(entry.row.answer, closed.answer);
  EXPECT_EQ(entry.row.exit_code, closed.exit_code);
  EXPECT_EQ(entry.row.pieces, closed.pieces);
  EXPECT_EQ(entry.row.pieces_accepted, closed.pieces_accepted);
  EXPECT_EQ(entry.row.duration, closed.duration);
}

TEST_F(PosixJournal, ADigestStandsForATextThatIsNotKept) {
  JournalRow row = OpenRow("1");
  row.text.clear();
  row.text_digest = "abc";
  Put(row);
  EXPECT_EQ(All().at(0).row.text, "");
  EXPECT_EQ(All().at(0).row.text_digest, "abc");
}

TEST_F(PosixJournal, ARowThatComesOnlyAfterTheCallBeganWithIt) {
  Put(ClosedRow("late"));
  const JournalEntry entry = All().at(0);
  EXPECT_EQ(entry.ended - entry.begun, 61);
}

TEST_F(PosixJournal, ARowWhoseProcessWasKilledIsUnknown) {
  ChildProcess([this] {
    Put(OpenRow("1"));
    return true;
  }).Succeeded();
  const JournalEntry entry = All().at(0);
  EXPECT_EQ(entry.row.outcome, "unknown");
  EXPECT_EQ(entry.row.reason, dispatch::kInterrupted);
  EXPECT_EQ(entry.ended, 0);
}

TEST_F(PosixJournal, AnotherProcessOfTheSameNumberIsNotTheSender) {
  Put(OpenRow("1"));
  Tamper("UPDATE attempts SET process = replace(process, ' ', ' 1')");
  EXPECT_EQ(All().at(0).row.outcome, "unknown");
}

TEST_F(PosixJournal, ReadsWhatBeganSinceAMomentAndWhatCameAfterANumber) {
  for (const char* id : {"1", "2", "3"}) Put(ClosedRow(id));
  Tamper("UPDATE attempts SET begun = number * 1000");
  EXPECT_EQ(Journal(home_).Read(2000, 0).size(), 2U);
  EXPECT_EQ(Journal(home_).Read(2001, 0).size(), 1U);
  EXPECT_EQ(Journal(home_).Read(0, 2).at(0).row.id, "3");
  EXPECT_THAT(Journal(home_).Read(0, 3), IsEmpty());
}

TEST_F(PosixJournal, PruningDeletesWhatIsOlderAndUsesNoNumberAgain) {
  for (const char* id : {"1", "2", "3"}) Put(ClosedRow(id));
  Tamper("UPDATE attempts SET begun = number * 1000");
  EXPECT_EQ(Journal(home_).Prune(3000), 2);
  EXPECT_THAT(Ids(), ElementsAre("3"));
  EXPECT_EQ(Journal(home_).Prune(3001), 1);
  Put(ClosedRow("4"));
  EXPECT_EQ(All().at(0).number, 4);
}

TEST_F(PosixJournal, APrunedTextIsNowhereInTheFiles) {
  JournalRow row = ClosedRow("1");
  row.text = "Secret words";
  Put(row);
  Journal(home_).Prune(std::time(nullptr) + 1);
  for (const auto& entry : std::filesystem::directory_iterator(home_)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(bytes.find("Secret words"), std::string::npos) << entry.path();
  }
}

TEST_F(PosixJournal, OwnerAndGroupMayReadIt) {
  umask(0);
  Put(OpenRow("1"));
  for (const auto& entry : std::filesystem::directory_iterator(home_)) {
    EXPECT_EQ(ModeOf(entry.path()), 0640U) << entry.path();
  }
}

TEST_F(PosixJournal, TheGroupMayWriteItWhereItMayWriteTheFolder) {
  umask(077);
  std::filesystem::create_directory(home_);
  chmod(home_.c_str(), 02770);
  Put(OpenRow("1"));
  for (const auto& entry : std::filesystem::directory_iterator(home_)) {
    EXPECT_EQ(ModeOf(entry.path()), 0660U) << entry.path();
  }
  umask(022);
}

TEST_F(PosixJournal, WhoMayOnlyReadReadsIt) {
  Put(OpenRow("1"));
  chmod(folder_.path().c_str(), 0755);
  chmod(home_.c_str(), 0755);
  for (const auto& entry : std::filesystem::directory_iterator(home_)) {
    chmod(entry.path().c_str(), 0644);
  }
  EXPECT_TRUE(SucceedsUnprivileged([this] { return Ids().size() == 1; }));
  EXPECT_TRUE(SucceedsUnprivileged([this] {
    return ErrorOf([this] { Put(OpenRow("2")); }).find(file_ + " cannot be used") !=
           std::string::npos;
  }));
}

TEST_F(PosixJournal, AFolderThatCannotBeWrittenIsTold) {
  std::filesystem::create_directory(home_);
  chmod(folder_.path().c_str(), 0755);
  chmod(home_.c_str(), 0555);
  EXPECT_TRUE(SucceedsUnprivileged([this] {
    return ErrorOf([this] { Put(OpenRow("1")); }).find("Check that you may write") !=
           std::string::npos;
  }));
  EXPECT_TRUE(std::filesystem::is_empty(home_));
}

TEST_F(PosixJournal, NothingButTheJournalIsLeftInTheFolder) {
  Put(OpenRow("1"));
  for (const auto& entry : std::filesystem::directory_iterator(home_)) {
    EXPECT_THAT(entry.path().filename().string(), testing::StartsWith("journal.db"));
  }
}

TEST_F(PosixJournal, FindsARowAndReadsTheNewestFirstUntilEnoughIsRead) {
  for (const char* id : {"1", "2", "3"}) Put(OpenRow(id));
  std::vector<std::string> ids;
  Journal(home_).ReadNewest(0, [&](const JournalEntry& entry) {
    ids.push_back(entry.row.id);
    return ids.size() < 2;
  });
  EXPECT_THAT(ids, ElementsAre("3", "2"));
  EXPECT_EQ(Journal(home_).Find("2")->row.text, OpenRow("2").text);
  EXPECT_FALSE(Journal(home_).Find("4").has_value());
}

TEST_F(PosixJournal, KnowsARowThatBeganInTimeAndNoOlderOne) {
  using namespace std::chrono_literals;
  Put(ClosedRow("1"));
  const auto began = std::chrono::system_clock::from_time_t(Journal(home_).Find("1")->begun);
  EXPECT_TRUE(Journal(home_).Known("1", began + 900ms).has_value());
  EXPECT_FALSE(Journal(home_).Known("1", began + 1s).has_value());
  EXPECT_FALSE(Journal(home_).Known("2", began).has_value());
  std::ofstream(file_) << std::string(5000, 'x');
  EXPECT_FALSE(Journal(home_).Known("1", began).has_value()) << "nor one that cannot be read";
}

TEST_F(PosixJournal, ItsLogDoesNotGrowFromOneSendToTheNext) {
  for (const char* id : {"1", "2", "3"}) Put(OpenRow(id));
  EXPECT_EQ(std::filesystem::file_size(file_ + "-wal"), 0U);
}

TEST_F(PosixJournal, AnEmptyFileIsTakenAsItIs) {
  std::filesystem::create_directory(home_);
  std::ofstream(file_).close();
  chmod(file_.c_str(), 0600);
  EXPECT_THAT(All(), IsEmpty());
  Put(OpenRow("1"));
  EXPECT_THAT(Ids(), ElementsAre("1"));
  EXPECT_EQ(ModeOf(file_), 0600U);
}

TEST_F(PosixJournal, AFileOfANewerVersionIsToldAndLeftAlone) {
  Put(OpenRow("1"));
  Tamper("PRAGMA user_version = 2");
  const std::string newer = "written by a newer version";
  EXPECT_THAT(ErrorOf([this] { Put(OpenRow("2")); }), AllOf(HasSubstr(file_), HasSubstr(newer)));
  EXPECT_THAT(ErrorOf([this] { All(); }), HasSubstr(newer));
  EXPECT_THAT(ErrorOf([this] { Journal(home_).Prune(std::time(nullptr) + 1); }), HasSubstr(newer));
  Tamper("PRAGMA user_version = 1");
  EXPECT_THAT(Ids(), ElementsAre("1"));
}

TEST_F(PosixJournal, AFileThatIsNoDatabaseIsToldAndLeftAlone) {
  std::filesystem::create_directory(home_);
  std::ofstream(file_) << std::string(5000, 'x');
  EXPECT_THAT(ErrorOf([this] { Put(OpenRow("1")); }), HasSubstr("file is not a database"));
  EXPECT_THAT(ErrorOf([this] { All(); }), HasSubstr(file_));
  EXPECT_EQ(std::filesystem::file_size(file_), 5000U);
}

TEST_F(PosixJournal, APipeInItsPlaceIsToldAndNotWaitedFor) {
  std::filesystem::create_directory(home_);
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  EXPECT_THAT(ErrorOf([this] { Put(OpenRow("1")); }), HasSubstr(file_ + " cannot be used"));
}

TEST_F(PosixJournal, SomebodyElsesLockIsWaitedForAWhileAndTold) {
  Put(OpenRow("1"));
  Connection other(file_);
  other.Execute("BEGIN EXCLUSIVE");
  Journal hasty(home_, std::chrono::milliseconds(1));
  EXPECT_THAT(ErrorOf([&] { hasty.Put(OpenRow("2")); }),
              AllOf(HasSubstr("locked"), HasSubstr("Another program")));
  EXPECT_THAT(Ids(), ElementsAre("1"));
  other.Execute("ROLLBACK");
  Put(OpenRow("2"));
  EXPECT_THAT(Ids(), ElementsAre("1", "2"));
}

TEST_F(PosixJournal, ManyWhoBeginAtOnceLoseNoRow) {
  constexpr int kSenders = 12;
  std::vector<std::unique_ptr<ChildProcess>> senders;
  for (int i = 0; i < kSenders; ++i) {
    senders.push_back(std::make_unique<ChildProcess>([this, i] {
      Put(OpenRow(std::to_string(i)));
      Put(ClosedRow(std::to_string(i)));
      return true;
    }));
  }
  for (const auto& sender : senders) EXPECT_TRUE(sender->Succeeded());
  EXPECT_EQ(All().size(), std::size_t{kSenders});
  for (const JournalEntry& entry : All()) EXPECT_EQ(entry.row.outcome, "refused");
}

}  // namespace
}  // namespace mvsms::posix
