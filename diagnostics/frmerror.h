// frmError: tells the user of an unexpected error, with the details on request, lets them retry,
// ignore or cancel, and can mail a report to the support mailbox.
#pragma once

#include <cstdint>
#include <string>

#include "forms/form.h"

namespace mvsms {

/// An error as the failing procedure hands it over.
struct ErrorDetails {
  std::string ModuleName;
  std::string ProcedureName;
  std::int32_t ErrNumber = 0;
  std::string ErrDescription;
  std::int32_t LineNumber = 0;
};

class frmError final : public Form {
 public:
  static constexpr char kRetry[] = "R";
  static constexpr char kIgnore[] = "I";
  static constexpr char kAbort[] = "A";

  frmError(Platform& platform, const ErrorDetails& details);
  ~frmError() override { Unload(); }

  /// The answer: kRetry, kIgnore, kAbort, or "" when the window was closed without one.
  const std::string& Answer() const { return answer_; }
  /// Fills the detail fields from the values handed in.
  void Init();

  Label lblComponent, lblExplanation;
  CommandButton cmdRetry, cmdIgnore, cmdCancel, cmdSend, cmdDetails;
  Label lblMessage;
  TextBox txtMessage;
  Label lblModule;
  TextBox txtModule;
  Label lblVersion;
  TextBox txtVersion;
  Label lblOsVersion;
  TextBox txtOsVersion;

 private:
  void Form_Load() override;
  void MakeRoom(int explanation_height);
  void Give(const char* answer);
  void ShowDetails(bool expanded);
  void cmdSend_Click();
  std::string Report() const;
  void Compose(MailClient& client);

  ErrorDetails details_;
  std::string answer_;
  bool expanded_ = false;
};

/// Such as "WinXP Build:2600 Service Pack 2"; a version without a name begins with " Build:". ""
/// when the system does not tell its version.
std::string GetWinVer(Locale& locale);

}  // namespace mvsms
