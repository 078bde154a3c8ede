// The files of the status page, compiled into the program.
#pragma once

#include <span>
#include <string_view>

namespace mvsms::gateway {

struct Asset {
  const char* path;  // that it is served at, "/assets/page.js"
  const char* type;  // its media type
  std::string_view bytes;
};

/// All that there are; that of the path "/" is the page itself.
std::span<const Asset> Assets();

}  // namespace mvsms::gateway
