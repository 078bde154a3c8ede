// The queue's functions of mvsms.h, and the class over them: what is taken, what is refused and
// why, and what a program can learn of its pages.
#include "include/mvsms/queue.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "backends/posix/posix_platform.h"
#include "backends/posix/store/line_store.h"
#include "backends/posix/store/queue.h"
#include "engine/profile.h"
#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

class LibraryQueue : public ::testing::Test {
 protected:
  LibraryQueue() {
    posix::LineConfig line;
    line.name = "Line";
    line.kind = posix::LineKind::kTcp;
    posix::LineStore(home_.path()).Put(line);
    const auto platform = posix::MakePosixPlatform(home_.path());
    const Profile profile(platform->registry(), BaseKey(name_));
    profile.Set(setting::kDefaultModem, "Line");
    profile.Set(setting::kDefaultService, "City");
    const SettingsKey city = profile.Service("City");
    city.Set(setting::kProtocol, "UCP");
    city.Set(setting::kPhoneNumber, "127.0.0.1:5000");
    city.Set(setting::kUCPCommand, "51");
    city.Set(setting::kMessageType, 3);
    city.Set(setting::kMaxLength, 40);
    city.Set(setting::kMaxMessages, 1);
  }

  mvsms_result Put(const char* id, const char* recipient, const char* text,
                   const char* originator = "", const char* service = "") {
    return mvsms_queue_put(queue_.get(), id, recipient, originator, text, service);
  }
  std::string Error() { return mvsms_queue_error(queue_.get()); }
  mvsms_page_state State(const char* id) { return mvsms_queue_state(queue_.get(), id); }
  posix::PageQueue Store() { return posix::PageQueue(home_.path()); }

  TempFolder home_;
  std::string name_ = "Standard";
  std::unique_ptr<mvsms_queue, void (*)(mvsms_queue*)> queue_{
      mvsms_queue_new(home_.path().c_str(), ""), mvsms_queue_free};
};

TEST_F(LibraryQueue, APageIsTakenAndFoundByItsId) {
  ASSERT_EQ(Put("", "0171-1", "Pumpe 3 fällt aus", "Pumpe"), MVSMS_ACCEPTED) << Error();
  const std::string id = mvsms_queue_id(queue_.get());
  EXPECT_THAT(id, SizeIs(32));
  EXPECT_EQ(State(id.c_str()), MVSMS_PAGE_READY);
  EXPECT_STREQ(mvsms_queue_reason(queue_.get()), "");
  const dispatch::Page page = Store().Find(id).value().page;
  EXPECT_EQ(page.recipient, "0171-1");
  EXPECT_EQ(page.number, "01711");
  EXPECT_EQ(page.originator, "Pumpe");
  EXPECT_EQ(page.text, "Pumpe 3 f\xE4llt aus");
  EXPECT_EQ(page.service, "City");
  EXPECT_EQ(page.profile, "Standard");
  EXPECT_EQ(page.priority, 5);
  EXPECT_EQ(page.expires, dispatch::kNever);
}

TEST_F(LibraryQueue, TheSameIdIsTheSamePage) {
  EXPECT_EQ(Put("A", "0171", "one"), MVSMS_ACCEPTED);
  EXPECT_EQ(Put("A", "0171", "one"), MVSMS_ACCEPTED);
  EXPECT_EQ(Store().Stats().at(0).pages, 1);
}

TEST_F(LibraryQueue, WhatCouldNeverBeSentIsRefusedAtOnce) {
  EXPECT_EQ(Put("", "no number", "text"), MVSMS_UNUSABLE);
  EXPECT_THAT(Error(), HasSubstr("the recipient is no number"));
  EXPECT_EQ(Put("", "0171", ""), MVSMS_UNUSABLE);
  EXPECT_EQ(Put("", "0171", std::string(41, 'x').c_str()), MVSMS_UNUSABLE);
  EXPECT_THAT(Error(), HasSubstr("41 characters, the service takes 40"));
  EXPECT_EQ(Put("", "0171", "text", "", "Nowhere"), MVSMS_SETTINGS);
  EXPECT_THAT(Error(), HasSubstr("there is no service \"Nowhere\""));
  EXPECT_EQ(Store().Stats().at(0).pages, 0);
}

TEST_F(LibraryQueue, MisuseNamesWhatWasWrong) {
  EXPECT_EQ(Put("a b", "0171", "text"), MVSMS_MISUSE);
  EXPECT_THAT(Error(), HasSubstr("an id has at most 100 letters"));
  EXPECT_EQ(Put("", "0171", "text", "a/b"), MVSMS_MISUSE);
  EXPECT_EQ(mvsms_queue_set_priority(queue_.get(), 10), MVSMS_MISUSE);
  EXPECT_EQ(mvsms_queue_set_expiry(queue_.get(), -1), MVSMS_MISUSE);
  EXPECT_EQ(mvsms_queue_set_not_before(queue_.get(), -1), MVSMS_MISUSE);
  EXPECT_EQ(mvsms_queue_put(nullptr, "", "", "", "", ""), MVSMS_MISUSE);
  EXPECT_EQ(mvsms_queue_cancel(queue_.get(), "A"), MVSMS_MISUSE);
  EXPECT_EQ(State("A"), MVSMS_PAGE_NONE);
}

TEST_F(LibraryQueue, OptionsHoldForThePagesThatFollow) {
  EXPECT_EQ(mvsms_queue_set_priority(queue_.get(), 0), MVSMS_ACCEPTED);
  EXPECT_EQ(mvsms_queue_set_expiry(queue_.get(), 60), MVSMS_ACCEPTED);
  EXPECT_EQ(mvsms_queue_set_not_before(queue_.get(), 1000), MVSMS_ACCEPTED);
  ASSERT_EQ(Put("A", "0171", "text"), MVSMS_ACCEPTED);
  const dispatch::QueuedPage queued = Store().Find("A").value();
  EXPECT_EQ(queued.page.priority, 0);
  EXPECT_EQ(queued.page.not_before.time_since_epoch(), std::chrono::seconds(1000));
  EXPECT_GT(queued.page.expires, queued.arrived + std::chrono::minutes(59));
  EXPECT_EQ(mvsms_queue_set_not_before(queue_.get(), 4'000'000'000), MVSMS_ACCEPTED);
  EXPECT_EQ(Put("B", "0171", "text"), MVSMS_MISUSE);
  EXPECT_EQ(Error(), "the page would expire before it may be sent");
}

TEST_F(LibraryQueue, APageIsCancelledUnlessItIsOnTheLine) {
  ASSERT_EQ(Put("A", "0171", "text"), MVSMS_ACCEPTED);
  EXPECT_EQ(mvsms_queue_cancel(queue_.get(), "A"), MVSMS_ACCEPTED);
  EXPECT_EQ(State("A"), MVSMS_PAGE_CANCELLED);
  EXPECT_EQ(mvsms_queue_cancel(queue_.get(), "A"), MVSMS_REFUSED);
  EXPECT_EQ(Error(), "the page is cancelled already");
}

TEST_F(LibraryQueue, EveryStateHasItsNumber) {
  const std::pair<dispatch::PageState, mvsms_page_state> states[] = {
      {dispatch::PageState::kReady, MVSMS_PAGE_READY},
      {dispatch::PageState::kHeld, MVSMS_PAGE_HELD},
      {dispatch::PageState::kClaimed, MVSMS_PAGE_CLAIMED},
      {dispatch::PageState::kDialling, MVSMS_PAGE_DIALLING},
      {dispatch::PageState::kAccepted, MVSMS_PAGE_ACCEPTED},
      {dispatch::PageState::kUnknown, MVSMS_PAGE_UNKNOWN},
      {dispatch::PageState::kParked, MVSMS_PAGE_PARKED},
      {dispatch::PageState::kCancelled, MVSMS_PAGE_CANCELLED},
      {dispatch::PageState::kExpired, MVSMS_PAGE_EXPIRED},
      {dispatch::PageState::kJoined, MVSMS_PAGE_JOINED},
      {dispatch::PageState::kOffering, MVSMS_PAGE_OFFERING},
      {dispatch::PageState::kAtHub, MVSMS_PAGE_AT_HUB},
      {dispatch::PageState::kWithdrawing, MVSMS_PAGE_WITHDRAWING}};
  EXPECT_EQ(std::size(states), dispatch::kPageStateNames.size());
  for (const auto& [inner, shown] : states) {
    EXPECT_EQ(static_cast<int>(inner) + MVSMS_PAGE_READY, shown) << NameOf(inner);
  }
}

TEST_F(LibraryQueue, AQueueThatCannotBeUsedSaysWhy) {
  std::ofstream(home_ / "queue.db") << std::string(5000, 'x');
  EXPECT_EQ(Put("A", "0171", "text"), MVSMS_RETRY);
  EXPECT_THAT(Error(), HasSubstr("queue.db cannot be used"));
  EXPECT_EQ(State("A"), MVSMS_PAGE_ERROR);
  EXPECT_EQ(mvsms_queue_cancel(queue_.get(), "A"), MVSMS_RETRY);
}

PageOptions Urgent(const std::string& id) {
  PageOptions options;
  options.id = id;
  options.priority = 1;
  return options;
}

TEST_F(LibraryQueue, TheClassThrowsWhatTheFunctionsSay) {
  Queue queue(home_.path());
  EXPECT_EQ(queue.Put("0171", "text", Urgent("A")), "A");
  EXPECT_EQ(queue.State("A"), MVSMS_PAGE_READY);
  EXPECT_EQ(queue.Reason(), "");
  EXPECT_TRUE(queue.Cancel("A"));
  EXPECT_FALSE(queue.Cancel("A"));
  try {
    queue.Put("no number", "text");
    FAIL();
  } catch (const QueueError& error) {
    EXPECT_EQ(error.result(), MVSMS_UNUSABLE);
    EXPECT_THAT(error.what(), HasSubstr("the recipient is no number"));
  }
}

}  // namespace
}  // namespace mvsms
