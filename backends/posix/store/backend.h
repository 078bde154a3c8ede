// The makers of the services that keep what is set. `home` is the folder of all state, UTF-8.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/registry.h"
#include "platform/user_settings.h"

namespace mvsms::posix {

class Store;

std::unique_ptr<Registry> MakeRegistry(const std::string& home);
/// Runs changes of a registry that MakeRegistry made as one transaction: when they throw, or the
/// process is killed, none was made. Throws what they throw, but where the store has failed
/// RaisedError with a sentence that says why. On a registry of another kind it only runs them.
void WriteTogether(Registry& registry, const std::function<void()>& changes);
/// The file of a registry that MakeRegistry made, for what belongs to the same transaction; null
/// for a registry of another kind.
Store* StoreOf(Registry& registry);
std::unique_ptr<UserSettings> MakeUserSettings(const std::string& home);

}  // namespace mvsms::posix
