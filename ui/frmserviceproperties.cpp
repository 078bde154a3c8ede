// The fields stand in a grid, and are saved in the order in which the store has always had them.
#include "ui/frmserviceproperties.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "base/numbers.h"
#include "diagnostics/procedure.h"
#include "engine/modem_list.h"
#include "engine/profile.h"
#include "forms/localize.h"
#include "resources/string_table.h"
#include "ui/messages.h"

namespace mvsms {
namespace {

constexpr char kModule[] = "frmServiceProperties";

// The grid of the fields: one row each, a label and the field beside it.
constexpr int kLabelLeft = 120;
constexpr int kFieldLeft = 2880;
constexpr int kFieldWidth = 3300;
constexpr int kNarrow = 1200;
constexpr int kFirstRow = 120;
constexpr int kRowHeight = 405;

constexpr Box LabelAt(int row) {
  return {kLabelLeft, kFirstRow + row * kRowHeight + 45, kFieldLeft - kLabelLeft - 60, 240};
}
constexpr Box FieldAt(int row, int width = kFieldWidth) {
  return {kFieldLeft, kFirstRow + row * kRowHeight, width, 315};
}
constexpr int kPageHeight = kFirstRow + 13 * kRowHeight;
constexpr int kBottom = kPageHeight + 600;

/// A stored text that is none of the entries stays the text of the box, so that saving keeps it.
void ShowChoice(ComboBox& combo, const std::string& text) {
  SetComboString(combo, text);
  combo.SetText(text);
}

void AddAll(ComboBox& combo, std::initializer_list<const char*> entries) {
  for (const char* entry : entries) combo.AddItem(entry);
}

}  // namespace

frmServiceProperties::frmServiceProperties(Platform& platform)
    : Form(platform, {.name = kModule,
                      .caption = "SMS Configuration",
                      .tag = "5000",
                      .width = 6660,
                      .height = kBottom + 660}),
      TabStrip1(*this, {.name = "TabStrip1", .place = {90, 90, 6480, kBottom}},
                {{.caption = "Transport Service Properties ", .tag = "6001"}}),
      Page(*this, {.name = "Page", .tag = "6001", .place = {150, 480, 6360, kPageHeight}}),
      lblName(*this, {.name = "lblName", .tag = "6002", .place = LabelAt(0), .container = &Page}),
      txtName(*this, {.name = "txtName", .place = FieldAt(0), .container = &Page},
              {.locked = true}),
      lblCountryCode(
          *this,
          {.name = "lblCountryCode", .tag = "6003", .place = LabelAt(1), .container = &Page}),
      CountryCode(
          *this,
          {.name = setting::kCountryCode.name, .place = FieldAt(1, kNarrow), .container = &Page}),
      lblProtocol(*this,
                  {.name = "lblProtocol", .tag = "6004", .place = LabelAt(2), .container = &Page}),
      Protocol(*this,
               {.name = setting::kProtocol.name, .place = FieldAt(2, kNarrow), .container = &Page}),
      lblPhoneNumber(
          *this,
          {.name = "lblPhoneNumber", .tag = "6005", .place = LabelAt(3), .container = &Page}),
      PhoneNumber(*this,
                  {.name = setting::kPhoneNumber.name, .place = FieldAt(3), .container = &Page}),
      lblPassword(*this,
                  {.name = "lblPassword", .tag = "6006", .place = LabelAt(4), .container = &Page}),
      Password(*this, {.name = setting::kPassword.name, .place = FieldAt(4), .container = &Page},
               {.password = true}),
      lblMaxLength(
          *this, {.name = "lblMaxLength", .tag = "6007", .place = LabelAt(5), .container = &Page}),
      MaxLength(
          *this,
          {.name = setting::kMaxLength.name, .place = FieldAt(5, kNarrow), .container = &Page}),
      lblMaxMessages(
          *this,
          {.name = "lblMaxMessages", .tag = "6008", .place = LabelAt(6), .container = &Page}),
      MaxMessages(
          *this,
          {.name = setting::kMaxMessages.name, .place = FieldAt(6, kNarrow), .container = &Page}),
      lblUCPCommand(
          *this, {.name = "lblUCPCommand", .tag = "6009", .place = LabelAt(7), .container = &Page}),
      UCPCommand(
          *this,
          {.name = setting::kUCPCommand.name, .place = FieldAt(7, kNarrow), .container = &Page}),
      lblMessageType(
          *this,
          {.name = "lblMessageType", .tag = "6010", .place = LabelAt(8), .container = &Page}),
      MessageType(*this,
                  {.name = setting::kMessageType.name, .place = FieldAt(8), .container = &Page}),
      lblTimeOut(*this,
                 {.name = "lblTimeOut", .tag = "6011", .place = LabelAt(9), .container = &Page}),
      TimeOut(*this,
              {.name = setting::kTimeOut.name, .place = FieldAt(9, kNarrow), .container = &Page}),
      lblBaudRate(*this,
                  {.name = "lblBaudRate", .tag = "6012", .place = LabelAt(10), .container = &Page}),
      BaudRate(
          *this,
          {.name = setting::kBaudRate.name, .place = FieldAt(10, kNarrow), .container = &Page}),
      lblModemSetting(
          *this,
          {.name = "lblModemSetting", .tag = "6013", .place = LabelAt(11), .container = &Page}),
      ModemSetting(
          *this,
          {.name = setting::kModemSetting.name, .place = FieldAt(11, kNarrow), .container = &Page}),
      lblModemName(
          *this, {.name = "lblModemName", .tag = "6014", .place = LabelAt(12), .container = &Page}),
      ModemName(*this,
                {.name = setting::kModemName.name, .place = FieldAt(12), .container = &Page}),
      OKButton(*this, {.name = "OKButton", .tag = "10", .place = {3900, kBottom + 195, 1260, 375}},
               CommandButton::Key::kEnter),
      CancelButton(*this,
                   {.name = "CancelButton", .tag = "11", .place = {5280, kBottom + 195, 1260, 375}},
                   CommandButton::Key::kEscape) {
  AddAll(Protocol, {"TAP", "UCP"});
  AddAll(UCPCommand, {"01", "30", "51"});
  AddAll(BaudRate, {"Auto", "300", "1200", "2400", "4800", "9600", "19200", "ISDN"});
  AddAll(ModemSetting, {"8N1", "7E1"});
  Protocol.OnClick = [this] { EnableProtocolFields(); };
  OKButton.OnClick = [this] { OKButton_Click(); };
  CancelButton.OnClick = [this] { Hide(); };
  SetFirstFocus(CountryCode);
}

void frmServiceProperties::Form_Load() {
  LocalizeForm(*this);
  ResumeNext([&] { ShowOwnTips(); });
  Locale& locale = platform().locale();
  ResumeNext([&] { MessageType.Clear(); });  // of an earlier loading
  ResumeNext(
      [&] { MessageType.AddItem(LoadResString(locale, string_id::kNumeric), /*item_data=*/2); });
  ResumeNext([&] {
    MessageType.AddItem(LoadResString(locale, string_id::kAlphanumeric), /*item_data=*/3);
  });
}

void frmServiceProperties::ShowOwnTips() {
  ShowTips(
      platform().locale(),
      {{CountryCode, {"For your own notes", "Für eigene Notizen"}},
       {PhoneNumber,
        {"As you would dial it from your desk, without the digit for an outside line",
         "So, wie Sie vom Schreibtisch aus wählen, ohne die Ziffer zur Amtsholung"}},
       {Password,
        {"Only if the provider gave you one", "Nur, wenn der Betreiber eines vergeben hat"}},
       {MaxLength,
        {"Characters; a longer message goes out in pieces",
         "Zeichen; eine längere Nachricht geht in Teilen hinaus"}},
       {MaxMessages,
        {"Pieces; a message that needs more is refused",
         "Teile; eine Nachricht, die mehr braucht, wird abgelehnt"}},
       {UCPCommand,
        {"51 for most centres, 01 for older ones", "51 für die meisten Zentralen, 01 für ältere"}},
       {MessageType,
        {"Numeric for pagers that show digits only",
         "Numerisch für Empfänger, die nur Ziffern zeigen"}},
       {TimeOut,
        {"Milliseconds; 2000 to 3000 suits most centres",
         "Millisekunden; 2000 bis 3000 passt für die meisten Zentralen"}},
       {ModemSetting,
        {"7E1 for most TAP centres, 8N1 for most UCP centres",
         "7E1 für die meisten TAP-Zentralen, 8N1 für die meisten UCP-Zentralen"}}});
}

void frmServiceProperties::Init() {
  ResumeNext([&] {
    Load();
    LoadValues();
  });
}

void frmServiceProperties::LoadValues() {
  const std::pair<TextBox*, ValueInfo> texts[] = {{&CountryCode, setting::kCountryCode},
                                                  {&PhoneNumber, setting::kPhoneNumber},
                                                  {&Password, setting::kPassword},
                                                  {&MaxMessages, setting::kMaxMessages},
                                                  {&TimeOut, setting::kTimeOut}};
  const std::pair<ComboBox*, ValueInfo> choices[] = {{&Protocol, setting::kProtocol},
                                                     {&UCPCommand, setting::kUCPCommand},
                                                     {&BaudRate, setting::kBaudRate},
                                                     {&ModemSetting, setting::kModemSetting},
                                                     {&ModemName, setting::kModemName}};
  RunProcedure(platform(), kModule, "LoadValues", [&](Procedure& statement) {
    FillModems(statement);
    statement([&] { txtName.SetText(RegPath.substr(RegPath.rfind('\\') + 1)); });
    for (const auto& [box, value] : texts) {
      statement([&, field = box, info = value] { field->SetText(Stored(info)); });
    }
    statement([&] { MaxLength.SetText(NumberText(Stored(setting::kMaxLength))); });
    for (const auto& [combo, value] : choices) {
      statement([&, field = combo, info = value] { ShowChoice(*field, Stored(info)); });
    }
    statement([&] { SetComboValue(MessageType, ToLeadingNumber(Stored(setting::kMessageType))); });
    statement([&] {
      if (ModemName.ListIndex() == ComboBox::kNone) ModemName.SetListIndex(0);
    });
    statement([&] { EnableProtocolFields(); });
  });
}

void frmServiceProperties::FillModems(Procedure& statement) {
  statement([&] { ModemName.Clear(); });
  for (const std::string& name : statement([&] { return ModemNames(platform()); })) {
    statement([&] { ModemName.AddItem(name); });
  }
  statement(
      [&] { ModemName.InsertItem(LoadResString(platform().locale(), string_id::kDefault), 0); });
  statement([&] { ModemName.SetListIndex(0); });
}

void frmServiceProperties::EnableProtocolFields() {
  const std::string protocol = Protocol.Text();
  Password.SetEnabled(protocol == "TAP");
  UCPCommand.SetEnabled(protocol == "UCP");
}

std::uint16_t frmServiceProperties::MissingChoice() const {
  if (MessageType.ListIndex() == ComboBox::kNone) return string_id::kSelectMessageType;
  if (Protocol.ListIndex() == ComboBox::kNone) return string_id::kSelectProtocol;
  if (Protocol.Text() == "UCP" && UCPCommand.ListIndex() == ComboBox::kNone) {
    return string_id::kSelectUcpOperation;
  }
  return 0;
}

void frmServiceProperties::OKButton_Click() {
  RunProcedure(platform(), kModule, "OKButton_Click", [&](Procedure& statement) {
    if (const std::uint16_t missing = MissingChoice()) {
      statement([&] {
        platform().forms().MsgBox(LoadResString(platform().locale(), missing), msgbox::kOkOnly, "");
      });
      return;
    }
    statement([&] { SaveValues(); });
    statement([&] { Hide(); });
  });
}

void frmServiceProperties::SaveValues() {
  RunProcedure(platform(), kModule, "SaveValues", [&](Procedure& statement) {
    const auto save = [&](const ValueInfo& info, const std::string& text) {
      statement([&] { Save(info, text); });
    };
    save(setting::kCountryCode, CountryCode.Text());
    save(setting::kProtocol, Protocol.Text());
    save(setting::kPhoneNumber, PhoneNumber.Text());
    save(setting::kPassword, Password.Text());
    save(setting::kMaxLength, MaxLength.Text());
    save(setting::kMaxMessages, MaxMessages.Text());
    save(setting::kUCPCommand, UCPCommand.Text());
    if (const int type = MessageType.ListIndex(); type != ComboBox::kNone) {
      save(setting::kMessageType,
           std::to_string(MessageType.List()[static_cast<std::size_t>(type)].item_data));
    }
    save(setting::kTimeOut, TimeOut.Text());
    save(setting::kBaudRate, BaudRate.Text());
    save(setting::kModemSetting, ModemSetting.Text());
    save(setting::kModemName, ModemName.Text());
    if (NamesDefaultModem(ModemName.Text())) save(setting::kModemName, "");
  });
}

std::string frmServiceProperties::Stored(const ValueInfo& info) const {
  return ToText(SettingsKey(platform().registry(), RegPath).Get(info));
}

void frmServiceProperties::Save(const ValueInfo& info, const std::string& text) {
  if (!SettingsKey(platform().registry(), RegPath).Set(info, text)) {
    HandleError(0, "Error saving value!", "SaveValues");
  }
}

void frmServiceProperties::HandleError(std::int32_t number, const std::string& description,
                                       const std::string& procedure) {
  ShowError(platform(), number, description, procedure);
}

}  // namespace mvsms
