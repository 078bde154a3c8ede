// What every user and every portable back end of the registry needs beside its operations: a key
// that closes itself, the bytes of a number, and the names in a path.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace mvsms {

/// Closes a key at the end of the scope. The registry outlives it.
class KeyCloser {
 public:
  KeyCloser(Registry& registry, RegKey key) : registry_(registry), key_(key) {}
  ~KeyCloser() { registry_.CloseKey(key_); }
  KeyCloser(const KeyCloser&) = delete;
  KeyCloser& operator=(const KeyCloser&) = delete;

 private:
  Registry& registry_;
  RegKey key_;
};

/// The four bytes of a REG_DWORD, lowest first.
inline std::string DwordBytes(std::uint32_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(static_cast<unsigned char>((number >> shift) & 0xFFU));
  }
  return bytes;
}
/// The number in the data of a REG_DWORD, which must be four bytes.
inline std::uint32_t DwordIn(std::string_view bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

/// The names in a key path; empty ones are skipped.
inline std::vector<std::string_view> SplitKeyPath(std::string_view path) {
  std::vector<std::string_view> names;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    if (end > 0) names.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return names;
}

}  // namespace mvsms
