// Layout first, then the bindings of events to procedures, then the procedures, page by page.
#include "ui/frmconfig.h"

#include "base/numbers.h"
#include "diagnostics/procedure.h"
#include "engine/modem_list.h"
#include "engine/send_log.h"
#include "forms/localize.h"
#include "resources/string_table.h"
#include "ui/frmtest.h"
#include "ui/messages.h"

namespace mvsms {
namespace {

constexpr char kModule[] = "frmConfig";
constexpr int kPageLeft = 60;
constexpr int kPageTop = 500;
constexpr Box kPage = {kPageLeft, kPageTop, 7200, 4080};

// The pages "Common" and "Diagnostics": rows, and in a row a label and its field from left to
// right. `top` is that of the row, `left` that of the field.
constexpr int kLeft = 180;
constexpr int kTextLeft = 2220;
constexpr int kNumberLeft = 3240;

constexpr Box LabelAt(int top, int left) { return {kLeft, top + 45, left - kLeft - 60, 240}; }
constexpr Box FieldAt(int top, int left, int width) { return {left, top, width, 315}; }
constexpr Box LineAt(int top) { return {kLeft, top, 6780, 30}; }
constexpr Box CheckBoxAt(int top, int width) { return {kLeft, top, width, 285}; }
constexpr Box ButtonAt(int top, int left, int width) { return {left, top, width, 375}; }

// The pages "Services" and "Routing": a list, and the buttons that act on it in a column beside it.
constexpr Box kList = {120, 120, 5340, 3840};
constexpr Box BesideList(int row) { return ButtonAt(120 + row * 480, 5580, 1500); }

/// A page is called as its tab is.
Design Page(const char* tag) {
  return {.name = "Frame", .tag = tag, .place = kPage, .anchor = kAnchorAll};
}

Design On(Control& page, const char* name, const char* tag, Box place,
          unsigned anchor = kAnchorTopLeft) {
  return {.name = name, .tag = tag, .place = place, .container = &page, .anchor = anchor};
}

}  // namespace

frmConfig::frmConfig(Apartment& apartment)
    : Form(apartment.platform(), {.name = kModule,
                                  .caption = "SMS Configuration",
                                  .tag = "5000",
                                  .width = 7320,
                                  .height = 5280,
                                  .resizable = true}),
      TabStrip1(*this, {.name = "TabStrip1", .place = {45, 60, 7230, 4560}, .anchor = kAnchorAll},
                {{.caption = "Common", .tag = "5001"},
                 {.caption = "Services", .tag = "5002"},
                 {.caption = "Routing", .tag = "5003"},
                 {.caption = "Diagnostics", .tag = "5004"}}),
      Frame{{{*this, Page("5001")},
             {*this, Page("5002")},
             {*this, Page("5003")},
             {*this, Page("5004")}}},
      // Common
      Label2(*this, On(Frame[0], "Label2", "5009", LabelAt(195, kTextLeft))),
      cmbDefaultService(
          *this, On(Frame[0], "cmbDefaultService", "", FieldAt(195, kTextLeft, 4740), kAnchorWide)),
      Label1(*this, On(Frame[0], "Label1", "5010", LabelAt(615, kTextLeft))),
      cmbModems(*this, On(Frame[0], "cmbModems", "", FieldAt(615, kTextLeft, 4740), kAnchorWide)),
      cmdResetModems(*this,
                     On(Frame[0], "cmdResetModems", "5011", ButtonAt(1035, kTextLeft, 3300))),
      lnNumbers(*this, On(Frame[0], "lnNumbers", "", LineAt(1635), kAnchorWide)),
      chkReplacePlus(*this, On(Frame[0], "chkReplacePlus", "5013", CheckBoxAt(1845, 4200))),
      chkAddCountry(*this, On(Frame[0], "chkAddCountry", "5014", CheckBoxAt(2265, 3000))),
      txtCountry(*this, On(Frame[0], "txtCountry", "", FieldAt(2250, kNumberLeft, 1200))),
      lnRetries(*this, On(Frame[0], "lnRetries", "", LineAt(2790), kAnchorWide)),
      Label3(*this, On(Frame[0], "Label3", "5015", LabelAt(3000, kNumberLeft))),
      txtRetries(*this, On(Frame[0], "txtRetries", "", FieldAt(3000, kNumberLeft, 720))),
      Label4(*this, On(Frame[0], "Label4", "5020", LabelAt(3420, kNumberLeft))),
      txtRetryDelay(*this, On(Frame[0], "txtRetryDelay", "", FieldAt(3420, kNumberLeft, 720))),
      // Services
      lsServices(*this, On(Frame[1], "lsServices", "", kList, kAnchorAll),
                 {{.text = "Transport", .width = 5000, .key = "Transport"}}),
      cmdSrvAdd(*this, On(Frame[1], "cmdSrvAdd", "5005", BesideList(0), kAnchorTopRight)),
      cmdSrvEdit(*this, On(Frame[1], "cmdSrvEdit", "5006", BesideList(1), kAnchorTopRight)),
      cmdSrvDelete(*this, On(Frame[1], "cmdSrvDelete", "5007", BesideList(2), kAnchorTopRight)),
      // Routing
      lsRouting(*this, On(Frame[2], "lsRouting", "", kList, kAnchorAll),
                {{.text = "Prefix", .width = 2000, .key = "Prefix"},
                 {.text = "Transport", .width = 3000, .key = "Transport"}}),
      cmdRouteAdd(*this, On(Frame[2], "cmdRouteAdd", "5005", BesideList(0), kAnchorTopRight)),
      cmdRouteEdit(*this, On(Frame[2], "cmdRouteEdit", "5006", BesideList(1), kAnchorTopRight)),
      cmdRouteDelete(*this, On(Frame[2], "cmdRouteDelete", "5007", BesideList(2), kAnchorTopRight)),
      // Diagnostics
      cmdTest(*this, On(Frame[3], "cmdTest", "6104", ButtonAt(195, kLeft, 2400))),
      cmdLocation(*this, On(Frame[3], "cmdLocation", "5012", ButtonAt(675, kLeft, 2400))),
      lnSending(*this, On(Frame[3], "lnSending", "", LineAt(1275), kAnchorWide)),
      chkWriteLogfile(*this, On(Frame[3], "chkWriteLogfile", "5017", CheckBoxAt(1500, 2820))),
      cmdOpenLogfile(*this, On(Frame[3], "cmdOpenLogfile", "5018", ButtonAt(1455, 3120, 1800))),
      chkShowStatus(*this, On(Frame[3], "chkShowStatus", "5016", CheckBoxAt(1980, 4200))),
      cmdClose(*this,
               {.name = "cmdClose",
                .tag = "5008",
                .place = {5880, 4770, 1320, 375},
                .anchor = kAnchorBottomRight},
               CommandButton::Key::kEscape),
      apartment_(apartment) {
  BindEvents();
  Form_Initialize();
}

void frmConfig::BindEvents() {
  TabStrip1.OnClick = [this] { TabStrip1_Click(); };

  const auto number = [](CheckBox& box) { return [&box] { return Variant(box.Value()); }; };
  const auto text = [](auto& control) { return [&control] { return Variant(control.Text()); }; };
  const auto stores = [this](const ValueInfo& info, const char* handler, auto content) {
    return [this, info, handler, content] { ResumeNext([&] { Store(info, content(), handler); }); };
  };
  chkReplacePlus.OnClick =
      stores(setting::kReplacePlus, "chkReplacePlus_Click", number(chkReplacePlus));
  chkAddCountry.OnClick =
      stores(setting::kAddCountry, "chkAddCountry_Click", number(chkAddCountry));
  chkShowStatus.OnClick =
      stores(setting::kShowStatus, "chkShowStatus_Click", number(chkShowStatus));
  chkWriteLogfile.OnClick =
      stores(setting::kWriteLogfile, "chkWriteLogfile_Click", number(chkWriteLogfile));
  txtCountry.OnChange = stores(setting::kCountry, "txtCountry_Change", text(txtCountry));
  txtRetries.OnChange = stores(setting::kRetries, "txtRetries_Change", text(txtRetries));
  txtRetryDelay.OnChange =
      stores(setting::kRetryDelay, "txtRetryDelay_Change", text(txtRetryDelay));
  cmbModems.OnClick = stores(setting::kDefaultModem, "cmbModems_Click", text(cmbModems));
  cmbDefaultService.OnClick =
      stores(setting::kDefaultService, "cmbDefaultService_Click", text(cmbDefaultService));

  BindLists();
  cmdTest.OnClick = [this] { ResumeNext([this] { cmdTest_Click(); }); };
  cmdOpenLogfile.OnClick = [this] { cmdOpenLogfile_Click(); };
  cmdLocation.OnClick = [this] { cmdLocation_Click(); };
  cmdClose.OnClick = [this] { cmdClose_Click(); };
}

void frmConfig::BindLists() {
  cmdSrvAdd.OnClick = [this] { cmdSrvAdd_Click(); };
  cmdSrvEdit.OnClick = [this] { cmdSrvEdit_Click(); };
  cmdSrvDelete.OnClick = [this] { cmdSrvDelete_Click(); };
  lsServices.OnDoubleClick = [this] { ResumeNext([this] { cmdSrvEdit_Click(); }); };
  cmdRouteAdd.OnClick = [this] { cmdRouteAdd_Click(); };
  cmdRouteEdit.OnClick = [this] { cmdRouteEdit_Click(); };
  cmdRouteDelete.OnClick = [this] { cmdRouteDelete_Click(); };
  lsRouting.OnDoubleClick = [this] { ResumeNext([this] { cmdRouteEdit_Click(); }); };

  const auto serve = [](ListView& list, CommandButton& add, CommandButton& edit,
                        CommandButton& remove) {
    list.OnInsertKey = [&add] { add.Click(); };
    list.OnDeleteKey = [&remove] { remove.Click(); };
    list.OnSelect = [&list, &edit, &remove] {
      const bool selected = list.Selected() != ListView::kNone;
      edit.SetEnabled(selected);
      remove.SetEnabled(selected);
    };
    list.OnSelect();
  };
  serve(lsServices, cmdSrvAdd, cmdSrvEdit, cmdSrvDelete);
  serve(lsRouting, cmdRouteAdd, cmdRouteEdit, cmdRouteDelete);
}

void frmConfig::Form_Initialize() {
  RunProcedure(platform(), kModule, "Form_Initialize", [&](Procedure& statement) {
    statement([&] { SetListViewStyle(lsServices, -1, kFullRowSelect); });
    statement([&] { SetListViewStyle(lsRouting, -1, kFullRowSelect); });
  });
}

void frmConfig::Form_Load() {
  RunProcedure(platform(), kModule, "Form_Load", [&](Procedure& statement) {
    statement([&] { LocalizeForm(*this); });
    statement([&] { ShowOwnTips(); });
    statement([&] { TabStrip1_Click(); });
  });
}

void frmConfig::ShowOwnTips() {
  ShowTips(platform().locale(),
           {{cmbDefaultService,
             {"For numbers that no route serves", "Für Nummern, die keine Route bedient"}},
            {cmbModems,
             {"For services that name no modem of their own",
              "Für Dienste, die kein eigenes Modem nennen"}},
            {cmdResetModems, {"For later use: it changes nothing", "Für später: ändert nichts"}},
            {chkReplacePlus, {"+49171… is sent as 0049171…", "+49171… wird als 0049171… gesendet"}},
            {chkAddCountry,
             {"With 0049, 0171… is sent as 0049171…", "Mit 0049 wird 0171… als 0049171… gesendet"}},
            {txtRetries,
             {"For the program that sends: mvSMS itself never dials twice",
              "Für das sendende Programm: mvSMS selbst wählt nie zweimal"}},
            {chkWriteLogfile,
             {"Every step of every message, with texts and passwords, in SMSLog.txt",
              "Jeder Schritt jeder Nachricht, mit Texten und Passwörtern, in SMSLog.txt"}},
            {cmdLocation,
             {"The digit for an outside line, tone or pulse: settings of Windows",
              "Amtsholung, Ton- oder Impulswahl: Einstellungen von Windows"}}});
}

void frmConfig::Form_Paint() {
  if (std::exchange(painted_, true)) return;
  ResumeNext([this] { BringToFront(); });
}

void frmConfig::TabStrip1_Click() {
  RunProcedure(platform(), kModule, "TabStrip1_Click", [&](Procedure& statement) {
    for (mvsms::Frame& page : Frame) {
      statement([&] { page.SetVisible(false); });
      statement([&] { page.Move({kPageLeft, kPageTop, page.Place().width, page.Place().height}); });
    }
    statement(
        [&] { Frame[static_cast<std::size_t>(TabStrip1.SelectedIndex() - 1)].SetVisible(true); });
  });
}

void frmConfig::LoadValues() {
  RunProcedure(platform(), kModule, "LoadValues", [&](Procedure& statement) {
    statement([&] { profile_key_ = BaseKey(HostAppName); });
    statement([&] { Load(); });
    statement([&] { cmbModems.Clear(); });
    for (const std::string& name : statement([&] { return ModemNames(platform()); })) {
      statement([&] { cmbModems.AddItem(name); });
    }
    statement([&] { FillServices(); });
    statement([&] { FillRoutes(); });
    statement([&] { chkReplacePlus.SetValue(ToWholeNumber(Read(setting::kReplacePlus))); });
    statement([&] { chkAddCountry.SetValue(ToWholeNumber(Read(setting::kAddCountry))); });
    statement([&] { txtCountry.SetText(ToText(Read(setting::kCountry))); });
    statement([&] { txtRetries.SetText(NumberText(ToText(Read(setting::kRetries)))); });
    statement([&] { txtRetryDelay.SetText(NumberText(ToText(Read(setting::kRetryDelay)))); });
    statement([&] { SetComboString(cmbModems, ToText(Read(setting::kDefaultModem))); });
    statement([&] { SetComboString(cmbDefaultService, ToText(Read(setting::kDefaultService))); });
    statement([&] { chkShowStatus.SetValue(ToWholeNumber(Read(setting::kShowStatus))); });
    statement([&] { chkWriteLogfile.SetValue(ToWholeNumber(Read(setting::kWriteLogfile))); });
  });
}

void frmConfig::SetOptions() {
  RunProcedure(platform(), kModule, "SetOptions", [&](Procedure& statement) {
    if (DisableShowWindow) statement([&] { chkShowStatus.SetValue(0); });
    statement([&] { chkShowStatus.SetVisible(!DisableShowWindow); });
    statement([&] { chkWriteLogfile.SetVisible(!EnforceLogging); });
    if (EnforceLogging) statement([&] { chkWriteLogfile.SetValue(1); });
    statement([&] { cmdOpenLogfile.SetVisible(!EnforceLogging); });
    statement([&] { lnSending.SetVisible(!DisableShowWindow || !EnforceLogging); });
  });
}

void frmConfig::FillServices() {
  RunProcedure(platform(), kModule, "FillServices", [&](Procedure& statement) {
    statement([&] { cmbDefaultService.Clear(); });
    statement([&] { lsServices.Clear(); });
    for (const std::string& name : statement([&] { return profile().Services(); })) {
      statement([&] { cmbDefaultService.AddItem(name); });
      statement([&] { lsServices.Add({name, {}}); });
    }
  });
}

/// After the services have been filled in anew. Nothing is stored: the choice is what it was.
void frmConfig::ShowDefaultService() {
  cmbDefaultService.ShowText(ToText(Read(setting::kDefaultService)));
}

/// A prefix that is still there stays selected.
void frmConfig::FillRoutes() {
  RunProcedure(platform(), kModule, "FillRoutes", [&](Procedure& statement) {
    const std::string selected = lsRouting.SelectedText();
    statement([&] { lsRouting.Clear(); });
    for (const std::string& prefix : statement([&] { return profile().Routes(); })) {
      const std::string service =
          statement([&] { return ToText(profile().Route(prefix).Get(setting::kUseService)); });
      statement([&] { lsRouting.Add({prefix, {service}}); });
    }
    if (!selected.empty()) statement([&] { lsRouting.SelectText(selected); });
  });
}

void frmConfig::cmdSrvAdd_Click() {
  RunProcedure(platform(), kModule, "cmdSrvAdd_Click", [&](Procedure& statement) {
    if (!new_service_) new_service_ = std::make_shared<frmNewService>(platform());
    const auto dialog = new_service_;
    statement([&] { dialog->Prepare(); });
    statement([&] { dialog->ShowModal(this); });
    const CatalogueRecord record = dialog->Result();
    if (record.empty()) return;
    const std::string& name = FieldOf(record, catalogue::kName);
    if (name.empty()) {  // would be written into the key of all services
      statement([&] { HandleErrorLoc(0, "Error creating key!", "cmdSrvAdd_Click"); });
      return;
    }
    if (lsServices.Find(name) != ListView::kNone) {
      statement([&] { Say(string_id::kEntryExists); });
      return;
    }
    AddService(statement, record);
    statement([&] { FillServices(); });
    statement([&] { FillRoutes(); });
    statement([&] { lsServices.SelectText(name); });
    statement([&] { dialog->Unload(); });
    new_service_.reset();
    if (cmbDefaultService.List().size() == 1) {
      statement([&] { cmbDefaultService.SetListIndex(0); });
    } else {
      statement([&] { ShowDefaultService(); });
    }
  });
}

void frmConfig::AddService(Procedure& statement, const CatalogueRecord& record) {
  const std::string& name = FieldOf(record, catalogue::kName);
  const SettingsKey service = profile().Service(name);
  const auto write = [&](const SettingsKey& key, const ValueInfo& info, const std::string& text,
                         const char* failure, const char* procedure) {
    statement([&] {
      if (!key.Set(info, text)) HandleErrorLoc(0, failure, procedure);
    });
  };
  write(service, setting::kServiceMark, "", "Error creating key!", "cmdSrvAdd_Click");
  for (const ServiceValue& value : ServiceValues(record)) {
    write(service, value.info, value.text, "Error saving value!", "SaveValues");
  }
  for (const std::string& prefix : RoutePrefixes(record)) {
    const SettingsKey route = profile().Route(prefix);
    statement([&] { route.Delete(); });
    write(route, setting::kUseService, name, "Error creating routing key!", "cmdSrvAdd_Click");
  }
}

void frmConfig::cmdSrvEdit_Click() {
  RunProcedure(platform(), kModule, "cmdSrvEdit_Click", [&](Procedure& statement) {
    if (lsServices.Selected() == ListView::kNone) return;
    const auto dialog = std::make_shared<frmServiceProperties>(platform());
    service_properties_ = dialog;
    dialog->RegPath = profile().Service(lsServices.SelectedText()).path();
    statement([&] { dialog->Init(); });
    statement([&] { dialog->ShowModal(this); });
    statement([&] { dialog->Unload(); });
    service_properties_.reset();
  });
}

void frmConfig::cmdSrvDelete_Click() {
  RunProcedure(platform(), kModule, "cmdSrvDelete_Click", [&](Procedure& statement) {
    if (lsServices.Selected() == ListView::kNone) return;
    const std::string name = lsServices.SelectedText();
    if (!statement([&] { return ConfirmsDelete(Text(string_id::kDeleteEntry) + name + "'?"); })) {
      return;
    }
    if (!statement([&] { return profile().Service(name).Delete(); })) {
      statement([&] { HandleErrorLoc(0, "Error deleting key!", "cmdSrvDelete_Click"); });
      return;
    }
    for (const ListView::Row& route : lsRouting.Rows()) {
      if (route.sub_items.at(0) != name) continue;
      statement([&] { profile().Route(route.text).Set(setting::kUseService, ""); });
    }
    statement([&] { FillRoutes(); });
    statement([&] { FillServices(); });
    statement([&] { ShowDefaultService(); });
  });
}

void frmConfig::cmdRouteAdd_Click() {
  RunProcedure(platform(), kModule, "cmdRouteAdd_Click", [&](Procedure& statement) {
    const std::string prefix = statement([&] {
      return platform().forms().InputBox(Text(string_id::kEnterPrefix), Text(string_id::kNewRoute));
    });
    if (prefix.empty()) return;
    if (lsRouting.Find(prefix) != ListView::kNone) {
      statement([&] { Say(string_id::kEntryExists); });
      return;
    }
    statement([&] {
      if (!profile().Route(prefix).Set(setting::kUseService, "")) {
        HandleErrorLoc(0, "Error creating key!", "cmdRouteAdd_Click");
      }
    });
    statement([&] { FillRoutes(); });
    statement([&] { lsRouting.SelectText(prefix); });
  });
}

void frmConfig::cmdRouteEdit_Click() {
  RunProcedure(platform(), kModule, "cmdRouteEdit_Click", [&](Procedure& statement) {
    if (lsRouting.Selected() == ListView::kNone) return;
    const auto dialog = std::make_shared<frmEditRoute>(platform());
    edit_route_ = dialog;
    dialog->RegPath = profile_key_;
    dialog->Route = lsRouting.SelectedText();
    statement([&] { dialog->ShowModal(this); });
    statement([&] { FillRoutes(); });
    statement([&] { dialog->Unload(); });
    edit_route_.reset();
  });
}

void frmConfig::cmdRouteDelete_Click() {
  RunProcedure(platform(), kModule, "cmdRouteDelete_Click", [&](Procedure& statement) {
    if (lsRouting.Selected() == ListView::kNone) return;
    if (!statement([&] { return ConfirmsDelete(Text(string_id::kDeleteEntry)); })) return;
    if (!statement([&] { return profile().Route(lsRouting.SelectedText()).Delete(); })) {
      statement([&] { HandleErrorLoc(0, "Error deleting key!", "cmdRouteDelete_Click"); });
    }
    statement([&] { FillRoutes(); });
  });
}

void frmConfig::cmdOpenLogfile_Click() {
  RunProcedure(platform(), kModule, "cmdOpenLogfile_Click", [&](Procedure& statement) {
    const std::int32_t result = statement([&] {
      return basCommon::OpenDocument(platform().shell(),
                                     basCommon::DefaultLogPath(platform().locale()));
    });
    if (result >= kShellSuccess) return;
    statement([&] {
      platform().forms().MsgBox(basCommon::OpenDocumentError(result), msgbox::kOkOnly, "");
    });
  });
}

void frmConfig::cmdLocation_Click() {
  RunProcedure(platform(), kModule, "cmdLocation_Click", [&](Procedure& statement) {
    std::string modem = cmbModems.Text();
    if (modem.empty()) {
      if (cmbModems.List().empty()) return;
      modem = cmbModems.List().front().text;
    }
    const auto tapi = statement([&] { return platform().telephony().CreateTapi(); });
    if (!tapi) return;  // skipped: there is nobody to ask
    statement([&] { tapi->Initialize(); });
    for (const auto& address : statement([&] { return tapi->GetAddresses(); })) {
      if (statement([&] { return address->AddressName(); }) != modem) continue;
      statement([&] { address->TranslateDialog(Window(), ""); });
      break;
    }
    statement([&] { tapi->Shutdown(); });
  });
}

void frmConfig::cmdTest_Click() {
  const auto dialog = std::make_shared<frmTest>(apartment_);
  test_ = dialog;
  dialog->HostAppName = HostAppName;
  dialog->ShowModal(this);
  test_.reset();
}

void frmConfig::cmdClose_Click() {
  ResumeNext([this] { Unload(); });
}

/// The dialogs over this one end with it, whoever ends it.
void frmConfig::Form_Unload() {
  const std::shared_ptr<Form> dialogs[] = {edit_route_, new_service_, service_properties_, test_};
  for (const auto& dialog : dialogs) {
    if (dialog) ResumeNext([&] { dialog->Unload(); });
  }
  new_service_.reset();
}

Profile frmConfig::profile() const { return {platform().registry(), profile_key_}; }

void frmConfig::Store(const ValueInfo& info, const Variant& content, const char* handler) {
  if (!profile().Set(info, content)) HandleErrorLoc(0, "Error saving value!", handler);
}

Variant frmConfig::Read(const ValueInfo& info) const { return profile().GetOrInitial(info); }

std::string frmConfig::Text(std::uint16_t id) const {
  return LoadResString(platform().locale(), id);
}

void frmConfig::Say(std::uint16_t id) { platform().forms().MsgBox(Text(id), msgbox::kOkOnly, ""); }

bool frmConfig::ConfirmsDelete(const std::string& question) {
  return platform().forms().MsgBox(question, msgbox::kOkCancel, "Delete") == MsgBoxAnswer::kOk;
}

void frmConfig::HandleErrorLoc(std::int32_t number, const std::string& description,
                               const std::string& procedure) {
  ShowError(platform(), number, description, procedure);
}

}  // namespace mvsms
