// The record of the hub's pages, in its file and in memory: what is open, what is kept, and that it
// is there after a kill.
#include "backends/posix/store/hub_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "backends/memory/hub_record.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using namespace std::chrono_literals;
using dispatch::HubRow;
using dispatch::HubStep;
using dispatch::Moment;
using testing::ElementsAre;
using testing::IsEmpty;

class Record : public testing::TestWithParam<const char*> {
 protected:
  /// Another look at the same record, where it is one on disk.
  dispatch::HubRecord& Another() {
    if (GetParam() == std::string("File")) {
      record_ = std::make_unique<HubFile>(home_.path(), [this] { return now_; });
    } else if (!record_) {
      record_ = std::make_unique<memory::MemoryHubRecord>([this] { return now_; });
    }
    return *record_;
  }
  void Note(const std::string& id, HubStep step, std::int64_t epoch = 1) {
    HubRow row;
    row.id = id;
    row.epoch = epoch;
    row.holder = "Modem";
    row.step = step;
    row.result = {.outcome = dispatch::Outcome::kUnknown,
                  .reason = "f\xFC\x72",
                  .answer = "\x06",
                  .modem = "Modem",
                  .perhaps_out = true,
                  .forget_text = true};
    row.pause = 1500ms;
    Another().Note(row);
  }
  static std::vector<std::string> Ids(const std::vector<HubRow>& rows) {
    std::vector<std::string> ids;
    for (const HubRow& row : rows) ids.push_back(row.id);
    return ids;
  }
  std::vector<std::string> Open() { return Ids(Another().Open()); }
  std::vector<std::string> Kept() { return Ids(Another().Kept()); }

  Moment now_{std::chrono::milliseconds(1'700'000'000'000)};
  TempFolder home_;
  std::unique_ptr<dispatch::HubRecord> record_;
};

TEST_P(Record, HasTheLatestStepOfEachPageInTheOrderOfTheirFirst) {
  Note("A", HubStep::kClaimed);
  Note("B", HubStep::kClaimed);
  Note("A", HubStep::kFinished);
  Note("A", HubStep::kClaimed, 2);
  EXPECT_THAT(Open(), ElementsAre("A", "B", "A"));
  const HubRow row = Another().Open().front();
  EXPECT_EQ(row.step, HubStep::kFinished);
  EXPECT_EQ(row.holder, "Modem");
  EXPECT_EQ(row.result.reason, "f\xFC\x72");
  EXPECT_EQ(row.result.answer, "\x06");
  EXPECT_TRUE(row.result.perhaps_out);
  EXPECT_TRUE(row.result.forget_text);
  EXPECT_EQ(row.pause, 1500ms);
}

TEST_P(Record, WhatIsClosedIsKeptWhereACallMayHaveBeenMade) {
  const std::pair<HubStep, bool> steps[] = {{HubStep::kClaimed, false},
                                            {HubStep::kDialling, true},
                                            {HubStep::kReturned, false},
                                            {HubStep::kAgain, true},
                                            {HubStep::kFinished, true}};
  EXPECT_EQ(std::size(steps), dispatch::kHubStepNames.size());
  for (const auto& [step, kept] : steps) {
    Note("A", step);
    Another().Close("A", 1);
    EXPECT_THAT(Open(), IsEmpty());
    EXPECT_EQ(!Kept().empty(), kept) << NameOf(step);
    Another().Prune(now_ + 1ms);
  }
}

TEST_P(Record, WhatIsKeptGoesWithTime) {
  Note("A", HubStep::kFinished);
  Note("open", HubStep::kFinished);
  Another().Close("A", 1);
  now_ += 1h;
  Note("B", HubStep::kFinished);
  Another().Close("B", 1);
  Another().Prune(now_);
  EXPECT_THAT(Kept(), ElementsAre("B"));
  EXPECT_THAT(Open(), ElementsAre("open"));
}

TEST_P(Record, ClosingWhatIsNotThereChangesNothing) {
  Another().Close("A", 1);
  Note("A", HubStep::kFinished);
  Another().Close("A", 2);
  EXPECT_THAT(Open(), ElementsAre("A"));
}

TEST_P(Record, RemembersHowOftenTheHubHasHeardOfThisMachine) {
  EXPECT_EQ(Another().Beats("a"), 0);
  Another().NoteBeats("a", 7);
  EXPECT_EQ(Another().Beats("a"), 7);
  Another().NoteBeats("a", 3);
  EXPECT_EQ(Another().Beats("a"), 3);
  EXPECT_EQ(Another().Beats("b"), 0) << "by its other name";
}

TEST_P(Record, HasAHomeOfItsOwn) {
  const std::string home = Another().Home();
  EXPECT_NE(home, "");
  EXPECT_EQ(Another().Home(), home);
  const TempFolder elsewhere;
  EXPECT_NE(HubFile(elsewhere.path()).Home(), home);
  EXPECT_NE(memory::MemoryHubRecord([this] { return now_; }).Home(), home);
}

TEST(RecordInAFile, OfACopyOnAnotherMachineHasAnotherHome) {
  const TempFolder folder;
  const auto home_on = [&](const char* machine) {
    return HubFile(folder.path(), SystemNow, machine).Home();
  };
  const std::string home = home_on("b08dfa6083e7567a");
  EXPECT_EQ(home_on("b08dfa6083e7567a"), home);
  EXPECT_NE(home_on("4c4c454400395a10"), home);
  EXPECT_EQ(home.find("b08dfa6083e7567a"), std::string::npos) << "what stays on the machine";
}

INSTANTIATE_TEST_SUITE_P(EveryRecord, Record, testing::Values("File", "Memory"),
                         [](const auto& which) { return std::string(which.param); });

}  // namespace
}  // namespace mvsms::posix
