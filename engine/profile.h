// A profile of the settings store, read and written by the rows of engine/settings.h. Like
// basRegistry beneath it, nothing is cached and nothing throws: what cannot be read is absent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/settings.h"

namespace mvsms {

/// A key of the settings store, which need not exist yet.
class SettingsKey {
 public:
  /// `registry` outlives the key; `path` is relative to the hive of the settings.
  SettingsKey(Registry& registry, std::string path);

  const std::string& path() const { return path_; }

  /// The value as it is stored; nothing when it is absent.
  Variant Get(const ValueInfo& info) const;
  /// The same, but the row's initial text when it is absent.
  Variant GetOrInitial(const ValueInfo& info) const;
  /// Writes a value as the row's type, creating the key where needed; the result is that of
  /// basRegistry::SetValue.
  bool Set(const ValueInfo& info, const Variant& value) const;
  /// Whether there is such a key, though it may be another user's.
  bool Exists() const;
  /// Deletes the key with all below it; false when it was not deleted.
  bool Delete() const;
  /// Names of the keys right below it, in the store's order.
  std::vector<std::string> Names() const;

 private:
  Registry& registry_;
  std::string path_;
};

/// Whether the user may not change what lies at `path`, or make it where it is missing. A user like
/// that sees no names of services and routes either (basRegistry::EnumKeys).
bool IsReadOnly(Registry& registry, const std::string& path);

/// The key of all profiles; an installation may set values of its own there.
SettingsKey RootKey(Registry& registry);

/// A profile's own values, and the ways to its services and routes.
class Profile {
 public:
  /// `base_key` is what BaseKey makes of the profile's name.
  Profile(Registry& registry, std::string base_key);

  Variant Get(const ValueInfo& info) const { return key_.Get(info); }
  Variant GetOrInitial(const ValueInfo& info) const { return key_.GetOrInitial(info); }
  /// The number that is stored; the initial one when it is absent or none.
  std::int32_t NumberOrInitial(const ValueInfo& info) const;
  bool Set(const ValueInfo& info, const Variant& value) const { return key_.Set(info, value); }

  /// Names of the services, and prefixes of the routes, in the store's order.
  std::vector<std::string> Services() const;
  std::vector<std::string> Routes() const;
  SettingsKey Service(const std::string& name) const;
  SettingsKey Route(const std::string& prefix) const;

 private:
  Registry& registry_;
  SettingsKey key_;
};

}  // namespace mvsms
