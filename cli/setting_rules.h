// Holds a value to the rule that its setting has in engine/settings.h. The dialogs store whatever
// is typed; a command line has nobody who sees the value standing there, so a wrong one is refused
// before it is stored.
#pragma once

#include <span>
#include <string>
#include <utility>

#include "cli/context.h"
#include "cli/registry_tree.h"
#include "cli/store.h"
#include "engine/settings.h"

namespace mvsms::cli {

/// Whether it says how to reach a server in the server's own words, such as host=a,b dbname=mvsms,
/// and not as an address.
bool IsServer(const std::string& text);
/// Whether such words give a password, or speak of one.
bool HoldsPassword(const std::string& text);

/// The entry of `name` (in any case), else a UsageError that lists the names there are.
const ValueInfo& FindValue(std::span<const ValueInfo> values, const std::string& name);

/// The value as it is stored, or a UsageError that says what is wrong with it. `utf8` comes from
/// the command line.
RegistryValue CheckedValue(Context& context, ProfileStore& store, const ValueInfo& info,
                           const std::string& utf8);

/// The form of a value before anybody set it.
RegistryValue InitialValue(const ValueInfo& info);

}  // namespace mvsms::cli
