// A worker dies at each of its steps: before and after every operation of the queue and every row
// of the journal, at every write to the modem, and when the centre has heard a message and its
// answer is still on the way. Whatever was surely not sent is sent by the next worker; what may
// have been sent is unknown, and goes out again marked, or is parked. And at each of these steps
// the disk is full: then the worker lives, and every page goes out once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sweep/paging_host.h"
#include "tests/sweep/queue_world.h"

namespace mvsms::sweep {
namespace {

using dispatch::PageState;
using dispatch::QueuedPage;

constexpr char kTwoPieces[] = "Pump 3 of tank 12 has stopped at noon";
const std::vector<std::string> kPages = {"A", "B", "C"};

struct Case {
  Protocol protocol;
  const char* on_unknown;
};

std::string NameOfCase(const testing::TestParamInfo<Case>& test) {
  return std::string(test.param.protocol.name) + "_" + test.param.on_unknown;
}

class WorkerDies : public testing::TestWithParam<Case> {
 protected:
  void Arrange(World& world) const {
    const Case& how = GetParam();
    world.settings = [how](test::Host& host) {
      host.AddService("Pager", how.protocol.name,
                      {{"UCPCommand", how.protocol.operation}, {"MaxLength", "20"}});
      host.profile.Set("OnUnknown", how.on_unknown);
    };
    world.centre = [how](const std::string&, centre::Recorder recorder) {
      centre::Settings settings;
      settings.system_message = "pager";
      const bool tap = how.protocol.name == std::string("TAP");
      return std::make_unique<centre::Centre>(tap ? centre::SpeakTap() : centre::SpeakUcp(),
                                              settings, std::move(recorder));
    };
    for (const std::string& id : kPages) world.Put(id, NumberOf(id), kTwoPieces, 2);
  }
  static std::string NumberOf(const std::string& id) { return "0171" + std::to_string(id[0]); }
  bool Parks() const { return GetParam().on_unknown == std::string("park"); }
};

TEST_P(WorkerDies, AtAnyStepAndNoPageIsLostOrTwiceInSilence) {
  int steps = 0;
  for (int last = 1; last >= steps; ++last) {
    SCOPED_TRACE("dies at step " + std::to_string(last));
    World world;
    Arrange(world);
    Worker& first = world.Hire();
    steps = 0;
    world.peril = [&](Worker& worker, Step) {
      if (&worker == &first && ++steps == last) worker.Die();
    };
    first.Turn();
    const bool died = !first.alive();
    std::map<std::string, PageState> left;
    std::map<std::string, bool> told;  // what became of it
    for (const std::string& id : kPages) {
      left[id] = world.pages().Find(id)->state;
      told[id] = world.HasEnding(id);
    }
    world.peril = [](Worker&, Step) {};
    world.WorkToTheEnd();

    for (const std::string& id : kPages) {
      const QueuedPage page = world.pages().Find(id).value();
      world.ExpectTrue(page);
      const bool in_doubt = left[id] == PageState::kDialling && !told[id];
      EXPECT_EQ(page.state, in_doubt && Parks() ? PageState::kParked : PageState::kAccepted)
          << id << ", left " << NameOf(left[id]);
      EXPECT_EQ(page.perhaps_twice, in_doubt && !Parks()) << id;
      EXPECT_TRUE(in_doubt || world.Times(NumberOf(id)) == 1) << id;
      EXPECT_TRUE(!Parks() || world.Times(NumberOf(id)) <= 1) << id;
    }
    world.ExpectTrueJournal();
    if (!died) break;
  }
  EXPECT_GT(steps, 40);
}

/// The store fails at any of these steps, so many times one after the other.
void StoreFailsAtAnyStep(const std::function<void(World&)>& arrange,
                         std::initializer_list<Step> refused, int times) {
  int steps = 0;
  for (int first = 1; first == 1 || first <= steps; ++first) {
    SCOPED_TRACE("fails at step " + std::to_string(first));
    World world;
    arrange(world);
    world.Hire();
    steps = 0;
    world.peril = [&](Worker&, Step step) {
      if (std::find(refused.begin(), refused.end(), step) == refused.end()) return;
      ++steps;
      if (steps < first || steps >= first + times) return;
      throw RaisedError(75, "Queue", "The disk is full.");
    };
    world.WorkToTheEnd(std::chrono::seconds(60));
    for (const std::string& id : kPages) {
      const QueuedPage page = world.pages().Find(id).value();
      world.ExpectTrue(page);
      EXPECT_EQ(page.state, PageState::kAccepted) << id;
      EXPECT_FALSE(page.perhaps_twice) << id;
    }
  }
  EXPECT_GT(steps, 10);
}

TEST_P(WorkerDies, NotWhenTheStoreRefusesAnOperation) {
  for (const int times : {1, 2, 20}) {
    StoreFailsAtAnyStep([this](World& world) { Arrange(world); },
                        {Step::kQueueBefore, Step::kJournalBefore}, times);
  }
}

/// The operation was carried out, and the store says that it failed.
TEST_P(WorkerDies, NotWhenTheStoresAnswerIsLost) {
  StoreFailsAtAnyStep([this](World& world) { Arrange(world); },
                      {Step::kQueueAfter, Step::kJournalAfter}, 1);
}

INSTANTIATE_TEST_SUITE_P(Crash, WorkerDies,
                         testing::Values(Case{kTap, "again"}, Case{kTap, "park"},
                                         Case{kUcp, "again"}, Case{kUcp, "park"}),
                         NameOfCase);

}  // namespace
}  // namespace mvsms::sweep
