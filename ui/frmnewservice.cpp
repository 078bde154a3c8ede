// Nothing is stored here; see the header.
#include "ui/frmnewservice.h"

#include "diagnostics/procedure.h"
#include "engine/profile.h"
#include "forms/localize.h"
#include "resources/string_table.h"
#include "ui/messages.h"

namespace mvsms {
namespace {

constexpr char kModule[] = "frmNewService";

ListView::Row RowOf(const CatalogueRecord& record) {
  using namespace catalogue;
  return {FieldOf(record, kId),
          {FieldOf(record, kName), FieldOf(record, kGroup), FieldOf(record, kProtocol),
           FieldOf(record, kPhoneNumber), FieldOf(record, kChecked)}};
}

}  // namespace

frmNewService::frmNewService(Platform& platform)
    : Form(platform, {.name = kModule,
                      .caption = "Add Service",
                      .tag = "6119",
                      .width = 9300,
                      .height = 5640,
                      .resizable = true}),
      Option1{{*this, {.name = "Option1", .tag = "6117", .place = {180, 180, 1980, 285}}},
              {*this, {.name = "Option1", .tag = "6118", .place = {180, 600, 1980, 285}}}},
      lblName(*this, {.name = "lblName", .tag = "12", .place = {2280, 210, 1500, 240}}),
      txtName(*this, {.name = "txtName", .place = {3840, 165, 5280, 315}, .anchor = kAnchorWide}),
      lblFilter(*this, {.name = "lblFilter", .tag = "6113", .place = {2280, 630, 1500, 240}}),
      cmbLanguage(*this,
                  {.name = "cmbLanguage", .place = {3840, 585, 5280, 315}, .anchor = kAnchorWide}),
      lblServices(*this, {.name = "lblServices", .tag = "6112", .place = {180, 1020, 3000, 240}}),
      lsServices(
          *this, {.name = "lsServices", .place = {180, 1290, 8940, 3540}, .anchor = kAnchorAll},
          {{.text = "ID", .width = 540, .key = "ID"},
           {.text = "Name", .width = 2760, .tag = "12", .key = "Name"},
           {.text = "CC", .width = 1500, .key = "CC"},
           {.text = "Protocol Type", .width = 1380, .tag = "6004", .key = setting::kProtocol.name},
           {.text = "Number", .width = 1500, .tag = "6115", .key = "Number"},
           {.text = "Checked", .width = 960, .tag = "6116", .key = "Checked"}}),
      lblProviderInfo(*this, {.name = "lblProviderInfo",
                              .tag = "6120",
                              .place = {180, 5010, 5760, 450},
                              .anchor = kAnchorLeft | kAnchorRight | kAnchorBottom}),
      OKButton(*this,
               {.name = "OKButton",
                .tag = "10",
                .place = {6480, 5040, 1260, 375},
                .anchor = kAnchorBottomRight},
               CommandButton::Key::kEnter),
      CancelButton(*this,
                   {.name = "CancelButton",
                    .tag = "11",
                    .place = {7860, 5040, 1260, 375},
                    .anchor = kAnchorBottomRight},
                   CommandButton::Key::kEscape) {
  SetListViewStyle(lsServices, -1, kFullRowSelect);
  for (OptionButton& option : Option1) option.OnClick = [this] { Option1_Click(); };
  txtName.OnChange = [this] { Option1_Click(); };
  cmbLanguage.OnClick = [this] { FillList(); };
  lsServices.OnDoubleClick = [this] { OKButton_Click(); };
  lblProviderInfo.OnClick = [this] { lblProviderInfo_Click(); };
  OKButton.OnClick = [this] { OKButton_Click(); };
  CancelButton.OnClick = [this] { Hide(); };
  SetFirstFocus(txtName);
}

void frmNewService::Form_Load() {
  LocalizeForm(*this);
  ResumeNext([this] { lblProviderInfo.SetVisible(!ProviderPage().empty()); });
}

/// An installation that has such a page names it.
std::string frmNewService::ProviderPage() const {
  return ToText(RootKey(platform().registry()).GetOrInitial(setting::kProviderInfoPage));
}

void frmNewService::Prepare() {
  result_.clear();
  Load();
  txtName.SetText("");
  Option1[0].SetValue(true);
  Option1_Click();
  LoadFile();
  FillList();
}

void frmNewService::LoadFile() {
  RunProcedure(platform(), kModule, "LoadFile", [&](Procedure& statement) {
    statement([&] { cmbLanguage.Clear(); });
    statement([&] { cmbLanguage.AddItem(LoadResString(platform().locale(), string_id::kAll)); });
    const bool missing = statement([&] { return !catalogue_.Load(platform()); });
    if (missing) {
      statement([&] {
        platform().forms().MsgBox("Default file not found (smstransports.inf)", msgbox::kOkOnly,
                                  "");
      });
    }
    for (const std::string& group : catalogue_.Groups()) {
      statement([&] { cmbLanguage.AddItem(group); });
    }
    statement([&] { cmbLanguage.SetListIndex(0); });
  });
}

void frmNewService::FillList() {
  RunProcedure(platform(), kModule, "FillList", [&](Procedure& statement) {
    statement([&] { lsServices.Clear(); });
    const bool all = ShowsAll();
    const std::string group = cmbLanguage.Text();
    for (const CatalogueRecord& record : catalogue_.Records()) {
      if (!all && FieldOf(record, catalogue::kGroup) != group) continue;
      statement([&] { lsServices.Add(RowOf(record)); });
    }
    statement([&] { lsServices.EnsureVisible(0); });
  });
}

/// What belongs to the other choice is disabled; a blank service needs a name.
void frmNewService::Option1_Click() {
  RunProcedure(platform(), kModule, "Option1_Click", [&](Procedure& statement) {
    const bool blank = Option1[0].Value();
    statement([&] { txtName.SetEnabled(blank); });
    statement([&] { cmbLanguage.SetEnabled(!blank); });
    statement([&] { lsServices.SetEnabled(!blank); });
    statement([&] { OKButton.SetEnabled(!blank || !txtName.Text().empty()); });
  });
}

void frmNewService::OKButton_Click() {
  RunProcedure(platform(), kModule, "OKButton_Click", [&](Procedure& statement) {
    if (Option1[0].Value()) {
      statement([&] { result_ = BlankService(txtName.Text()); });
    } else if (lsServices.Selected() == ListView::kNone) {
      statement(
          [&] { platform().forms().MsgBox("Please select a service!", msgbox::kOkOnly, ""); });
      return;
    } else {
      statement([&] { result_ = *catalogue_.Find(lsServices.SelectedText()); });
    }
    statement([&] { Hide(); });
  });
}

/// The user's language code is appended to the page.
void frmNewService::lblProviderInfo_Click() {
  RunProcedure(platform(), kModule, "lblProviderInfo_Click", [&](Procedure& statement) {
    const std::string page = statement([&] { return ProviderPage(); });
    const std::int32_t result = statement([&] {
      return basCommon::OpenDocument(
          platform().shell(),
          page + (page.find('?') == std::string::npos ? "?" : "&") +
              "Language=" + LoadResString(platform().locale(), string_id::kLanguageCode));
    });
    if (result >= kShellSuccess) return;
    statement([&] {
      platform().forms().MsgBox(basCommon::OpenDocumentError(result), msgbox::kOkOnly, "");
    });
  });
}

}  // namespace mvsms
