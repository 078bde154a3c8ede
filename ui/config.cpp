// One dialog at a time, held here and released when it has been closed.
#include "ui/config.h"

#include <utility>

#include "engine/profile.h"
#include "ui/messages.h"

namespace mvsms {
namespace {

constexpr Wording kReadOnly = {
    "You have no right to change these settings: services and routes are not shown, and changes "
    "are not stored.",
    "Sie dürfen diese Einstellungen nicht ändern: Dienste und Routing-Einträge werden nicht "
    "angezeigt, Änderungen nicht gespeichert."};

/// The store reports no write that it refuses, so that the user is warned beforehand.
void WarnIfReadOnly(Platform& platform, std::string profile) {
  if (!IsReadOnly(platform.registry(), BaseKey(profile))) return;
  platform.forms().MsgBox(TextOf(platform.locale(), kReadOnly), msgbox::kExclamation, "");
}

}  // namespace

Config::~Config() { CloseDialog(); }

void Config::CloseDialog() {
  if (const auto dialog = std::exchange(dialog_, nullptr)) dialog->Unload();
}

void Config::ShowConfigDialog(const std::string& HostAppName, WindowHandle hWndOwner, bool Modal) {
  CloseDialog();
  WarnIfReadOnly(apartment_.platform(), HostAppName);
  const auto dialog = std::make_shared<frmConfig>(apartment_);
  dialog_ = dialog;
  dialog->HostAppName = HostAppName;
  dialog->DisableShowWindow = DisableShowWindow;
  dialog->EnforceLogging = EnforceLogging;
  dialog->LoadValues();
  dialog->SetOptions();
  dialog->SetOwnerWindow(hWndOwner);
  if (!Modal) return dialog->Show();
  dialog->ShowModal();
  if (dialog_ == dialog) CloseDialog();
}

}  // namespace mvsms
