// The makers of the services that keep what is set. `home` is the folder of all state, UTF-8.
#pragma once

#include <memory>
#include <string>

#include "platform/registry.h"
#include "platform/user_settings.h"

namespace mvsms::posix {

std::unique_ptr<Registry> MakeRegistry(const std::string& home);
std::unique_ptr<UserSettings> MakeUserSettings(const std::string& home);

}  // namespace mvsms::posix
