// The settings of the chosen profile, as the command reads and changes them; every access that
// fails is reported (see registry_tree.h).
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "cli/context.h"
#include "cli/registry_tree.h"
#include "engine/settings.h"

namespace mvsms::cli {

/// Throws Failure with what stands in the way when the settings cannot be read or cannot be
/// changed. Within WriteTogether both were checked before.
void CheckReadable(Context& context);
void CheckWritable(Context& context);

/// Settings and what is to be stored for them, in the order of writing.
using SettingValues = std::vector<std::pair<ValueInfo, RegistryValue>>;

/// The profile by the rows of engine/settings.h, as engine/profile.h has it for those to whom a
/// failure is an absence. Names and texts are in the ANSI code page; a key is one that Service,
/// Route or Group names. Every failure of the store is thrown as Failure.
class ProfileStore {
 public:
  /// Checks the profile's name, and that the store can be read. The profile need not exist yet.
  explicit ProfileStore(Context& context);
  /// That of another profile, by its name in UTF-8.
  ProfileStore(Context& context, const std::string& profile);

  /// The key of the profile itself.
  const std::string& key() const { return base_key_; }
  /// Names of the services, prefixes of the routes and names of the groups in the store's order;
  /// the key of one of them.
  std::vector<std::string> Services();
  std::vector<std::string> Routes();
  std::vector<std::string> Groups();
  std::string Service(const std::string& name) const;
  std::string Route(const std::string& prefix) const;
  std::string Group(const std::string& name) const;

  /// Whether anything is stored under the profile's name; whether there is such a key.
  bool Exists();
  bool Exists(const std::string& key);
  /// The value of the profile or of a key as a text: digits for a number, "" when there is none.
  std::string Get(const ValueInfo& info);
  std::string Get(const std::string& key, const ValueInfo& info);
  /// Makes a key with these values, or gives them to one that exists; `follow` changes what comes
  /// with it. When not all could be written, a new key is not left behind.
  void Add(
      const std::string& key, const SettingValues& values,
      const std::function<void()>& follow = [] {});
  /// Writes values, creating the key where needed.
  void Set(const ValueInfo& info, const RegistryValue& value);
  void Set(const std::string& key, const SettingValues& values);
  /// Takes a value away, as if nobody had ever set it.
  void Unset(const ValueInfo& info);
  /// Gives a key with all below it another place, which must be free or the same in another case.
  /// `follow` changes what names the key.
  void Move(const std::string& from, const std::string& to, const std::function<void()>& follow);
  /// Deletes a key with all below it.
  void Delete(const std::string& key);
  /// Runs changes that belong together: all are made or, where this system can, none.
  void Together(const std::function<void()>& changes);

 private:
  Context& context_;
  Registry& registry_;
  std::string base_key_;
};

/// A value of the profile as a text; the row's initial one when it has none, or cannot be read. For
/// those who go on without the settings.
std::string SettingOrInitial(Context& context, const ValueInfo& info);

/// Names of all profiles, in the store's order.
std::vector<std::string> ProfileNames(Context& context);

/// The chosen profile, for commands that only read it: a UsageError when there is no such profile,
/// for its name is mistyped then, or the settings are another user's. The standard one may be
/// missing: nothing was set up yet.
ProfileStore ExistingProfile(Context& context);

/// `utf8` in the ANSI code page when it can be the name of a profile, service or route (`what`),
/// else a UsageError.
std::string KeyName(const std::string& what, const std::string& utf8);

/// `utf8` as the prefix of a route: digits. Else a UsageError.
std::string RoutePrefix(const std::string& utf8);

/// A blank service, as the dialog for a new one makes it.
SettingValues BlankService();

/// What a number that begins with "+" needs.
inline constexpr char kPlusHint[] =
    "a \"+\" needs ReplacePlus: 'mvsms config set ReplacePlus 1', or write 00 instead";

/// The name of an existing service, else a UsageError.
std::string ExistingService(ProfileStore& store, const std::string& utf8);

}  // namespace mvsms::cli
