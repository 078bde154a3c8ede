// The hub that the profile names.
#pragma once

#include <memory>
#include <string>

#include "backends/posix/hub/wire.h"
#include "cli/context.h"

namespace mvsms::cli {

/// Whether one is set.
bool HasHub(Context& context);
/// The way to it, not yet connected; `where` instead of the setting, if it is not empty, and then
/// with the user's own file of passwords. Throws when none is set, or the plug-in is missing.
std::unique_ptr<posix::HubWire> HubWireOf(Context& context, const std::string& where = "");
/// This machine's name there, ANSI.
std::string HubNameOf(Context& context);

}  // namespace mvsms::cli
