// The groups of recipients of a profile, as commands read and change them.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/store.h"

namespace mvsms::cli {

/// The members of a group, ANSI; none when there is no such group.
std::vector<std::string> MembersOf(ProfileStore& store, const std::string& name);

/// What is stored for a group of these members, in UTF-8. UsageError when there is none, or one can
/// be no member: neither a number, nor the name of a group, nor a command with its path.
SettingValues GroupValues(Context& context, const std::vector<std::string>& members);

}  // namespace mvsms::cli
