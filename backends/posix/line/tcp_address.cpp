// The last colon divides, so that an IPv6 address needs no brackets.
#include "backends/posix/line/tcp_address.h"

#include <algorithm>
#include <charconv>

#include "base/texts.h"

namespace mvsms::posix {
namespace {

bool IsPort(std::string_view text) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
}

bool IsHost(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return c > ' ' && c < '\x7F' && c != '[' && c != ']';
  });
}

}  // namespace

std::optional<TcpAddress> ParseTcpAddress(std::string_view text) {
  text = WithoutOuterBlanks(text);
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view host = text.substr(0, colon);
  const std::string_view port = text.substr(colon + 1);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  if (!IsHost(host) || !IsPort(port)) return std::nullopt;
  return TcpAddress{std::string(host), std::string(port)};
}

}  // namespace mvsms::posix
