// What the dialogs do by themselves for a new profile, done by the commands that add something.
#pragma once

#include "cli/context.h"
#include "cli/store.h"

namespace mvsms::cli {

/// A default that names nothing there is becomes the service of the profile, or the modem of the
/// machine, when there is only that one; and then, where nobody has chosen otherwise, a leading "+"
/// of a number is sent as "00". One line on the output says so.
void FillDefaults(Context& context, ProfileStore& store);

}  // namespace mvsms::cli
