// Where a request ends in the bytes that have come, and which ones go no further. What passes is
// whole, plain and within its limits: nothing behind this can be kept waiting by a slow client, or
// be made to see two requests where there is one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace mvsms::gateway {

inline constexpr std::size_t kLongestHead = 16384;   // request line and headers, bytes
inline constexpr std::size_t kLongestTarget = 1024;  // path and query as they are sent, bytes

struct HttpFrame {
  enum class Kind {
    kPart,     // more must come
    kWhole,    // the request is the first `size` bytes
    kRefused,  // the connection is closed behind `status` and `sentence`
  };
  Kind kind = Kind::kPart;
  std::size_t size = 0;
  int status = 0;
  std::string sentence{};
  bool awaits_go_ahead = false;  // of a part: the client sends the rest when it is told to go on
};

/// Looks at the bytes that have come on a connection and not been answered. A request's body has at
/// most `longest_body` bytes and is JSON.
HttpFrame FrameOf(std::string_view bytes, std::size_t longest_body);

}  // namespace mvsms::gateway
