// The editor only stores a choice; prefixes are made and deleted by the configuration dialog.
#include "ui/frmeditroute.h"

#include "diagnostics/procedure.h"
#include "engine/profile.h"
#include "forms/localize.h"

namespace mvsms {

frmEditRoute::frmEditRoute(Platform& platform)
    : Form(platform, {.name = "frmEditRoute",
                      .caption = "Change Routing Entry",
                      .tag = "105",
                      .width = 4500,
                      .height = 1230}),
      lblService(*this, {.name = "lblService",
                         .caption = "Service Name",
                         .tag = "6002",
                         .place = {180, 225, 1200, 240}}),
      cmbService(*this, {.name = "cmbService", .place = {1440, 180, 2880, 315}}),
      cmdOK(*this, {.name = "cmdOK", .caption = "OK", .tag = "10", .place = {1680, 690, 1260, 375}},
            CommandButton::Key::kEnter),
      cmdCancel(
          *this,
          {.name = "cmdCancel", .caption = "Cancel", .tag = "11", .place = {3060, 690, 1260, 375}},
          CommandButton::Key::kEscape) {
  cmdOK.OnClick = [this] { cmdOK_Click(); };
  cmdCancel.OnClick = [this] { Hide(); };
}

void frmEditRoute::Form_Load() {
  LocalizeForm(*this);
  FillServices();
  ResumeNext([&] {
    SetComboString(
        cmbService,
        ToText(Profile(platform().registry(), RegPath).Route(Route).Get(setting::kUseService)));
  });
}

void frmEditRoute::FillServices() {
  RunProcedure(platform(), "frmEditRoute", "FillServices", [&](Procedure& statement) {
    statement([&] { cmbService.Clear(); });
    const auto names =
        statement([&] { return Profile(platform().registry(), RegPath).Services(); });
    for (const std::string& name : names) statement([&] { cmbService.AddItem(name); });
  });
}

void frmEditRoute::cmdOK_Click() {
  ResumeNext([&] {
    const SettingsKey route = Profile(platform().registry(), RegPath).Route(Route);
    if (!route.Set(setting::kUseService, cmbService.Text())) {
      platform().forms().MsgBox("Error saving value!", msgbox::kOkOnly, "cmdOK_Click");
    }
  });
  Hide();
}

}  // namespace mvsms
