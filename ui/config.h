// Config: the public class through which a host opens the configuration dialog.
#pragma once

#include <memory>
#include <string>

#include "media/apartment.h"
#include "ui/frmconfig.h"

namespace mvsms {

class Config {
 public:
  explicit Config(Apartment& apartment) : apartment_(apartment) {}
  /// Unloads a dialog that is still open.
  ~Config();
  Config(const Config&) = delete;
  Config& operator=(const Config&) = delete;

  /// Hides the option of showing the status window, and switches it off.
  bool DisableShowWindow = false;
  /// Hides the log options, and switches logging on.
  bool EnforceLogging = false;

  /// Shows the dialog of the profile `HostAppName` (empty: "Standard"), in front of the window
  /// `hWndOwner` (0: of none), which may be another process's. A dialog that is still open is
  /// replaced. With `Modal` it returns when the dialog has been closed, else at once.
  void ShowConfigDialog(const std::string& HostAppName, WindowHandle hWndOwner = kNoWindow,
                        bool Modal = false);

 private:
  void CloseDialog();

  Apartment& apartment_;
  std::shared_ptr<frmConfig> dialog_;
};

}  // namespace mvsms
