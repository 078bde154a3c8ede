// The life of the status window.
#include "ui/frmstatus.h"

#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"

namespace mvsms {
namespace {

class StatusForm : public testing::Test {
 protected:
  void Wait(int milliseconds) {
    platform_.loop().Sleep(memory::Millis(milliseconds));
    platform_.loop().DoEvents();
  }

  memory::MemoryPlatform platform_;
  frmStatus form_{platform_};
};

TEST_F(StatusForm, IsLoadedAndHiddenAtFirst) {
  EXPECT_TRUE(form_.IsLoaded());
  EXPECT_FALSE(form_.IsVisible());
}

TEST_F(StatusForm, ItsTextBoxFillsTheWindow) {
  form_.Show();
  form_.Resize(9000, 7000);
  const Box& box = form_.txtStatus.Place();
  EXPECT_EQ(box.left, 0);
  EXPECT_EQ(box.top, 0);
  EXPECT_EQ(box.width, 9000);
  EXPECT_EQ(box.height, 7000);
  EXPECT_TRUE(form_.txtStatus.style().multi_line);
}

TEST_F(StatusForm, LeavesTheKeyboardWhereItIs) {
  form_.Show();
  EXPECT_TRUE(form_.design().passive);
  EXPECT_EQ(platform_.forms().ActiveWindow(), kNoWindow);
}

TEST_F(StatusForm, ShowsTheText) {
  form_.Show();
  form_.SetText("one");
  form_.SetText("one two");
  EXPECT_TRUE(form_.IsVisible());
  EXPECT_EQ(form_.txtStatus.Text(), "one two");
}

TEST_F(StatusForm, UnloadsItselfFiveSecondsAfterStartHide) {
  form_.Show();
  form_.SetText("text");
  form_.StartHide();
  Wait(4999);
  EXPECT_TRUE(form_.IsVisible());
  Wait(1);
  EXPECT_FALSE(form_.IsVisible());
  EXPECT_FALSE(form_.IsLoaded());
  EXPECT_EQ(platform_.running_timers(), 0U);
}

TEST_F(StatusForm, StaysOpenUntilStartHide) {
  form_.Show();
  Wait(60'000);
  EXPECT_TRUE(form_.IsVisible());
}

TEST_F(StatusForm, TakesTextWhileItWaitsToClose) {
  form_.Show();
  form_.StartHide();
  Wait(3000);
  form_.SetText("more");
  EXPECT_TRUE(form_.IsVisible());
  EXPECT_EQ(form_.txtStatus.Text(), "more");
  Wait(2000);
  EXPECT_FALSE(form_.IsLoaded());
}

TEST_F(StatusForm, TextAfterTheEndLoadsItInvisibly) {
  form_.Show();
  form_.StartHide();
  Wait(5000);
  form_.SetText("next send");
  EXPECT_TRUE(form_.IsLoaded());
  EXPECT_FALSE(form_.IsVisible());
  EXPECT_EQ(form_.txtStatus.Text(), "next send");
}

TEST_F(StatusForm, SecondStartHideCountsFiveSecondsAnew) {
  form_.Show();
  form_.StartHide();
  Wait(4000);
  form_.StartHide();
  Wait(4000);
  EXPECT_TRUE(form_.IsVisible());
  EXPECT_EQ(platform_.running_timers(), 1U);
  Wait(1000);
  EXPECT_FALSE(form_.IsLoaded());
}

TEST_F(StatusForm, ClosedByItsUserItStopsItsTimer) {
  form_.Show();
  form_.StartHide();
  form_.Unload();
  EXPECT_FALSE(form_.IsLoaded());
  EXPECT_EQ(platform_.running_timers(), 0U);
}

TEST_F(StatusForm, EndsWithItsTimer) {
  {
    frmStatus form(platform_);
    form.StartHide();
  }
  EXPECT_EQ(platform_.running_timers(), 0U);
  Wait(6000);
}

TEST_F(StatusForm, WithoutAFreeTimerItStaysOpen) {
  platform_.max_system_timers = 0;
  form_.Show();
  form_.StartHide();
  Wait(10'000);
  EXPECT_TRUE(form_.IsVisible());
}

}  // namespace
}  // namespace mvsms
