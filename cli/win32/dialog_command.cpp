// `mvsms dialog`: the configuration dialog, or the test tool, without a host program.
#include <memory>
#include <string>

#include "base/ansi.h"
#include "cli/commands.h"
#include "media/apartment.h"
#include "ui/config.h"
#include "ui/frmtest.h"

namespace mvsms::cli {

namespace {

void ShowTestTool(Apartment& apartment, const std::string& profile) {
  const auto dialog = std::make_shared<frmTest>(apartment);
  dialog->HostAppName = profile;
  dialog->ShowModal();
}

}  // namespace

void AddDialogCommand(Command& app, Context& context) {
  const auto test_tool = std::make_shared<bool>(false);
  Command* const command = AddCommand(app, context, "dialog", "Open the configuration dialog",
                                      "  mvsms dialog\n"
                                      "  mvsms dialog --profile Alarms\n"
                                      "  mvsms dialog --test-tool\n"
                                      "The command ends when the dialog has been closed.");
  command->AddFlag("--test-tool", *test_tool, "Open the test tool instead");
  command->Callback([&context, test_tool] {
    Apartment apartment(context.platform());
    const std::string profile = AnsiFromUtf8(context.profile);
    if (*test_tool) return ShowTestTool(apartment, profile);
    Config(apartment).ShowConfigDialog(profile, kNoWindow, /*Modal=*/true);
  });
}

}  // namespace mvsms::cli
