// frmEditRoute: chooses the service that one routing prefix uses.
#pragma once

#include <string>

#include "forms/form.h"

namespace mvsms {

class frmEditRoute final : public Form {
 public:
  explicit frmEditRoute(Platform& platform);
  ~frmEditRoute() override { Unload(); }

  /// The profile key, without a trailing "\", and the prefix. To be set before the form is shown.
  std::string RegPath;
  std::string Route;

  Label lblService;
  ComboBox cmbService;
  CommandButton cmdOK, cmdCancel;

 private:
  void Form_Load() override;
  void FillServices();
  void cmdOK_Click();
};

}  // namespace mvsms
