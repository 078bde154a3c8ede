// The queue and the journal as files, under a worker and under one who hands a page over: a kill, a
// power failure and a full disk at every write and every sync. What was confirmed is there; what
// was surely not sent is sent; what may have been sent is marked, or parked; nothing is half there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "backends/posix/store/journal.h"
#include "backends/posix/store/queue.h"
#include "tests/support/temp_folder.h"
#include "tests/sweep/posix/perilous_disk.h"
#include "tests/sweep/queue_world.h"

namespace mvsms::sweep {
namespace {

using dispatch::Page;
using dispatch::PageState;
using dispatch::QueuedPage;
using posix::PageQueue;

/// From one step of a sweep to the next; of a short one, without a divisor in common with what
/// repeats.
int Stride(int of_a_sample) { return Thorough() ? 1 : of_a_sample; }

class FileShelf : public Shelf {
 public:
  FileShelf(std::string folder, std::function<dispatch::Moment()> now)
      : folder_(std::move(folder)), now_(std::move(now)) {
    pages_.emplace(folder_, now_);
  }
  dispatch::Queue& Pages() override { return *pages_; }
  void Record(const dispatch::JournalRow& row) override { posix::Journal(folder_).Put(row); }
  std::vector<dispatch::JournalRow> Journal() override {
    std::vector<dispatch::JournalRow> rows;
    for (const auto& entry : posix::Journal(folder_).Read(0, 0)) rows.push_back(entry.row);
    return rows;
  }
  /// What a worker before it had open is closed.
  void Reopen(const std::function<void()>& meanwhile) {
    pages_.reset();
    meanwhile();
    pages_.emplace(folder_, now_);
  }

 private:
  const std::string folder_;
  std::function<dispatch::Moment()> now_;
  std::optional<PageQueue> pages_;
};

/// Two pages, and a disk under them.
struct Scene {
  explicit Scene(const char* on_unknown) {
    world.settings = [on_unknown](test::Host& host) {
      host.AddTapService();
      host.profile.Set("OnUnknown", on_unknown);
    };
    for (const char* id : {"A", "B"}) world.Put(id, Number(id), "Pump 3 has stopped", 1);
    shelf().Record(dispatch::JournalRow());  // so that the journal is there
    disk.SyncAll(folder.path());
  }
  static std::string Number(const std::string& id) { return "0171" + std::to_string(id[0]); }
  FileShelf& shelf() { return static_cast<FileShelf&>(world.shelf()); }
  PageState StateOf(const std::string& id) { return world.pages().Find(id)->state; }

  const TempFolder folder;
  PerilousDisk disk;
  World world{[this](auto now) { return std::make_unique<FileShelf>(folder.path(), now); }};
};

struct Case {
  const char* on_unknown;
  Left left;
};

class DiskIsLeft : public testing::TestWithParam<Case> {};

TEST_P(DiskIsLeft, AtAnyMomentOfACall) {
  const auto& [on_unknown, left] = GetParam();
  const bool parks = on_unknown == std::string("park");
  int steps = 0;
  bool died = true;
  for (int last = 1; died; last += Stride(7)) {
    SCOPED_TRACE("ends at step " + std::to_string(last));
    Scene scene(on_unknown);
    World& world = scene.world;
    Worker& first = world.Hire();
    steps = 0;
    const auto step = [&] {
      if (++steps == last) first.Die();
    };
    world.peril = [&](Worker&, Step) { step(); };
    scene.disk.before = [&] {
      if (first.alive()) step();
      return first.alive() ? SQLITE_OK : SQLITE_IOERR;
    };
    first.Turn();
    died = !first.alive();
    scene.shelf().Reopen([&] {
      scene.disk.before = [] { return SQLITE_OK; };
      if (died) scene.disk.Leave(scene.folder.path(), left);
    });
    world.peril = [](Worker&, Step) {};

    std::map<std::string, PageState> was;
    std::map<std::string, bool> told;  // what became of it
    for (const char* id : {"A", "B"}) {
      was[id] = scene.StateOf(id);
      told[id] = world.HasEnding(id);
    }
    world.WorkToTheEnd();
    for (const char* id : {"A", "B"}) {
      world.ExpectTrue(world.pages().Find(id).value());
      const bool in_doubt = was[id] == PageState::kDialling && !told[id];
      EXPECT_EQ(scene.StateOf(id), in_doubt && parks ? PageState::kParked : PageState::kAccepted)
          << id << ", left " << NameOf(was[id]);
      EXPECT_TRUE(in_doubt || world.Times(Scene::Number(id)) == 1) << id;
      EXPECT_TRUE(!parks || world.Times(Scene::Number(id)) <= 1) << id;
    }
    world.ExpectTrueJournal();
  }
  EXPECT_GT(steps, 60);
}

INSTANTIATE_TEST_SUITE_P(
    Disk, DiskIsLeft,
    testing::Values(Case{"again", Left::kAllWritten}, Case{"park", Left::kAllWritten},
                    Case{"again", Left::kAllSynced}, Case{"park", Left::kAllSynced}),
    [](const auto& test) {
      return std::string(test.param.left == Left::kAllSynced ? "Power_" : "Kill_") +
             test.param.on_unknown;
    });

/// While it lasts, operations fail; then every page goes out once, and nobody is in doubt.
TEST(DiskIsFull, AtAnyWriteOfACallAndNothingHappensTwice) {
  for (const int lasts : {1, 40}) {
    int writes = 0;
    for (int first = 1; first == 1 || first <= writes; first += Stride(11)) {
      SCOPED_TRACE("full at write " + std::to_string(first) + " for " + std::to_string(lasts));
      Scene scene("again");
      scene.world.Hire();
      writes = 0;
      scene.disk.before = [&] {
        ++writes;
        return writes >= first && writes < first + lasts ? SQLITE_FULL : SQLITE_OK;
      };
      for (int turn = 0; turn < 50 && scene.StateOf("B") != PageState::kAccepted; ++turn) {
        scene.world.workers().front()->Turn();
      }
      for (const char* id : {"A", "B"}) {
        EXPECT_EQ(scene.StateOf(id), PageState::kAccepted);
        EXPECT_EQ(scene.world.Times(Scene::Number(id)), 1);
        EXPECT_FALSE(scene.world.pages().Find(id)->perhaps_twice);
      }
    }
    EXPECT_GT(writes, 30);
  }
}

Page PageOf(const std::string& id) {
  Page page;
  page.id = id;
  page.profile = "Standard";
  page.number = "0171";
  page.text = "Pump 3 has stopped";
  page.service = "Pager";
  return page;
}

/// How a Put of two pages ended that was hit at the n-th write.
struct Hit {
  bool over = false;  // it came to its end before the n-th write
  bool confirmed = false;
};

Hit PutTwo(PerilousDisk& disk, const std::string& folder, int last, int error, bool for_good) {
  int writes = 0;
  disk.before = [&] {
    const int n = ++writes;
    return n == last || (for_good && n > last) ? error : SQLITE_OK;
  };
  Hit hit;
  try {
    const std::vector<Page> pages = {PageOf("A"), PageOf("B")};
    PageQueue(folder).Put(pages);
    hit.confirmed = true;
  } catch (const RaisedError& failure) {
    EXPECT_THAT(failure.description(), testing::HasSubstr(folder + "/queue.db"));
  }
  disk.before = [] { return SQLITE_OK; };
  hit.over = writes < last;
  return hit;
}

std::size_t PagesIn(const std::string& folder) {
  return PageQueue(folder).List({.states = {PageState::kReady}}).size();
}

void ExpectWholeOrNothing(const std::string& folder, const Hit& hit) {
  const std::size_t pages = PagesIn(folder);
  EXPECT_TRUE(pages == 2 || (pages == 0 && !hit.confirmed)) << pages;
  const Page page = PageOf("C");
  EXPECT_EQ(PageQueue(folder).Put({&page, 1}), 1U) << "the file can be used";
}

/// The first pages of all make the file, the later ones find it.
TEST(HandingOver, IsWholeOrNothingWhateverHappensToTheDisk) {
  for (const bool first_of_all : {true, false}) {
    for (const auto& [name, error, left] :
         {std::tuple("kill", SQLITE_IOERR, Left::kAllWritten),
          std::tuple("power failure", SQLITE_IOERR, Left::kAllSynced),
          std::tuple("full disk", SQLITE_FULL, Left::kAllWritten)}) {
      int last = 1;
      for (Hit hit; !hit.over; last += Stride(3)) {
        SCOPED_TRACE(std::string(name) + " at write " + std::to_string(last));
        const TempFolder folder;
        PerilousDisk disk;
        if (!first_of_all) {
          const Page page = PageOf("earlier");
          PageQueue(folder.path()).Put({&page, 1});
          PageQueue(folder.path()).Operate("earlier", dispatch::kHoldPage);
          disk.SyncAll(folder.path());
        }
        hit = PutTwo(disk, folder.path(), last, error, error != SQLITE_FULL);
        if (error != SQLITE_FULL) disk.Leave(folder.path(), left);
        EXPECT_NO_THROW(ExpectWholeOrNothing(folder.path(), hit));
      }
      EXPECT_GT(last, 4);
    }
  }
}

}  // namespace
}  // namespace mvsms::sweep
