// See listen.h.
#include "gateway/listen.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace mvsms::gateway {
namespace {

constexpr int kFirstHandedOver = 3;
constexpr int kBacklog = 1024;

struct FreeAddresses {
  void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};

bool IsLoopback(const sockaddr_storage& address) {
  if (address.ss_family == AF_UNIX) return true;
  if (address.ss_family == AF_INET) {
    const auto& four = reinterpret_cast<const sockaddr_in&>(address);
    return (ntohl(four.sin_addr.s_addr) >> 24) == 127;
  }
  const auto& six = reinterpret_cast<const sockaddr_in6&>(address);
  return address.ss_family == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&six.sin6_addr);
}

std::string Shown(const sockaddr_storage& address, socklen_t size) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(),
                  port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "a socket";
  }
  const bool six = address.ss_family == AF_INET6;
  return (six ? "[" : "") + std::string(host.data()) + (six ? "]:" : ":") + port.data();
}

Listening Described(posix::UniqueFd socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  fcntl(socket.get(), F_SETFL, fcntl(socket.get(), F_GETFL) | O_NONBLOCK);
  fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
  return {std::move(socket), Shown(address, size), IsLoopback(address)};
}

[[noreturn]] void Fail(const std::string& address, const std::string& why) {
  throw std::runtime_error("cannot listen on " + address + ": " + why);
}

/// The value of a variable, which is gone from then on: it is not for our children.
std::string TakeVariable(const char* name) {
  const char* const value = std::getenv(name);
  std::string text = value != nullptr ? value : "";
  unsetenv(name);
  return text;
}

}  // namespace

Listening ListenOn(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (colon == address.npos) Fail(address, "it must be HOST:PORT");
  std::string host = address.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int trouble = getaddrinfo(host.c_str(), address.c_str() + colon + 1, &wanted, &found);
  if (trouble != 0) Fail(address, gai_strerror(trouble));
  const std::unique_ptr<addrinfo, FreeAddresses> first(found);
  posix::UniqueFd socket(::socket(first->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  if (bind(socket.get(), first->ai_addr, first->ai_addrlen) != 0 ||
      listen(socket.get(), kBacklog) != 0) {
    Fail(address, std::strerror(errno));
  }
  return Described(std::move(socket));
}

std::vector<HandedOver> ListenersHandedOver() {
  const std::string process = TakeVariable("LISTEN_PID"), count = TakeVariable("LISTEN_FDS");
  std::istringstream names(TakeVariable("LISTEN_FDNAMES"));
  std::vector<HandedOver> listeners;
  if (process != std::to_string(getpid())) return listeners;
  const int end = kFirstHandedOver + std::atoi(count.c_str());
  for (int fd = kFirstHandedOver; fd < end; ++fd) {
    std::string name;
    std::getline(names, name, ':');
    listeners.push_back({Described(posix::UniqueFd(fd)), name});
  }
  return listeners;
}

}  // namespace mvsms::gateway
