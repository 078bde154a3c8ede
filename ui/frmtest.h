// frmTest: sends one message by hand with the current configuration and shows the dialogue with the
// message centre as it goes on.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "engine/sender.h"
#include "forms/form.h"

namespace mvsms {

class frmTest final : public Form {
 public:
  explicit frmTest(Apartment& apartment);
  ~frmTest() override { Unload(); }

  /// The settings profile. To be set before the form is shown.
  std::string HostAppName;

  Label lblSender;
  TextBox txtSender;
  Label lblRecipient;
  TextBox txtRecipient;
  Label lblMessage;
  TextBox txtMessage;
  TextBox txtStatus;
  CommandButton cmdSend, cmdAbort, cmdClose;

 private:
  /// The fields that are kept from one use to the next, and the names they are kept under.
  std::array<std::pair<TextBox*, const char*>, 3> RememberedFields();
  void Form_Load() override;
  void Form_Unload() override;
  void cmdSend_Click();
  void cmdAbort_Click();
  void cmdClose_Click();
  void Sender_Error(const std::string& description);
  void Sender_StatusChange(const std::string& status);
  void ShowSending(bool sending);

  Apartment& apartment_;
  std::unique_ptr<Sender> sender_;  // while a message is being sent
  std::string shown_;               // of the sender's status text
};

}  // namespace mvsms
