// The queue's file: who may use it, what a kill, a full disk and other programs leave of it, and
// what is told when it cannot be used. What the queue does stands in the contract of all queues.
#include "backends/posix/store/queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/backends/posix/child_process.h"
#include "tests/backends/posix/older_files.h"
#include "tests/support/raised.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using dispatch::Page;
using dispatch::PageState;
using dispatch::PageStates;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr PageStates kReady = {PageState::kReady};

Page PageOf(const std::string& id) {
  Page page;
  page.id = id;
  page.profile = "Standard";
  page.number = "0171" + id;
  page.text = "Pump 3 has stopped";
  page.service = "City";
  return page;
}

class PosixQueue : public testing::Test {
 protected:
  void Put(const std::string& id) const {
    const Page page = PageOf(id);
    PageQueue(home_).Put({&page, 1});
  }
  std::vector<std::string> Ids() const {
    std::vector<std::string> ids;
    for (const auto& queued : PageQueue(home_).List({.states = kReady})) {
      ids.push_back(queued.page.id);
    }
    return ids;
  }
  std::string ErrorOfPut(const std::string& id) const {
    return std::get<2>(RaisedBy([&] { Put(id); }));
  }
  void Tamper(const char* sql) const { Connection(file_).Execute(sql); }
  std::vector<mode_t> Modes() const {
    std::vector<mode_t> modes;
    for (const auto& entry : std::filesystem::directory_iterator(home_)) {
      struct stat status{};
      stat(entry.path().c_str(), &status);
      modes.push_back(status.st_mode & 0777);
    }
    return modes;
  }

  TempFolder folder_;
  std::string home_ = folder_ / "state";
  std::string file_ = home_ + "/queue.db";
};

TEST_F(PosixQueue, LookingMakesNoFile) {
  PageQueue queue(home_);
  EXPECT_EQ(queue.Find("A"), std::nullopt);
  EXPECT_FALSE(queue.Operate("A", dispatch::kCancelPage));
  queue.Sweep([](const std::string&) { return true; });
  EXPECT_FALSE(std::filesystem::exists(home_));
}

TEST_F(PosixQueue, OwnerAndGroupMayReadIt) {
  umask(0);
  Put("A");
  EXPECT_THAT(Modes(), testing::Each(mode_t{0640}));
}

TEST_F(PosixQueue, TheGroupMayWriteItWhereItMayWriteTheFolder) {
  umask(077);
  std::filesystem::create_directory(home_);
  chmod(home_.c_str(), 02770);
  Put("A");
  umask(022);
  EXPECT_THAT(Modes(), testing::Each(mode_t{0660}));
}

TEST_F(PosixQueue, AFileThatWasMovedAwayIsNotWrittenAnyMore) {
  PageQueue queue(home_);
  const Page first = PageOf("A"), second = PageOf("B");
  queue.Put({&first, 1});
  std::filesystem::rename(home_, folder_ / "away");
  queue.Put({&second, 1});
  EXPECT_THAT(Ids(), ElementsAre("B"));
}

TEST_F(PosixQueue, AFileOfANewerVersionIsToldAndLeftAlone) {
  Put("A");
  Tamper("PRAGMA user_version = 4");
  EXPECT_THAT(ErrorOfPut("B"), AllOf(HasSubstr(file_), HasSubstr("written by a newer version")));
  Tamper("PRAGMA user_version = 3");
  EXPECT_THAT(Ids(), ElementsAre("A"));
}

class OlderQueue : public PosixQueue {
 protected:
  OlderQueue() {
    std::filesystem::create_directory(home_);
    std::ofstream(file_).close();
    Connection file(file_);
    for (const char* statement : kFirstQueue) file.Execute(statement);
  }
};

TEST_F(OlderQueue, IsConvertedAndKeepsItsPages) {
  PageQueue queue(home_);
  const dispatch::QueuedPage tried = queue.Find("A1").value();
  EXPECT_EQ(tried.page.text, "Pump 1 has stopped: gr\xFCn");
  EXPECT_EQ(tried.attempts, 1);
  EXPECT_EQ(tried.result.value().reason, "the line is busy");
  EXPECT_EQ(tried.page.fallback, "");
  EXPECT_EQ(tried.more, 0);
  EXPECT_EQ(queue.Find("A2").value().state, PageState::kHeld);
  EXPECT_EQ(queue.Find("A3").value().state, PageState::kCancelled);
  Page page = PageOf("B");
  page.fallback = "Area";
  queue.Put({&page, 1});
  EXPECT_EQ(PageQueue(home_).Find("B").value().page.fallback, "Area");
}

TEST_F(OlderQueue, StaysAsItWasWhereItCannotBeConverted) {
  EXPECT_TRUE(ChildProcess([this] {
                std::signal(SIGXFSZ, SIG_IGN);
                const rlimit none{4096, 4096};
                setrlimit(RLIMIT_FSIZE, &none);
                PageQueue queue(home_);
                return std::get<0>(RaisedBy([&] { queue.Find("A1"); })) == 75;
              }).Succeeded());
  EXPECT_EQ(Connection(file_).Value("PRAGMA user_version"), 1);
  EXPECT_EQ(Connection(file_).Value("SELECT COUNT(*) FROM pages"), 3);
}

TEST_F(OlderQueue, IsConvertedOnceWhenSeveralOpenIt) {
  std::vector<std::unique_ptr<ChildProcess>> all;
  for (int i = 0; i < 8; ++i) {
    all.push_back(
        std::make_unique<ChildProcess>([this] { return PageQueue(home_).Find("A1").has_value(); }));
  }
  for (const auto& one : all) EXPECT_TRUE(one->Succeeded());
}

TEST_F(PosixQueue, AFileThatIsNoDatabaseIsToldAndLeftAlone) {
  std::filesystem::create_directory(home_);
  std::ofstream(file_) << std::string(5000, 'x');
  EXPECT_THAT(ErrorOfPut("A"), HasSubstr("The queue " + file_ + " cannot be used: file is not"));
  EXPECT_EQ(std::filesystem::file_size(file_), 5000U);
}

TEST_F(PosixQueue, AStateThatNobodyKnowsIsADamage) {
  Put("A");
  Tamper("UPDATE pages SET state = 'lost'");
  EXPECT_THAT(std::get<2>(RaisedBy([this] { PageQueue(home_).Find("A"); })),
              AllOf(HasSubstr("nothing is called 'lost'"), HasSubstr("The file is damaged")));
}

TEST_F(PosixQueue, AFullDiskIsToldAndNothingIsHalfWritten) {
  Put("A");
  EXPECT_TRUE(ChildProcess([this] {
                std::signal(SIGXFSZ, SIG_IGN);
                const rlimit small{60000, 60000};
                setrlimit(RLIMIT_FSIZE, &small);
                std::vector<Page> pages;
                for (int i = 0; i < 1000; ++i) pages.push_back(PageOf(std::to_string(i)));
                PageQueue queue(home_);
                return std::get<0>(RaisedBy([&] { queue.Put(pages); })) == 75;
              }).Succeeded());
  EXPECT_THAT(Ids(), ElementsAre("A"));
  Put("B");
  EXPECT_THAT(Ids(), ElementsAre("A", "B"));
}

TEST_F(PosixQueue, ATextThatMayNotBeKeptIsInTheFileNoMore) {
  Put("A");
  PageQueue queue(home_);
  const std::vector<std::string> services = {"City"};
  const auto claimed = queue.Claim("here", "Standard", services);
  queue.Begin("A", claimed->epoch);
  queue.Finish("A", claimed->epoch, {.outcome = dispatch::Outcome::kAccepted, .forget_text = true},
               PageState::kAccepted);
  Tamper("PRAGMA wal_checkpoint(TRUNCATE)");
  std::ifstream file(file_, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  EXPECT_THAT(bytes, HasSubstr("Standard"));
  EXPECT_THAT(bytes, testing::Not(HasSubstr("Pump 3")));
}

/// Else everybody who opens the file alone would read what all before had written.
TEST_F(PosixQueue, ItsLogDoesNotGrowFromOneWhoHandsOverToTheNext) {
  for (int i = 0; i < 3; ++i) Put(std::to_string(i));
  EXPECT_EQ(std::filesystem::file_size(file_ + "-wal"), 0U);
}

TEST_F(PosixQueue, ManyWhoHandOverAtOnceLoseNoPage) {
  constexpr int kSubmitters = 12;
  std::vector<std::unique_ptr<ChildProcess>> submitters;
  for (int i = 0; i < kSubmitters; ++i) {
    submitters.push_back(std::make_unique<ChildProcess>([this, i] {
      for (int j = 0; j < 5; ++j) Put(std::to_string(i) + "/" + std::to_string(j));
      return true;
    }));
  }
  for (const auto& submitter : submitters) EXPECT_TRUE(submitter->Succeeded());
  EXPECT_EQ(Ids().size(), std::size_t{5 * kSubmitters});
}

/// A page is in the queue when Put has returned, whatever happens to its process then. Every other
/// round ends its process at any moment, the opening included; the others let it hand over first,
/// so that a slow machine has pages to lose too.
TEST_F(PosixQueue, NoPageThatWasTakenIsLostByAKill) {
  const std::string taken = folder_ / "taken";
  std::ofstream(taken).close();
  for (int round = 0; round < 40; ++round) {
    const auto before = std::filesystem::file_size(taken);
    ChildProcess submitter([&, round]() -> bool {
      std::ofstream told(taken, std::ios::app);
      PageQueue queue(home_);
      for (int i = 0;; ++i) {
        const Page page = PageOf(std::to_string(round) + "." + std::to_string(i));
        queue.Put({&page, 1});
        told << page.id << std::endl;
      }
    });
    const auto nothing_taken = [&] { return std::filesystem::file_size(taken) == before; };
    for (int waits = 0; round % 2 == 1 && nothing_taken() && waits < 60000; ++waits) usleep(500);
    usleep(static_cast<useconds_t>(1000 * (round % 8 + 1)));
    submitter.Kill();
  }
  std::ifstream told(taken);
  int pages = 0;
  for (std::string id; std::getline(told, id); ++pages) {
    EXPECT_NE(PageQueue(home_).Find(id), std::nullopt) << id;
  }
  EXPECT_GE(pages, 20);
}

/// Two workers who are killed at any moment leave every page either to the next one or unknown.
TEST_F(PosixQueue, AKilledHolderLeavesItsPagesWhereTheyCanBeFound) {
  for (int i = 0; i < 300; ++i) Put(std::to_string(i));
  const auto work = [this] {
    PageQueue queue(home_);
    const std::vector<std::string> services = {"City"};
    while (const auto page = queue.Claim(std::to_string(getpid()), "Standard", services)) {
      queue.Begin(page->page.id, page->epoch);
      queue.Finish(page->page.id, page->epoch, {.outcome = dispatch::Outcome::kAccepted},
                   PageState::kAccepted);
    }
    return true;
  };
  for (int round = 0; round < 10; ++round) {
    ChildProcess one(work), other(work);
    usleep(8000);
    one.Kill();
    other.Kill();
    PageQueue(home_).Sweep([](const std::string&) { return true; });
  }
  work();
  const dispatch::QueueStats stats = PageQueue(home_).Stats();
  const auto pages = [&](PageState state) {
    return stats.at(static_cast<std::size_t>(state)).pages;
  };
  EXPECT_EQ(pages(PageState::kAccepted) + pages(PageState::kUnknown), 300);
  EXPECT_LE(pages(PageState::kUnknown), 20);
}

}  // namespace
}  // namespace mvsms::posix
