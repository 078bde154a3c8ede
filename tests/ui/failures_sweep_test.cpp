// Each operation of the seam fails at its n-th call while an administrator works in the dialogs, n
// rising until nothing fails any more: whatever the user answers, the dialog comes to its end and
// leaves nothing behind.
#include <gtest/gtest.h>

#include "base/raised_error.h"
#include "diagnostics/frmerror.h"
#include "forms/localize.h"
#include "tests/support/desktop.h"
#include "ui/config.h"

namespace mvsms {
namespace {

enum class How { kRefused, kRaised };

struct Sweep {
  How how;
  CommandButton frmError::* answer;
  const char* name;
};

class DialogFailures : public testing::TestWithParam<Sweep> {
 protected:
  /// Opens the dialog and does everything once. `nth` is the operation that fails. True when the
  /// work was done before it came to that one.
  bool Work(std::size_t nth) {
    test::Desktop desk;
    desk.AddModem("Modem A");
    desk.platform.files["C:\\Programs\\mvSMS\\smstransports.inf"] =
        "7,Example,Germany,UCP,pw,51,0123456,160,1,49,9600,8,N,1,3000,3,0171;0172\n";
    desk.platform.inputbox_answers = {"0175"};
    desk.When<frmNewService>("frmNewService", [](frmNewService& dialog) {
      dialog.Option1[1].SetValue(true);
      dialog.lsServices.Select(0);
      dialog.OKButton.Click();
    });
    desk.When<frmServiceProperties>("frmServiceProperties",
                                    [](frmServiceProperties& dialog) { dialog.OKButton.Click(); });
    desk.When<frmEditRoute>("frmEditRoute", [](frmEditRoute& dialog) {
      SetComboString(dialog.cmbService, "Example");
      dialog.cmdOK.Click();
    });
    desk.When<frmError>("frmError", [](frmError& dialog) { (dialog.*GetParam().answer).Click(); });
    desk.When<frmConfig>("frmConfig", [](frmConfig& form) {
      form.txtCountry.SetText("0049");
      form.cmdSrvAdd.Click();
      form.lsServices.Select(0);
      form.cmdSrvEdit.Click();
      form.cmdRouteAdd.Click();
      form.lsRouting.Select(0);
      form.cmdRouteEdit.Click();
      form.cmdRouteDelete.Click();
      form.cmdLocation.Click();
      form.cmdOpenLogfile.Click();
      form.lsServices.Select(0);
      form.cmdSrvDelete.Click();
      form.cmdClose.Click();
    });
    std::size_t calls = 0;
    desk.platform.fail = [&](const std::string& operation) -> bool {
      if (++calls != nth) return false;
      const bool may_throw = operation.compare(0, 9, "Registry.") != 0;  // it gives codes instead
      if (GetParam().how == How::kRaised && may_throw)
        throw RaisedError(7, operation, "Out of memory");
      return true;
    };
    Apartment apartment(desk.platform);
    {
      Config config(apartment);
      try {
        config.ShowConfigDialog("", kNoWindow, true);
      } catch (const RaisedError&) {
        // The dialog itself could not be shown: the host is told.
      }
    }
    desk.platform.fail = nullptr;
    EXPECT_EQ(desk.platform.open_windows(), 0U) << nth;
    EXPECT_EQ(desk.platform.running_timers(), 0U) << nth;
    return calls < nth;
  }
};

TEST_P(DialogFailures, LeaveNothingBehindAndEnd) {
  std::size_t nth = 1;
  while (!Work(nth)) ++nth;
  EXPECT_GT(nth, 200U);
}

INSTANTIATE_TEST_SUITE_P(
    Each, DialogFailures,
    testing::Values(Sweep{How::kRefused, &frmError::cmdCancel, "RefusedCancelled"},

                    Sweep{How::kRaised, &frmError::cmdCancel, "RaisedCancelled"},
                    Sweep{How::kRaised, &frmError::cmdIgnore, "RaisedIgnored"},
                    Sweep{How::kRaised, &frmError::cmdRetry, "RaisedRetried"}),
    [](const testing::TestParamInfo<Sweep>& sweep) { return std::string(sweep.param.name); });

}  // namespace
}  // namespace mvsms
