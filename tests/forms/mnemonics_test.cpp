// Access keys: which letters captions get.
#include "forms/mnemonics.h"

#include <gtest/gtest.h>

#include "tests/support/desktop.h"
#include "ui/frmconfig.h"
#include "ui/frmserviceproperties.h"

namespace mvsms {
namespace {

class AccessKeys : public testing::Test {
 protected:
  /// The caption as a window shows it.
  std::string Marked(const Control& control) {
    const auto positions = AssignMnemonics(control.Parent());
    const auto found = positions.find(&control);
    return found == positions.end() ? MarkMnemonic(control.Caption())
                                    : MarkMnemonic(control.Caption(), found->second);
  }
  memory::MemoryPlatform platform_;
  test::Sampler form_{platform_};
};

TEST_F(AccessKeys, AreTheBeginningsOfWordsFirst) {
  CommandButton a(form_, {.name = "a", .caption = "Send all"});
  CommandButton b(form_, {.name = "b", .caption = "Save all"});
  CommandButton c(form_, {.name = "c", .caption = "Sass"});
  CommandButton d(form_, {.name = "d", .caption = "as"});
  CommandButton e(form_, {.name = "e", .caption = "Sas1"});
  EXPECT_EQ(Marked(a), "&Send all");
  EXPECT_EQ(Marked(b), "Save &all");
  EXPECT_EQ(Marked(c), "Sass");
  EXPECT_EQ(Marked(d), "as");
  EXPECT_EQ(Marked(e), "Sas&1");
}

TEST_F(AccessKeys, BelongToLabelsThatNameAField) {
  Label names(form_, {.name = "names", .caption = "Name"});
  TextBox field(form_, {.name = "field"});
  Label explains(form_, {.name = "explains", .caption = "Explanation"});
  CommandButton button(form_, {.name = "button", .caption = "Button"});
  EXPECT_EQ(Marked(names), "&Name");
  EXPECT_EQ(Marked(explains), "Explanation");
}

TEST_F(AccessKeys, AreNotForButtonsThatHaveAKey) {
  CommandButton ok(form_, {.name = "ok", .caption = "OK"}, CommandButton::Key::kEnter);
  CommandButton cancel(form_, {.name = "cancel", .caption = "Cancel"}, CommandButton::Key::kEscape);
  EXPECT_EQ(Marked(ok), "OK");
  EXPECT_EQ(Marked(cancel), "Cancel");
}

TEST_F(AccessKeys, AreForTheButtonOfEnterWhereAFieldTakesThatKey) {
  TextBox log(form_, {.name = "log"}, {.multi_line = true, .locked = true});
  CommandButton send(form_, {.name = "send", .caption = "Send"}, CommandButton::Key::kEnter);
  EXPECT_EQ(Marked(send), "Send");
  TextBox message(form_, {.name = "message"}, {.multi_line = true});
  EXPECT_EQ(Marked(send), "&Send");
}

TEST_F(AccessKeys, MayRepeatOnAnotherPageButNotOutsideThePages) {
  Frame one(form_, {.name = "one"}), two(form_, {.name = "two"});
  CommandButton first(form_, {.name = "first", .caption = "Add", .container = &one});
  CommandButton second(form_, {.name = "second", .caption = "Add", .container = &two});
  CommandButton below(form_, {.name = "below", .caption = "Apply"});
  EXPECT_EQ(Marked(below), "&Apply");
  EXPECT_EQ(Marked(first), "A&dd");
  EXPECT_EQ(Marked(second), "A&dd");
}

TEST_F(AccessKeys, AnAmpersandOfTheTextIsShown) {
  CommandButton button(form_, {.name = "button", .caption = "R&D"});
  EXPECT_EQ(Marked(button), "&R&&D");
}

TEST_F(AccessKeys, EveryFieldOfTheDialogsHasOneInBothLanguages) {
  Apartment apartment(platform_);
  for (const std::uint16_t language : {kLanguageEnglish, kLanguageGerman}) {
    platform_.language = language;
    frmConfig config(apartment);
    config.Load();
    const auto positions = AssignMnemonics(config);
    for (const Control* control : config.Controls()) {
      if (control->Type() == ControlType::kLabel || control->Type() == ControlType::kCheckBox) {
        EXPECT_EQ(positions.count(control), 1U) << control->Name();
      }
    }
    frmServiceProperties service(platform_);
    service.Load();
    const auto fields = AssignMnemonics(service);
    for (const Control* control : service.Controls()) {
      if (control->Type() == ControlType::kLabel) {
        EXPECT_EQ(fields.count(control), 1U) << control->Caption();
      }
    }
  }
}

}  // namespace
}  // namespace mvsms
