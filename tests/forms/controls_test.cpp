// The control model: events of programmatic changes, the life of a form, its anchors.
#include "forms/controls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using test::Sampler;
using testing::ElementsAre;

class ControlModel : public testing::Test {
 protected:
  std::function<void()> Count() {
    return [this] { ++events_; };
  }
  memory::MemoryPlatform platform_;
  Sampler form_{platform_};
  int events_ = 0;
};

TEST_F(ControlModel, ATextChangeIsAnEventWhenTheTextBecomesAnother) {
  TextBox box(form_, {.name = "box"});
  box.OnChange = Count();
  box.SetText("");
  EXPECT_EQ(events_, 0);
  box.SetText("a");
  box.SetText("a");
  EXPECT_EQ(events_, 1);
  box.SetText("b");
  EXPECT_EQ(events_, 2);
  EXPECT_EQ(box.Text(), "b");
}

TEST_F(ControlModel, AHandlerSeesTheNewValueAndMayChangeItAgain) {
  TextBox box(form_, {.name = "box"});
  box.OnChange = [&] {
    if (box.Text() == "a") box.SetText("b");
  };
  box.SetText("a");
  EXPECT_EQ(box.Text(), "b");
}

TEST_F(ControlModel, ScrollingToTheEndLastsUntilTheNextText) {
  TextBox box(form_, {.name = "box"});
  box.SetText("a");
  EXPECT_FALSE(box.IsScrolledToEnd());
  box.ScrollToEnd();
  EXPECT_TRUE(box.IsScrolledToEnd());
  box.SetText("b");
  EXPECT_FALSE(box.IsScrolledToEnd());
}

TEST_F(ControlModel, ACheckBoxClicksWhenItsValueChanges) {
  CheckBox box(form_, {.name = "box"});
  box.OnClick = Count();
  box.SetValue(0);
  EXPECT_EQ(events_, 0);
  box.SetValue(1);
  box.SetValue(7);
  EXPECT_EQ(events_, 1);
  EXPECT_EQ(box.Value(), 1);
  box.SetValue(0);
  EXPECT_EQ(events_, 2);
}

TEST_F(ControlModel, AnOptionGivesUpTheOthersOfItsContainer) {
  Frame frame(form_, {.name = "frame"});
  OptionButton first(form_, {.name = "first"}), second(form_, {.name = "second"});
  OptionButton elsewhere(form_, {.name = "elsewhere", .container = &frame});
  elsewhere.SetValue(true);
  first.SetValue(true);
  first.OnClick = Count();
  second.OnClick = Count();
  second.SetValue(true);
  EXPECT_EQ(events_, 1);
  EXPECT_FALSE(first.Value());
  EXPECT_TRUE(second.Value());
  EXPECT_TRUE(elsewhere.Value());
}

class ComboModel : public ControlModel {
 protected:
  ComboModel() {
    combo_.AddItem("one", 1);
    combo_.AddItem("two", 2);
    combo_.OnClick = Count();
  }
  ComboBox combo_{form_, {.name = "combo"}};
};

TEST_F(ComboModel, ChoosingAnEntryClicks) {
  combo_.SetListIndex(1);
  EXPECT_EQ(events_, 1);
  EXPECT_EQ(combo_.Text(), "two");
  combo_.SetListIndex(1);
  EXPECT_EQ(events_, 1);
}

TEST_F(ComboModel, ChoosingNoneRaisesNothing) {
  combo_.SetListIndex(0);
  combo_.SetListIndex(ComboBox::kNone);
  EXPECT_EQ(events_, 1);
  EXPECT_EQ(combo_.Text(), "");
  combo_.SetListIndex(2);
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
}

TEST_F(ComboModel, ClearingForgetsTheChoiceSilently) {
  combo_.SetListIndex(0);
  combo_.Clear();
  EXPECT_EQ(events_, 1);
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
  EXPECT_TRUE(combo_.List().empty());
}

TEST_F(ComboModel, AnInsertedEntryLeavesTheChoiceWhereItWas) {
  combo_.SetListIndex(1);
  combo_.InsertItem("zero", 0);
  EXPECT_EQ(combo_.Text(), "two");
  combo_.InsertItem("three", 3);
  EXPECT_EQ(combo_.ListIndex(), 2);
}

TEST_F(ComboModel, ShowingAChoiceThatIsKnownRaisesNothing) {
  combo_.ShowText("two");
  EXPECT_EQ(combo_.ListIndex(), 1);
  combo_.ShowText("three");
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
  EXPECT_EQ(events_, 0);
}

TEST_F(ComboModel, ATextThatIsNoEntryLastsUntilOneIsChosen) {
  combo_.SetText("three");
  EXPECT_EQ(combo_.Text(), "three");
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
  combo_.SetListIndex(0);
  EXPECT_EQ(combo_.Text(), "one");
  combo_.SetText("three");
  EXPECT_EQ(combo_.Text(), "one");
  combo_.SetListIndex(ComboBox::kNone);
  EXPECT_EQ(combo_.Text(), "");
  EXPECT_EQ(events_, 1);
}

TEST_F(ComboModel, ATextThatIsNoEntryGoesWithTheEntries) {
  combo_.SetText("three");
  combo_.Clear();
  EXPECT_EQ(combo_.Text(), "");
}

class ListModel : public ControlModel {
 protected:
  ListModel() {
    for (const char* name : {"a", "b", "a"}) list_.Add({name, {}});
  }
  ListView list_{form_, {.name = "list"}, {{.text = "Column"}}};
};

TEST_F(ListModel, HasNoSelectionAtFirst) {
  EXPECT_EQ(list_.Selected(), ListView::kNone);
  EXPECT_EQ(list_.SelectedText(), "");
}

TEST_F(ListModel, SelectsTheFirstRowWithATextAndScrollsThere) {
  list_.SelectText("b");
  EXPECT_EQ(list_.Selected(), 1);
  EXPECT_EQ(list_.VisibleRow(), 1);
  list_.SelectText("a");
  EXPECT_EQ(list_.Selected(), 0);
  list_.SelectText("B");
  EXPECT_EQ(list_.Selected(), ListView::kNone);
}

TEST_F(ListModel, ARowScrolledToIsNotScrolledToAgainAfterAnotherSelection) {
  list_.EnsureVisible(0);
  list_.Select(2);
  EXPECT_EQ(list_.VisibleRow(), ListView::kNone);
}

TEST_F(ListModel, ClearingForgetsTheSelection) {
  list_.Select(2);
  list_.Clear();
  EXPECT_EQ(list_.Selected(), ListView::kNone);
  EXPECT_EQ(list_.VisibleRow(), ListView::kNone);
}

TEST_F(ListModel, TellsWhenAnotherRowOrNoneIsSelected) {
  list_.OnSelect = Count();
  list_.Select(1);
  list_.Select(1);
  EXPECT_EQ(events_, 1);
  list_.Clear();
  EXPECT_EQ(events_, 2);
  list_.Clear();
  EXPECT_EQ(events_, 2);
}

TEST_F(ListModel, TheStyleMessageChangesTheMaskedBitsAndTellsTheOnesBefore) {
  EXPECT_EQ(list_.SendMessage(4150, -1, 32), 0);
  EXPECT_EQ(list_.SendMessage(4150, 1, 5), 32);
  EXPECT_EQ(list_.ExtendedStyle(), 33);
  EXPECT_EQ(list_.SendMessage(4150, 0, 4), 33);
  EXPECT_EQ(list_.ExtendedStyle(), 4);
  EXPECT_EQ(list_.SendMessage(4151, -1, 0), 0);
  EXPECT_EQ(list_.ExtendedStyle(), 4);
}

TEST_F(ControlModel, SelectingATabClicksAlsoWhenItIsTheSameOne) {
  TabStrip strip(form_, {.name = "strip"}, {{.caption = "1"}, {.caption = "2"}});
  strip.OnClick = Count();
  EXPECT_EQ(strip.SelectedIndex(), 1);
  strip.Select(2);
  strip.Select(2);
  EXPECT_EQ(strip.SelectedIndex(), 2);
  EXPECT_EQ(events_, 2);
  strip.Select(3);
  strip.Select(0);
  EXPECT_EQ(strip.SelectedIndex(), 2);
  EXPECT_EQ(events_, 2);
}

TEST_F(ControlModel, PagesAreTurnedAroundTheEnds) {
  EXPECT_FALSE(form_.TurnPage(1));
  TabStrip only(form_, {.name = "only"}, {{.caption = "1"}});
  EXPECT_FALSE(form_.TurnPage(1));
  TabStrip strip(form_, {.name = "strip"}, {{.caption = "1"}, {.caption = "2"}, {.caption = "3"}});
  strip.OnClick = Count();
  EXPECT_TRUE(form_.TurnPage(-1));
  EXPECT_EQ(strip.SelectedIndex(), 3);
  EXPECT_TRUE(form_.TurnPage(1));
  EXPECT_EQ(strip.SelectedIndex(), 1);
  EXPECT_EQ(events_, 2);
}

TEST_F(ControlModel, APropertyThatATypeLacksRaises438) {
  TextBox box(form_, {.name = "box"});
  Menu menu(form_, {.name = "menu", .caption = "File"});
  const auto number = [](auto&& action) {
    try {
      action();
    } catch (const RaisedError& error) {
      return error.number();
    }
    return 0;
  };
  EXPECT_EQ(number([&] { box.SetCaption("x"); }), 438);
  EXPECT_EQ(number([&] { (void)box.Caption(); }), 438);
  EXPECT_EQ(number([&] { (void)menu.ToolTipText(); }), 438);
  EXPECT_EQ(number([&] { menu.SetToolTipText("x"); }), 438);
  EXPECT_EQ(menu.Caption(), "File");
}

TEST_F(ControlModel, ATimerTicksUntilItIsDisabled) {
  Timer timer(form_, {.name = "timer"});
  timer.OnTimer = Count();
  const auto wait = [&] {
    platform_.loop().Sleep(memory::Millis(100));
    platform_.loop().DoEvents();
  };
  timer.SetEnabled(true);  // without an interval
  wait();
  EXPECT_EQ(events_, 0);
  timer.SetInterval(100);
  timer.SetEnabled(true);
  wait();
  wait();
  EXPECT_EQ(events_, 2);
  timer.SetEnabled(false);
  wait();
  EXPECT_EQ(events_, 2);
  EXPECT_EQ(platform_.running_timers(), 0U);
}

class FormLife : public testing::Test {
 protected:
  memory::MemoryPlatform platform_;
  Sampler form_{platform_};
};

TEST_F(FormLife, LoadsOncePerLife) {
  int loads = 0;
  form_.on_load = [&] { ++loads; };
  form_.Load();
  form_.Show();
  EXPECT_EQ(loads, 1);
  form_.Unload();
  EXPECT_FALSE(form_.IsVisible());
  form_.Show();
  EXPECT_EQ(loads, 2);
}

TEST_F(FormLife, ItsWindowComesWithTheFirstShowAndGoesWithUnload) {
  form_.Load();
  EXPECT_EQ(platform_.open_windows(), 0U);
  form_.Show();
  EXPECT_EQ(platform_.open_windows(), 1U);
  form_.Hide();
  EXPECT_EQ(platform_.open_windows(), 1U);
  EXPECT_FALSE(form_.IsVisible());
  form_.Unload();
  EXPECT_EQ(platform_.open_windows(), 0U);
}

TEST_F(FormLife, UnloadingTwiceUnloadsOnce) {
  int unloads = 0;
  form_.on_unload = [&] { ++unloads; };
  form_.Load();
  form_.Unload();
  form_.Unload();
  EXPECT_EQ(unloads, 1);
}

TEST_F(FormLife, UnloadingStopsItsTimers) {
  Timer timer(form_, {.name = "timer"});
  timer.SetInterval(10);
  form_.Load();
  timer.SetEnabled(true);
  form_.Unload();
  EXPECT_EQ(platform_.running_timers(), 0U);
}

TEST_F(FormLife, AModalFormReturnsWhenItIsHidden) {
  platform_.on_modal = [](Form& form) { form.Hide(); };
  form_.ShowModal();
  EXPECT_TRUE(form_.IsLoaded());
  EXPECT_FALSE(form_.IsVisible());
  EXPECT_THAT(platform_.shown, ElementsAre("ShowModal Sampler", "Hide Sampler"));
}

TEST_F(FormLife, ClosingTheWindowPressesTheButtonOfTheEscapeKey) {
  CommandButton ok(form_, {.name = "ok"}, CommandButton::Key::kEnter);
  CommandButton cancel(form_, {.name = "cancel"}, CommandButton::Key::kEscape);
  int clicks = 0;
  cancel.OnClick = [&] { ++clicks; };
  form_.Show();
  form_.Close();
  EXPECT_EQ(clicks, 1);
  EXPECT_TRUE(form_.IsLoaded());
  cancel.SetEnabled(false);
  form_.Close();
  EXPECT_EQ(clicks, 1);
  EXPECT_TRUE(form_.IsLoaded());
}

TEST_F(FormLife, ClosingTheWindowOfAFormWithoutSuchAButtonUnloadsIt) {
  form_.Show();
  form_.Close();
  EXPECT_FALSE(form_.IsLoaded());
}

TEST_F(FormLife, AFormGivenUpInItsOwnEventEndsAfterIt) {
  auto form = std::make_shared<Sampler>(platform_);
  std::weak_ptr<Sampler> watch = form;
  platform_.on_modal = [&](Form& shown) {
    form.reset();
    EXPECT_FALSE(watch.expired());
    shown.Unload();
  };
  form->ShowModal();
  EXPECT_TRUE(watch.expired());
}

TEST_F(FormLife, AnchoredControlsFollowTheSize) {
  TextBox fixed(form_, {.name = "fixed", .place = {1, 2, 3, 4}});
  TextBox grows(form_, {.name = "grows", .place = {1, 2, 3, 4}, .anchor = kAnchorAll});
  TextBox moves(form_, {.name = "moves", .place = {1, 2, 3, 4}, .anchor = kAnchorBottomRight});
  TextBox wide(form_, {.name = "wide", .place = {1, 2, 3, 4}, .anchor = kAnchorWide});
  int resizes = 0;
  form_.on_resize = [&] { ++resizes; };
  form_.Resize(1010, 1100);
  const auto place = [](const Control& control) {
    const Box& box = control.Place();
    return std::vector<int>{box.left, box.top, box.width, box.height};
  };
  EXPECT_THAT(place(fixed), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(place(grows), ElementsAre(1, 2, 13, 104));
  EXPECT_THAT(place(moves), ElementsAre(11, 102, 3, 4));
  EXPECT_THAT(place(wide), ElementsAre(1, 2, 13, 4));
  EXPECT_EQ(resizes, 1);
  form_.Resize(1000, 1000);
  EXPECT_THAT(place(grows), ElementsAre(1, 2, 3, 4));
}

TEST_F(FormLife, AFormThatCannotBeShownSaysSo) {
  platform_.fail = [](const std::string& operation) { return operation == "Forms.CreatePeer"; };
  EXPECT_THROW(form_.Show(), RaisedError);
  EXPECT_FALSE(form_.IsVisible());
}

}  // namespace
}  // namespace mvsms
