// What the Sender needs of its status window. The window itself (frmStatus) is a form.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace mvsms {

class StatusWindow {
 public:
  virtual ~StatusWindow() = default;
  /// Shows the window without blocking.
  virtual void Show() = 0;
  /// Replaces the text. Loads the window invisibly when it was unloaded before.
  virtual void SetText(const std::string& Text) = 0;
  /// Arms the closing timer: the window unloads itself 5 seconds later.
  virtual void StartHide() = 0;
};

/// Makes a status window, loaded and not yet shown.
using StatusWindowFactory = std::function<std::unique_ptr<StatusWindow>()>;

}  // namespace mvsms
