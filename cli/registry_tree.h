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

/// The key at `path` of the local machine with all below it; empty when there is none. A Failure
/// when it cannot be read.
RegistryTree ReadTree(Registry& registry, const std::string& path);

/// Writes all values of `tree` below `path`; what the store holds besides stays. A Failure names
/// the key that could not be written.
void WriteTree(Registry& registry, const std::string& path, const RegistryTree& tree);

Json ToJson(const RegistryTree& tree);

/// Throws UsageError when `json` is not what ToJson makes.
RegistryTree TreeFromJson(const Json& json);

}  // namespace mvsms::cli
