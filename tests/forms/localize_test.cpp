// Localisation of a form with every type of control, and the helpers of the combo boxes and lists.
#include "forms/localize.h"

#include <gtest/gtest.h>

#include "tests/support/desktop.h"

namespace mvsms {
namespace {

using test::Sampler;

class Localisation : public testing::Test {
 protected:
  Localisation() { platform_.language = kLanguageGerman; }
  memory::MemoryPlatform platform_;
};

TEST_F(Localisation, TheFormsTagBecomesItsCaption) {
  Sampler form(platform_, "5000");
  LocalizeForm(form);
  EXPECT_EQ(form.Caption(), "SMS Konfiguration");
}

TEST_F(Localisation, AFormWithoutANumberKeepsItsCaption) {
  Sampler form(platform_, "form");
  LocalizeForm(form);
  EXPECT_EQ(form.Caption(), "Sampler");
}

TEST_F(Localisation, ATagBecomesTheCaptionOfOrdinaryControls) {
  Sampler form(platform_);
  Label label(form, {.name = "label", .caption = "x", .tag = "5009"});
  CheckBox check(form, {.name = "check", .caption = "x", .tag = "5017"});
  OptionButton option(form, {.name = "option", .caption = "x", .tag = "6118"});
  CommandButton button(form, {.name = "button", .caption = "x", .tag = "11"});
  Frame frame(form, {.name = "frame", .caption = "x", .tag = "5002"});
  LocalizeForm(form);
  EXPECT_EQ(label.Caption(), "Standard-Dienst:");
  EXPECT_EQ(check.Caption(), "Status in Logfile schreiben");
  EXPECT_EQ(option.Caption(), "Vordefiniert");
  EXPECT_EQ(button.Caption(), "Abbrechen");
  EXPECT_EQ(frame.Caption(), "Dienste");
}

TEST_F(Localisation, ANumericToolTipBecomesItsText) {
  Sampler form(platform_);
  TextBox box(form, {.name = "box", .tag = "5009"});  // it has no caption: that step is skipped
  box.SetToolTipText("5013");
  ComboBox combo(form, {.name = "combo"});
  combo.SetToolTipText("tip");
  LocalizeForm(form);
  EXPECT_EQ(box.ToolTipText(), "'+' immer ersetzen durch '00'");
  EXPECT_EQ(combo.ToolTipText(), "tip");
}

TEST_F(Localisation, AMenuHasItsNumberInItsCaption) {
  Sampler form(platform_);
  Menu menu(form, {.name = "menu", .caption = "5008", .tag = "5007"});
  Menu other(form, {.name = "other", .caption = "File"});
  LocalizeForm(form);
  EXPECT_EQ(menu.Caption(),
            "Schlie\xDF"
            "en");
  EXPECT_EQ(other.Caption(), "File");
}

TEST_F(Localisation, TabsHaveCaptionsAndToolTips) {
  Sampler form(platform_);
  TabStrip strip(form, {.name = "strip", .tag = "5000"},
                 {{.caption = "one", .tag = "5001", .tool_tip = "5004"}, {.caption = "two"}});
  LocalizeForm(form);
  EXPECT_EQ(strip.Tabs()[0].caption, "Allgemein");
  EXPECT_EQ(strip.Tabs()[0].tool_tip, "Wartung");
  EXPECT_EQ(strip.Tabs()[1].caption, "two");
}

TEST_F(Localisation, ToolbarButtonsHaveToolTips) {
  Sampler form(platform_);
  Toolbar bar(form, {.name = "bar"},
              {{.caption = "b", .tag = "6109"}, {.tag = "x", .tool_tip = "t"}});
  LocalizeForm(form);
  EXPECT_EQ(bar.Buttons()[0].tool_tip, "Senden");
  EXPECT_EQ(bar.Buttons()[0].caption, "b");
  EXPECT_EQ(bar.Buttons()[1].tool_tip, "t");
}

TEST_F(Localisation, ColumnsHaveTitles) {
  Sampler form(platform_);
  ListView list(form, {.name = "list"}, {{.text = "Transport"}, {.text = "Number", .tag = "6115"}});
  LocalizeForm(form);
  EXPECT_EQ(list.Columns()[0].text, "Transport");
  EXPECT_EQ(list.Columns()[1].text, "Nummer");
}

TEST_F(Localisation, AnUnknownIdKeepsTheDesignsTextAndTheRestGoesOn) {
  Sampler form(platform_, "4999");
  Label unknown(form, {.name = "unknown", .caption = "design", .tag = "9999"});
  Label huge(form, {.name = "huge", .caption = "design", .tag = "99999"});
  Label text(form, {.name = "text", .caption = "design", .tag = "abc"});
  Label known(form, {.name = "known", .caption = "design", .tag = "6115"});
  Timer timer(form, {.name = "timer", .tag = "6115"});
  LocalizeForm(form);
  EXPECT_EQ(form.Caption(), "Sampler");
  EXPECT_EQ(unknown.Caption(), "design");
  EXPECT_EQ(huge.Caption(), "design");
  EXPECT_EQ(text.Caption(), "design");
  EXPECT_EQ(known.Caption(), "Nummer");
}

class ComboHelpers : public Localisation {
 protected:
  ComboHelpers() {
    combo_.AddItem("Default", 2);
    combo_.AddItem("other", 3);
    combo_.AddItem("other", 3);
    combo_.OnClick = [this] { ++clicks_; };
  }
  Sampler form_{platform_};
  ComboBox combo_{form_, {.name = "combo"}};
  int clicks_ = 0;
};

TEST_F(ComboHelpers, SetComboStringChoosesTheFirstEqualEntryAndClicks) {
  EXPECT_TRUE(SetComboString(combo_, "other"));
  EXPECT_EQ(combo_.ListIndex(), 1);
  EXPECT_EQ(clicks_, 1);
}

TEST_F(ComboHelpers, SetComboStringWithoutAMatchChoosesNoneAndIsTrueAllTheSame) {
  combo_.SetListIndex(0);
  EXPECT_TRUE(SetComboString(combo_, "default"));
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
}

TEST_F(ComboHelpers, SetComboStringClicksAgainForTheEntryThatWasChosen) {
  combo_.SetListIndex(0);
  SetComboString(combo_, "Default");
  EXPECT_EQ(clicks_, 2);
}

TEST_F(ComboHelpers, SetComboValueGoesByTheItemData) {
  EXPECT_TRUE(SetComboValue(combo_, 3));
  EXPECT_EQ(combo_.ListIndex(), 1);
  EXPECT_FALSE(SetComboValue(combo_, 4));
  EXPECT_EQ(combo_.ListIndex(), ComboBox::kNone);
}

TEST_F(Localisation, SetListViewStyleSendsTheListsMessage) {
  Sampler form(platform_);
  ListView list(form, {.name = "list"}, {});
  EXPECT_EQ(SetListViewStyle(list, -1, kFullRowSelect), 0);
  EXPECT_EQ(list.ExtendedStyle(), 32);
  EXPECT_EQ(SetListViewStyle(list, -1, 1), 32);
}

}  // namespace
}  // namespace mvsms
