// The send runs on the form's own thread: its waits let the form's events through.
#include "ui/frmtest.h"

#include <utility>

#include "diagnostics/procedure.h"
#include "forms/localize.h"
#include "ui/frmstatus.h"

namespace mvsms {
namespace {

// Where the fields are remembered in the per-user settings store.
constexpr char kApplication[] = "mvSMS";
constexpr char kSection[] = "Test";

constexpr TextBox::Style kManyLines = {.multi_line = true};
constexpr TextBox::Style kLog = {.multi_line = true, .locked = true};

}  // namespace

frmTest::frmTest(Apartment& apartment)
    : Form(apartment.platform(), {.name = "frmTest",
                                  .caption = "SMS Message",
                                  .tag = "6105",
                                  .width = 7200,
                                  .height = 5640,
                                  .resizable = true}),
      lblSender(*this, {.name = "lblSender", .tag = "6106", .place = {180, 210, 1200, 240}}),
      txtSender(*this,
                {.name = "txtSender", .place = {1440, 165, 5580, 315}, .anchor = kAnchorWide}),
      lblRecipient(*this, {.name = "lblRecipient", .tag = "6107", .place = {180, 615, 1200, 240}}),
      txtRecipient(
          *this, {.name = "txtRecipient", .place = {1440, 570, 5580, 315}, .anchor = kAnchorWide}),
      lblMessage(*this, {.name = "lblMessage", .tag = "6108", .place = {180, 1020, 1200, 240}}),
      txtMessage(*this,
                 {.name = "txtMessage", .place = {1440, 975, 5580, 1140}, .anchor = kAnchorWide},
                 kManyLines),
      txtStatus(*this,
                {.name = "txtStatus", .place = {180, 2280, 6840, 2640}, .anchor = kAnchorAll},
                kLog),
      cmdSend(*this,
              {.name = "cmdSend",
               .tag = "6109",
               .place = {180, 5070, 1260, 375},
               .anchor = kAnchorBottomLeft},
              CommandButton::Key::kEnter),
      cmdAbort(*this, {.name = "cmdAbort",
                       .tag = "6110",
                       .place = {1560, 5070, 1260, 375},
                       .anchor = kAnchorBottomLeft}),
      cmdClose(*this,
               {.name = "cmdClose",
                .tag = "6111",
                .place = {5760, 5070, 1260, 375},
                .anchor = kAnchorBottomRight},
               CommandButton::Key::kEscape),
      apartment_(apartment) {
  cmdSend.OnClick = [this] { cmdSend_Click(); };
  cmdAbort.OnClick = [this] { cmdAbort_Click(); };
  cmdClose.OnClick = [this] { cmdClose_Click(); };
}

std::array<std::pair<TextBox*, const char*>, 3> frmTest::RememberedFields() {
  return {{{&txtSender, "Sender"}, {&txtRecipient, "Recipient"}, {&txtMessage, "Message"}}};
}

void frmTest::Form_Load() {
  LocalizeForm(*this);
  ShowSending(false);
  for (const auto& [field, key] : RememberedFields()) {
    ResumeNext([&, box = field, name = key] {
      box->SetText(platform().user_settings().GetSetting(kApplication, kSection, name, ""));
    });
  }
}

/// A send that is still running is cut short; the form is destroyed when that has ended.
void frmTest::Form_Unload() { cmdAbort_Click(); }

void frmTest::cmdSend_Click() {
  if (sender_) return;
  const auto alive = weak_from_this().lock();
  sender_ = std::make_unique<Sender>(apartment_, StatusWindowOn(platform()));
  sender_->HostAppName = HostAppName;
  sender_->OnError = [this](std::int32_t&, std::string& description, std::string&) {
    Sender_Error(description);
  };
  sender_->OnStatusChange = [this](std::string& status) { Sender_StatusChange(status); };
  shown_.clear();
  ShowSending(true);
  std::string recipient = txtRecipient.Text();
  std::string originator = txtSender.Text();
  std::string message = txtMessage.Text();
  std::string service;
  sender_->SendMessage(recipient, originator, message, service);
  sender_.reset();
  ShowSending(false);
}

void frmTest::cmdAbort_Click() {
  if (sender_) sender_->AbortAction();
}

void frmTest::cmdClose_Click() {
  for (const auto& [field, key] : RememberedFields()) {
    ResumeNext([&, box = field, name = key] {
      platform().user_settings().SaveSetting(kApplication, kSection, name, box->Text());
    });
  }
  Unload();
}

void frmTest::Sender_Error(const std::string& description) {
  platform().forms().MsgBox(description, msgbox::kCritical, "Error");
}

/// The event brings the whole text so far; what is new in it is added.
void frmTest::Sender_StatusChange(const std::string& status) {
  const std::size_t known = status.starts_with(shown_) ? shown_.size() : 0;
  shown_ = status;
  if (known == status.size()) return;
  txtStatus.SetText(txtStatus.Text() + status.substr(known));
  txtStatus.ScrollToEnd();
}

void frmTest::ShowSending(bool sending) {
  cmdSend.SetEnabled(!sending);
  cmdAbort.SetEnabled(sending);
  cmdClose.SetEnabled(!sending);
}

}  // namespace mvsms
