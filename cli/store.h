// The settings of the chosen profile, as the command reads and changes them; every access that
// fails is reported (see registry_tree.h).
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/registry_tree.h"

namespace mvsms::cli {

/// Throws Failure with what stands in the way when the settings cannot be read or cannot be
/// changed.
void CheckReadable(Context& context);
void CheckWritable(Context& context);

/// Key paths are relative to the profile's key ("" is that key itself); names and texts are in the
/// ANSI code page. Every failure of the store is thrown as Failure.
class ProfileStore {
 public:
  /// Checks the profile's name, and that the store can be read.
  explicit ProfileStore(Context& context);

  bool Exists(const std::string& key);
  /// The value as a text: digits for a number, "" when there is none.
  std::string Get(const std::string& key, const std::string& name);
  /// Names of the subkeys in the store's order.
  std::vector<std::string> Keys(const std::string& key);
  /// Makes a key with these values. When not all could be written, none are left.
  void Add(const std::string& key,
           const std::vector<std::pair<std::string, RegistryValue>>& values);
  /// Writes values, creating the key where needed.
  void Set(const std::string& key,
           const std::vector<std::pair<std::string, RegistryValue>>& values);
  /// Deletes a key with all below it.
  void Delete(const std::string& key);

 private:
  std::string Path(const std::string& key) const;
  /// Before the first change: a reason that the registry's error codes cannot give.
  void PrepareToWrite();

  Context& context_;
  Registry& registry_;
  std::string base_key_;
  bool writable_ = false;
};

/// Keys within a profile, as ServiceKey and RouteKey are in the store.
std::string ServicePath(const std::string& service);
std::string RoutePath(const std::string& prefix);

/// `utf8` in the ANSI code page when it can be the name of a profile, service or route (`what`),
/// else a UsageError.
std::string KeyName(const std::string& what, const std::string& utf8);

/// What a number that begins with "+" needs.
inline constexpr char kPlusHint[] =
    "a \"+\" needs ReplacePlus: 'mvsms config set ReplacePlus 1', or write 00 instead";

/// The name of an existing service, else a UsageError.
std::string ExistingService(ProfileStore& store, const std::string& utf8);

}  // namespace mvsms::cli
