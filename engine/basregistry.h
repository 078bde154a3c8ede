// basRegistry: the thin layer through which every access to the settings store goes. It turns the
// store's typed bytes into values and its error codes into defaults: reading never fails, it gives
// what the caller asked for instead.
//
// Key paths use "\" and are relative to `hive`. Nothing is cached. No operation throws, except the
// conversions at the end, which raise 6 "Overflow" and 13 "Type mismatch".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/registry.h"

namespace mvsms {

/// A value of the settings store: nothing, a text, or a number.
using Variant = std::variant<std::monostate, std::string, std::int32_t>;

/// Characters of the longest name that EnumKeys lists, and so of any key that is of use.
inline constexpr std::size_t kLongestKeyName = 254;

namespace basRegistry {

/// The value, or `Default` when the key, the value or a type that we read is missing. A text comes
/// back without the one NUL that other programs store at its end.
Variant GetValue(Registry& registry, RegKey hive, const std::string& KeyPath,
                 const std::string& ValueName, const Variant& Default);

/// Writes a value as `Type`, kSz or kDword, creating the key where needed. One leading "\" of the
/// path is dropped; false for an empty path, true in every other case, even when the store refused
/// the write. A text that is no 32-bit number is written as the number it begins with, else as 0.
bool SetValue(Registry& registry, RegKey hive, const std::string& KeyPath,
              const std::string& ValueName, const Variant& Value, RegType Type);

/// Names of the subkeys, in the store's order. Never empty: without subkeys, or when the key cannot
/// be opened, one empty name. A name longer than kLongestKeyName ends the list.
std::vector<std::string> EnumKeys(Registry& registry, RegKey hive, const std::string& KeyPath);

/// Deletes a key, with everything below it where the store can do that, else only if it has no
/// subkeys. False when it was not deleted, and for a path that has no parent in it.
bool DeleteKey(Registry& registry, RegKey hive, const std::string& KeyPath);

/// The part before the first NUL, or all of it.
std::string StripNul(const std::string& Text);

}  // namespace basRegistry

/// Nothing is "", a number its decimal digits.
std::string ToText(const Variant& value);
/// True for any number but 0, a fraction too, also one written as text; nothing and empty text are
/// false, any other text is an error.
bool ToBoolean(const Variant& value);
/// The whole value as a rounded number; nothing and empty text are 0, any other text is an error.
std::int32_t ToWholeNumber(const Variant& value);
/// The number that the value begins with, rounded; 0 when there is none.
std::int32_t ToLeadingNumber(const Variant& value);

}  // namespace mvsms
