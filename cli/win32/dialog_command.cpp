// `mvsms dialog`: the configuration dialog without a host program.
#include "base/ansi.h"
#include "cli/commands.h"
#include "media/apartment.h"
#include "ui/config.h"

namespace mvsms::cli {

void AddDialogCommand(Command& app, Context& context) {
  AddCommand(app, context, "dialog", "Open the configuration dialog",
             "  mvsms dialog\n"
             "  mvsms dialog --profile Alarms\n"
             "The command ends when the dialog has been closed.")
      ->Callback([&context] {
        Apartment apartment(context.platform());
        Config(apartment).ShowConfigDialog(AnsiFromUtf8(context.profile), kNoWindow,
                                           /*Modal=*/true);
      });
}

}  // namespace mvsms::cli
