// What screen readers call the controls.
#include "forms/accessibility.h"

#include <gtest/gtest.h>

#include "diagnostics/frmerror.h"
#include "tests/support/desktop.h"
#include "ui/frmconfig.h"
#include "ui/frmeditroute.h"
#include "ui/frmnewservice.h"
#include "ui/frmserviceproperties.h"
#include "ui/frmstatus.h"
#include "ui/frmtest.h"

namespace mvsms {
namespace {

class AccessibleNames : public testing::Test {
 protected:
  memory::MemoryPlatform platform_;
  Apartment apartment_{platform_};
  test::Sampler form_{platform_};
};

TEST_F(AccessibleNames, AreCaptionsWhereThereAreAny) {
  const CommandButton button(form_, {.name = "button", .caption = "Add"});
  EXPECT_EQ(AccessibleName(button), "Add");
}

TEST_F(AccessibleNames, OfAFieldIsTheLabelOrCheckBoxRightBeforeIt) {
  const Label label(form_, {.name = "label", .caption = "Name"});
  const TextBox labelled(form_, {.name = "labelled"});
  const TextBox next(form_, {.name = "next"});
  const CheckBox check(form_, {.name = "check", .caption = "Replace with:"});
  const ComboBox checked(form_, {.name = "checked"});
  EXPECT_EQ(AccessibleName(labelled), "Name");
  EXPECT_EQ(AccessibleName(next), "Sampler");
  EXPECT_EQ(AccessibleName(checked), "Replace with:");
}

TEST_F(AccessibleNames, OfAnythingElseIsItsPageOrTheForm) {
  Frame page(form_, {.name = "page", .caption = "Services"});
  const Label outside(form_, {.name = "outside", .caption = "Outside"});
  const ListView list(form_, {.name = "list", .container = &page}, {{.text = "Column"}});
  const TabStrip tabs(form_, {.name = "tabs"}, {{.caption = "Services"}});
  EXPECT_EQ(AccessibleName(page), "Services");
  EXPECT_EQ(AccessibleName(list), "Services");
  EXPECT_EQ(AccessibleName(tabs), "Sampler");
}

TEST_F(AccessibleNames, OfTheConfigurationDialogSayWhatAFieldIsFor) {
  frmConfig config(apartment_);
  config.Load();
  const std::pair<const Control*, const char*> names[] = {
      {&config.cmbModems, "Default Modem:"}, {&config.txtCountry, "Always replace '0..' with:"},
      {&config.lsServices, "Services"},      {&config.lsRouting, "Routing"},
      {&config.Frame[3], "Diagnostics"},     {&config.TabStrip1, "SMS Configuration"}};
  for (const auto& [control, name] : names) EXPECT_EQ(AccessibleName(*control), name);
}

TEST_F(AccessibleNames, EveryControlOfEveryDialogHasOneInBothLanguages) {
  for (const std::uint16_t language : {kLanguageEnglish, kLanguageGerman}) {
    platform_.language = language;
    const std::shared_ptr<Form> forms[] = {std::make_shared<frmConfig>(apartment_),
                                           std::make_shared<frmServiceProperties>(platform_),
                                           std::make_shared<frmNewService>(platform_),
                                           std::make_shared<frmEditRoute>(platform_),
                                           std::make_shared<frmTest>(apartment_),
                                           std::make_shared<frmStatus>(platform_),
                                           std::make_shared<frmError>(platform_, ErrorDetails{})};
    for (const auto& form : forms) {
      form->Load();
      for (const Control* control : form->Controls()) {
        if (control->Type() == ControlType::kTimer) continue;
        EXPECT_NE(AccessibleName(*control), "") << form->Name() << "." << control->Name();
      }
    }
  }
}

}  // namespace
}  // namespace mvsms
