// basRegistry over the registry service of the seam. A key is open only within one operation.
#include "engine/basregistry.h"

#include <cstddef>

#include "base/numbers.h"
#include "base/raised_error.h"
#include "platform/registry_key.h"

namespace mvsms {
namespace {

constexpr std::size_t kNameBuffer = kLongestKeyName + 1;  // and the NUL

Variant NumberIn(const std::string& bytes) {
  if (bytes.size() != 4) return {};
  return static_cast<std::int32_t>(DwordIn(bytes));
}

Variant TextIn(std::string bytes) {
  if (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
  return bytes;
}

Variant ReadValue(Registry& registry, RegKey key, const std::string& name) {
  RegType type = RegType::kNone;
  std::string data;
  if (registry.QueryValue(key, name, type, data) != kErrorSuccess) return {};
  if (type == RegType::kSz) return TextIn(std::move(data));
  if (type == RegType::kDword) return NumberIn(data);
  return {};
}

/// What is stored for a number: writing must not fail, so an unusable text counts as 0.
std::int32_t ToStoredNumber(const Variant& value) {
  try {
    return ToLeadingNumber(value);
  } catch (const RaisedError&) {
    return 0;
  }
}

}  // namespace

namespace basRegistry {

Variant GetValue(Registry& registry, RegKey hive, const std::string& KeyPath,
                 const std::string& ValueName, const Variant& Default) {
  RegKey key = 0;
  if (registry.OpenKey(hive, KeyPath, kMaximumAllowed, key) != kErrorSuccess) return Default;
  const KeyCloser closer(registry, key);
  const Variant value = ReadValue(registry, key, ValueName);
  return std::holds_alternative<std::monostate>(value) ? Default : value;
}

bool SetValue(Registry& registry, RegKey hive, const std::string& KeyPath,
              const std::string& ValueName, const Variant& Value, RegType Type) {
  const std::string path = KeyPath.starts_with('\\') ? KeyPath.substr(1) : KeyPath;
  if (path.empty()) return false;
  const std::string data = Type == RegType::kDword
                               ? DwordBytes(static_cast<std::uint32_t>(ToStoredNumber(Value)))
                               : ToText(Value);
  RegKey key = 0;
  if (registry.CreateKey(hive, path, key) == kErrorSuccess) {
    const KeyCloser closer(registry, key);
    registry.SetValue(key, ValueName, Type, data);
  }
  return true;
}

std::vector<std::string> EnumKeys(Registry& registry, RegKey hive, const std::string& KeyPath) {
  std::vector<std::string> names;
  RegKey key = 0;
  if (registry.OpenKey(hive, KeyPath, kKeyAllAccess, key) == kErrorSuccess) {
    const KeyCloser closer(registry, key);
    std::string name;
    for (std::uint32_t index = 0; registry.EnumKey(key, index, kNameBuffer, name) == kErrorSuccess;
         ++index) {
      names.push_back(StripNul(name));
    }
  }
  if (names.empty()) names.emplace_back();
  return names;
}

bool DeleteKey(Registry& registry, RegKey hive, const std::string& KeyPath) {
  const std::size_t split = KeyPath.rfind('\\');
  if (split == std::string::npos || split == 0 || split + 1 == KeyPath.size()) return false;
  RegKey parent = 0;
  if (registry.OpenKey(hive, KeyPath.substr(0, split), kKeyAllAccess, parent) != kErrorSuccess) {
    return false;
  }
  const KeyCloser closer(registry, parent);
  const std::string name = KeyPath.substr(split + 1);
  const RegStatus status = registry.HasDeleteTree() ? registry.DeleteTree(parent, name)
                                                    : registry.DeleteKey(parent, name);
  return status == kErrorSuccess;
}

std::string StripNul(const std::string& Text) { return Text.substr(0, Text.find('\0')); }

}  // namespace basRegistry

std::string ToText(const Variant& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) return std::to_string(*number);
  const auto* text = std::get_if<std::string>(&value);
  return text != nullptr ? *text : std::string();
}

bool ToBoolean(const Variant& value) { return ToNumber(ToText(value)) != 0; }

std::int32_t ToWholeNumber(const Variant& value) { return ToLong(ToText(value)); }

std::int32_t ToLeadingNumber(const Variant& value) { return ToLong(Val(ToText(value))); }

}  // namespace mvsms
