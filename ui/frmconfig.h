// frmConfig: the configuration dialog of one profile. Every option is stored the moment its control
// changes, also while the dialog loads; services and routes are edited in dialogs of their own.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "engine/profile.h"
#include "forms/form.h"
#include "media/apartment.h"
#include "ui/frmeditroute.h"
#include "ui/frmnewservice.h"
#include "ui/frmserviceproperties.h"

namespace mvsms {

class frmConfig final : public Form {
 public:
  explicit frmConfig(Apartment& apartment);
  ~frmConfig() override { Unload(); }

  // To be set before LoadValues.
  std::string HostAppName;  // the profile; empty becomes "Standard"
  bool DisableShowWindow = false;
  bool EnforceLogging = false;

  /// Reads the profile into the controls, and with that writes its defaults.
  void LoadValues();
  /// Hides and forces the options that the host has decided.
  void SetOptions();

  TabStrip TabStrip1;
  std::array<mvsms::Frame, 4> Frame;
  Label Label2;
  ComboBox cmbDefaultService;
  Label Label1;
  ComboBox cmbModems;
  CommandButton cmdResetModems;  // for a later use: it does nothing
  Line lnNumbers;
  CheckBox chkReplacePlus, chkAddCountry;
  TextBox txtCountry;
  Line lnRetries;
  Label Label3;
  TextBox txtRetries;
  Label Label4;
  TextBox txtRetryDelay;
  ListView lsServices;
  CommandButton cmdSrvAdd, cmdSrvEdit, cmdSrvDelete;
  ListView lsRouting;
  CommandButton cmdRouteAdd, cmdRouteEdit, cmdRouteDelete;
  CommandButton cmdTest;
  CommandButton cmdLocation;
  Line lnSending;
  CheckBox chkWriteLogfile;
  CommandButton cmdOpenLogfile;
  CheckBox chkShowStatus;
  CommandButton cmdClose;

 private:
  void BindEvents();
  void BindLists();
  void Form_Initialize();
  void Form_Load() override;
  void Form_Paint() override;
  void Form_Unload() override;
  void ShowOwnTips();
  void TabStrip1_Click();
  void FillServices();
  void FillRoutes();
  void ShowDefaultService();
  void cmdSrvAdd_Click();
  void AddService(Procedure& statement, const CatalogueRecord& record);
  void cmdSrvEdit_Click();
  void cmdSrvDelete_Click();
  void cmdRouteAdd_Click();
  void cmdRouteEdit_Click();
  void cmdRouteDelete_Click();
  void cmdOpenLogfile_Click();
  void cmdLocation_Click();
  void cmdTest_Click();
  void cmdClose_Click();

  /// Stores an option; `handler` is the procedure that a failure names.
  void Store(const ValueInfo& info, const Variant& content, const char* handler);
  Variant Read(const ValueInfo& info) const;
  Profile profile() const;
  std::string Text(std::uint16_t id) const;
  void Say(std::uint16_t id);
  bool ConfirmsDelete(const std::string& question);
  void HandleErrorLoc(std::int32_t number, const std::string& description,
                      const std::string& procedure);

  Apartment& apartment_;
  std::string profile_key_;
  bool painted_ = false;
  std::shared_ptr<frmNewService> new_service_;  // left loaded when the user cancelled
  std::shared_ptr<frmServiceProperties> service_properties_;
  std::shared_ptr<frmEditRoute> edit_route_;
  std::shared_ptr<Form> test_;
};

}  // namespace mvsms
