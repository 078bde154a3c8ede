// The rows, and the hive that all settings lie in, put to basRegistry.
#include "engine/profile.h"

#include <cstddef>
#include <utility>

#include "base/raised_error.h"

namespace mvsms {

SettingsKey::SettingsKey(Registry& registry, std::string path)
    : registry_(registry), path_(std::move(path)) {}

Variant SettingsKey::Get(const ValueInfo& info) const {
  return basRegistry::GetValue(registry_, kSettingsHive, path_, info.name, {});
}

Variant SettingsKey::GetOrInitial(const ValueInfo& info) const {
  return basRegistry::GetValue(registry_, kSettingsHive, path_, info.name,
                               std::string(info.initial));
}

bool SettingsKey::Set(const ValueInfo& info, const Variant& value) const {
  return basRegistry::SetValue(registry_, kSettingsHive, path_, info.name, value, info.type);
}

bool SettingsKey::Exists() const {
  RegKey key = 0;
  const RegStatus status = registry_.OpenKey(kSettingsHive, path_, kMaximumAllowed, key);
  if (status == kErrorSuccess) registry_.CloseKey(key);
  return status == kErrorSuccess || status == kErrorAccessDenied;
}

bool SettingsKey::Delete() const { return basRegistry::DeleteKey(registry_, kSettingsHive, path_); }

std::vector<std::string> SettingsKey::Names() const {
  std::vector<std::string> names = basRegistry::EnumKeys(registry_, kSettingsHive, path_);
  std::erase(names, "");
  return names;
}

bool IsReadOnly(Registry& registry, const std::string& path) {
  RegKey key = 0;
  const RegStatus status = registry.OpenKey(kSettingsHive, path, kKeyAllAccess, key);
  if (status == kErrorSuccess) registry.CloseKey(key);
  const std::size_t split = path.rfind('\\');
  if (status != kErrorFileNotFound || split == std::string::npos) {
    return status == kErrorAccessDenied;
  }
  return IsReadOnly(registry, path.substr(0, split));
}

SettingsKey RootKey(Registry& registry) { return {registry, kRootKey}; }

Profile::Profile(Registry& registry, std::string base_key)
    : registry_(registry), key_(registry, std::move(base_key)) {}

std::int32_t Profile::NumberOrInitial(const ValueInfo& info) const try {
  return ToWholeNumber(GetOrInitial(info));
} catch (const RaisedError&) {
  return ToWholeNumber(Variant(std::string(info.initial)));
}

std::vector<std::string> Profile::Services() const {
  return SettingsKey(registry_, ServicesKey(key_.path())).Names();
}

std::vector<std::string> Profile::Routes() const {
  return SettingsKey(registry_, RoutingKey(key_.path())).Names();
}

SettingsKey Profile::Service(const std::string& name) const {
  return {registry_, ServiceKey(key_.path(), name)};
}

SettingsKey Profile::Route(const std::string& prefix) const {
  return {registry_, RouteKey(key_.path(), prefix)};
}

}  // namespace mvsms
