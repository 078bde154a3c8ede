// frmServiceProperties: edits the settings of one existing service. Everything is written on OK,
// nothing on Cancel.
#pragma once

#include <cstdint>
#include <string>

#include "forms/form.h"

namespace mvsms {

class Procedure;
struct ValueInfo;

class frmServiceProperties final : public Form {
 public:
  explicit frmServiceProperties(Platform& platform);
  ~frmServiceProperties() override { Unload(); }

  /// The service's registry key, ending in its name. To be set before Init.
  std::string RegPath;
  /// Loads the values into the controls.
  void Init();

  TabStrip TabStrip1;
  Frame Page;
  Label lblName;
  TextBox txtName;
  Label lblCountryCode;
  TextBox CountryCode;
  Label lblProtocol;
  ComboBox Protocol;
  Label lblPhoneNumber;
  TextBox PhoneNumber;
  Label lblPassword;
  TextBox Password;
  Label lblMaxLength;
  TextBox MaxLength;
  Label lblMaxMessages;
  TextBox MaxMessages;
  Label lblUCPCommand;
  ComboBox UCPCommand;
  Label lblMessageType;
  ComboBox MessageType;
  Label lblTimeOut;
  TextBox TimeOut;
  Label lblBaudRate;
  ComboBox BaudRate;
  Label lblModemSetting;
  ComboBox ModemSetting;
  Label lblModemName;
  ComboBox ModemName;
  CommandButton OKButton, CancelButton;

 private:
  void Form_Load() override;
  void ShowOwnTips();
  void LoadValues();
  void FillModems(Procedure& statement);
  void SaveValues();
  void EnableProtocolFields();
  void OKButton_Click();
  /// The message for the first required choice that is missing; 0 when all are there.
  std::uint16_t MissingChoice() const;
  std::string Stored(const ValueInfo& info) const;
  void Save(const ValueInfo& info, const std::string& text);
  void HandleError(std::int32_t number, const std::string& description,
                   const std::string& procedure);
};

}  // namespace mvsms
