// Walking the registry, and the JSON form of what was found.
#include "cli/registry_tree.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "base/ansi.h"
#include "cli/json.h"
#include "engine/profile.h"
#include "engine/settings.h"
#include "platform/registry_key.h"

namespace mvsms::cli {
namespace {

constexpr std::size_t kNameBuffer = 256;  // of the longest that a registry can hold, and the NUL
constexpr std::uint64_t kMaxDword = 0xFFFFFFFFU;

[[noreturn]] void Fail(const std::string& what, const std::string& path, RegStatus status) {
  const std::string reason =
      status == kErrorAccessDenied ? "access is denied" : "error " + std::to_string(status);
  throw Failure("cannot " + what + " the key \"" + Utf8FromAnsi(path) + "\" (" + reason + ")");
}

// The names that `list` gives for 0, 1 and so on, until there are no more.
template <typename List>
std::vector<std::string> AllNames(const std::string& path, List list) {
  std::vector<std::string> names;
  for (std::uint32_t index = 0;; ++index) {
    std::string name;
    const RegStatus status = list(index, name);
    if (status == kErrorNoMoreItems) return names;
    if (status != kErrorSuccess) Fail("list", path, status);
    names.push_back(std::move(name));
  }
}

std::vector<std::string> ValueNames(Registry& registry, RegKey key, const std::string& path) {
  return AllNames(path, [&](std::uint32_t index, std::string& name) {
    return registry.EnumValue(key, index, name);
  });
}

std::vector<std::string> KeyNames(Registry& registry, RegKey key, const std::string& path) {
  return AllNames(path, [&](std::uint32_t index, std::string& name) {
    return registry.EnumKey(key, index, kNameBuffer, name);
  });
}

// The key at `path`; none when there is no such key.
std::optional<RegKey> Open(Registry& registry, const std::string& path) {
  RegKey key = 0;
  const RegStatus status = registry.OpenKey(kSettingsHive, path, kMaximumAllowed, key);
  if (status == kErrorFileNotFound) return {};
  if (status != kErrorSuccess) Fail("read", path, status);
  return key;
}

// As the engine reads a value, which takes texts with or without a NUL, and numbers.
std::string ToText(const RegistryValue& value) {
  if (value.type == RegType::kDword && value.data.size() == 4) {
    return std::to_string(static_cast<std::int32_t>(DwordIn(value.data)));
  }
  if (value.type != RegType::kSz) return {};
  return value.data.substr(0, value.data.size() - (value.data.ends_with('\0') ? 1 : 0));
}

RegistryValue ReadValue(Registry& registry, RegKey key, const std::string& path,
                        const std::string& name) {
  RegistryValue value;
  const RegStatus status = registry.QueryValue(key, name, value.type, value.data);
  if (status != kErrorSuccess) Fail("read a value of", path, status);
  return value;
}

// And looks whether it arrived: a store may put away for this user alone what it does not take.
void WriteValue(Registry& registry, RegKey key, const std::string& path, const std::string& name,
                const RegistryValue& value) {
  const RegStatus status = registry.SetValue(key, name, value.type, value.data);
  if (status != kErrorSuccess) Fail("write to", path, status);
  RegistryValue stored;
  registry.QueryValue(key, name, stored.type, stored.data);
  if (stored == value) return;
  throw Failure("the value \"" + Utf8FromAnsi(name) + "\" of the key \"" + Utf8FromAnsi(path) +
                "\" reads back as something else than was written");
}

std::string ToHex(const std::string& data) {
  std::string hex;
  for (const char c : data) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    hex += digits;
  }
  return hex;
}

std::string FromHex(const std::string& hex) {
  if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw UsageError("\"" + hex + "\" is not a row of hexadecimal bytes");
  }
  std::string data;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    data += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return data;
}

Json ToJson(const RegistryValue& value) {
  if (value.type == RegType::kSz) return Utf8FromAnsi(value.data);
  if (value.type == RegType::kDword && value.data.size() == 4) return DwordIn(value.data);
  return {{"type", static_cast<std::uint32_t>(value.type)}, {"hex", ToHex(value.data)}};
}

RegistryValue ValueFromJson(const std::string& name, const Json& json) {
  if (json.is_string()) return TextValue(AnsiFromUtf8(json.get<std::string>()));
  if (json.is_number_unsigned() && json.get<std::uint64_t>() <= kMaxDword) {
    return NumberValue(json.get<std::uint32_t>());
  }
  if (json.is_object() && json.size() == 2 && json.contains("type") && json.contains("hex") &&
      json["type"].is_number_unsigned() && json["type"].get<std::uint64_t>() <= kMaxDword &&
      json["hex"].is_string()) {
    return {static_cast<RegType>(json["type"].get<std::uint32_t>()),
            FromHex(json["hex"].get<std::string>())};
  }
  throw UsageError("the value \"" + name + "\" is not one of the registry");
}

void CheckKeyName(const std::string& name) {
  if (name.empty() || name.size() > kLongestKeyName || name.find('\\') != std::string::npos) {
    throw UsageError("\"" + Utf8FromAnsi(name) + "\" cannot be the name of a key");
  }
}

const Json& Part(const Json& json, const char* name) {
  static const Json kNone = Json::object();
  const auto part = json.find(name);
  if (part == json.end()) return kNone;
  if (!part->is_object()) throw UsageError(std::string("\"") + name + "\" is not an object");
  return *part;
}

constexpr int kDeepest = 512;  // as many as Windows allows

RegistryTree TreeFromJson(const Json& json, int levels) {
  if (!json.is_object()) throw UsageError("a key is not an object");
  if (levels == 0) {
    throw UsageError("the keys are nested more than " + std::to_string(kDeepest) + " levels deep");
  }
  RegistryTree tree;
  for (const auto& [name, value] : Part(json, "values").items()) {
    tree.values.emplace_back(AnsiFromUtf8(name), ValueFromJson(name, value));
  }
  for (const auto& [name, subtree] : Part(json, "keys").items()) {
    const std::string key = AnsiFromUtf8(name);
    CheckKeyName(key);
    tree.keys.push_back({key, TreeFromJson(subtree, levels - 1)});
  }
  return tree;
}

}  // namespace

RegistryValue TextValue(const std::string& ansi) { return {RegType::kSz, ansi}; }

RegistryValue NumberValue(std::uint32_t number) { return {RegType::kDword, DwordBytes(number)}; }

bool KeyExists(Registry& registry, const std::string& path) {
  const auto key = Open(registry, path);
  if (key) registry.CloseKey(*key);
  return key.has_value();
}

std::vector<std::string> KeyNames(Registry& registry, const std::string& path) {
  const auto key = Open(registry, path);
  if (!key) return {};
  const KeyCloser closer(registry, *key);
  return KeyNames(registry, *key, path);
}

std::string ReadText(Registry& registry, const std::string& path, const std::string& name) {
  const auto key = Open(registry, path);
  if (!key) return {};
  const KeyCloser closer(registry, *key);
  RegistryValue value;
  const RegStatus status = registry.QueryValue(*key, name, value.type, value.data);
  if (status == kErrorFileNotFound) return {};
  if (status != kErrorSuccess) Fail("read a value of", path, status);
  return ToText(value);
}

RegistryTree ReadTree(Registry& registry, const std::string& path) {
  const auto key = Open(registry, path);
  if (!key) return {};
  const KeyCloser closer(registry, *key);

  RegistryTree tree;
  for (const std::string& name : ValueNames(registry, *key, path)) {
    tree.values.emplace_back(name, ReadValue(registry, *key, path, name));
  }
  for (const std::string& name : KeyNames(registry, *key, path)) {
    tree.keys.push_back({name, ReadTree(registry, path + "\\" + name)});
  }
  return tree;
}

void WriteTree(Registry& registry, const std::string& path, const RegistryTree& tree) {
  RegKey key = 0;
  const RegStatus status = registry.CreateKey(kSettingsHive, path, key);
  if (status != kErrorSuccess) Fail("create", path, status);
  const KeyCloser closer(registry, key);

  for (const auto& [name, value] : tree.values) WriteValue(registry, key, path, name, value);
  for (const auto& [name, subtree] : tree.keys) {
    WriteTree(registry, path + "\\" + name, subtree);
  }
}

void DeleteKey(Registry& registry, const std::string& path) {
  if (!KeyExists(registry, path)) return;
  if (!SettingsKey(registry, path).Delete()) Fail("delete", path, kErrorAccessDenied);
}

void DeleteValue(Registry& registry, const std::string& path, const std::string& name) {
  const auto key = Open(registry, path);
  if (!key) return;
  const KeyCloser closer(registry, *key);
  const RegStatus status = registry.DeleteValue(*key, name);
  if (status != kErrorSuccess && status != kErrorFileNotFound) {
    Fail("delete a value of", path, status);
  }
}

Json ToJson(const RegistryTree& tree) {
  Json json = Json::object();
  for (const auto& [name, value] : tree.values) json["values"][Utf8FromAnsi(name)] = ToJson(value);
  for (const auto& [name, subtree] : tree.keys) json["keys"][Utf8FromAnsi(name)] = ToJson(subtree);
  return json;
}

RegistryTree TreeFromJson(const Json& json) { return TreeFromJson(json, kDeepest); }

}  // namespace mvsms::cli
