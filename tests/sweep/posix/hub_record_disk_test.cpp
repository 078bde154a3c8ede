// The record of the hub's pages under a power failure: what it has confirmed is there, for a line
// dials by it.
#include <gtest/gtest.h>

#include <memory>

#include "backends/posix/store/hub_record.h"
#include "tests/support/temp_folder.h"
#include "tests/sweep/posix/perilous_disk.h"

namespace mvsms::sweep {
namespace {

using dispatch::HubRow;
using dispatch::HubStep;

TEST(HubRecordOnDisk, WhatWasNotedIsThereAfterAPowerFailure) {
  for (const HubStep last : {HubStep::kClaimed, HubStep::kDialling, HubStep::kFinished}) {
    const TempFolder folder;
    PerilousDisk disk;
    auto record = std::make_unique<posix::HubFile>(folder.path());
    HubRow row;
    row.id = "a/1";
    row.epoch = 1;
    for (row.step = HubStep::kClaimed; row.step != last;) {
      record->Note(row);
      row.step = row.step == HubStep::kClaimed ? HubStep::kDialling : HubStep::kFinished;
    }
    record->Note(row);
    disk.before = [] { return SQLITE_IOERR; };
    record.reset();
    disk.before = [] { return SQLITE_OK; };
    disk.Leave(folder.path(), Left::kAllSynced);
    const auto open = posix::HubFile(folder.path()).Open();
    ASSERT_EQ(open.size(), 1U);
    EXPECT_EQ(NameOf(open.front().step), NameOf(last));
  }
}

}  // namespace
}  // namespace mvsms::sweep
