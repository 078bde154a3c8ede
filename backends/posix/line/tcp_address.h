// The "number" of a TCP line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mvsms::posix {

struct TcpAddress {
  std::string host;  // name or numeric address, without brackets
  std::string port;  // 1 to 65535
  bool operator==(const TcpAddress&) const = default;
};

/// Parses host:port, with an IPv4 or IPv6 address or a name as host; an IPv6 address may stand in
/// brackets. Blanks around it are ignored. Nothing when the text is not of this form.
std::optional<TcpAddress> ParseTcpAddress(std::string_view text);

}  // namespace mvsms::posix
