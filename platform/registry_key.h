// What every user and every portable back end of the registry needs beside its operations: a key
// that closes itself, the bytes of a number, and the names in a path.
#pragma once

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
std::string DwordBytes(std::uint32_t number);
/// The number in the data of a REG_DWORD, which must be four bytes.
std::uint32_t DwordIn(std::string_view bytes);

/// The names in a key path; empty ones do not count.
std::vector<std::string_view> SplitKeyPath(std::string_view path);

}  // namespace mvsms
