// One dialog at a time, held here and released when it has been closed.
#include "ui/config.h"

#include <utility>

namespace mvsms {

Config::~Config() { CloseDialog(); }

void Config::CloseDialog() {
  if (const auto dialog = std::exchange(dialog_, nullptr)) dialog->Unload();
}

void Config::ShowConfigDialog(const std::string& HostAppName, WindowHandle hWndOwner, bool Modal) {
  CloseDialog();
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
