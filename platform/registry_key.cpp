// Bytes and paths of the registry.
#include "platform/registry_key.h"

#include <algorithm>

namespace mvsms {

std::string DwordBytes(std::uint32_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(static_cast<unsigned char>((number >> shift) & 0xFFU));
  }
  return bytes;
}

std::uint32_t DwordIn(std::string_view bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

std::vector<std::string_view> SplitKeyPath(std::string_view path) {
  std::vector<std::string_view> names;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    if (end > 0) names.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return names;
}

}  // namespace mvsms
