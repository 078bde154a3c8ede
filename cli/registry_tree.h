// A part of the registry as a value: read from the store, written to it, and its JSON form, in
// which every type and every byte survives.
//
// JSON: a key is {"values": {NAME: VALUE, …}, "keys": {NAME: KEY, …}}, both parts optional. A VALUE
// is a text (REG_SZ, with the terminating NUL only where the store has one), a number (REG_DWORD)
// or, for everything else, {"type": N, "hex": "00ff…"}.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cli/context.h"
#include "platform/registry.h"

namespace mvsms::cli {

struct RegistryValue {
  RegType type = RegType::kNone;
  std::string data;  // raw bytes
  bool operator==(const RegistryValue&) const = default;
};

/// A REG_SZ without a terminating NUL, and a REG_DWORD.
RegistryValue TextValue(const std::string& ansi);
RegistryValue NumberValue(std::uint32_t number);

/// Names are in the ANSI code page and in the store's order.
struct RegistryBranch;
struct RegistryTree {
  std::vector<std::pair<std::string, RegistryValue>> values;
  std::vector<RegistryBranch> keys;
  bool operator==(const RegistryTree&) const;
};
struct RegistryBranch {
  std::string name;
  RegistryTree tree;
  bool operator==(const RegistryBranch&) const = default;
};
inline bool RegistryTree::operator==(const RegistryTree& other) const {
  return values == other.values && keys == other.keys;
}

// Paths are relative to the hive of the settings. Unlike basRegistry, to which what cannot be read
// is absent, these report every access that fails, as a Failure with the key: whoever types a
// command, or keeps an export as a backup, must not take a part for the whole.

bool KeyExists(Registry& registry, const std::string& path);
/// Names of the subkeys; none when there is no such key.
std::vector<std::string> KeyNames(Registry& registry, const std::string& path);
/// The value as a text: digits for a number; "" when there is none, or one of another type.
std::string ReadText(Registry& registry, const std::string& path, const std::string& name);
/// The key with all below it; empty when there is none.
RegistryTree ReadTree(Registry& registry, const std::string& path);

/// Writes all values of `tree` below `path`; what the store holds besides stays.
void WriteTree(Registry& registry, const std::string& path, const RegistryTree& tree);

/// Deletes a key with all below it; one that is not there is none to delete.
void DeleteKey(Registry& registry, const std::string& path);
/// Deletes a value; one that is not there is none to delete.
void DeleteValue(Registry& registry, const std::string& path, const std::string& name);

Json ToJson(const RegistryTree& tree);

/// Throws UsageError when `json` is not what ToJson makes, or has keys in more than 512 levels.
RegistryTree TreeFromJson(const Json& json);

}  // namespace mvsms::cli
