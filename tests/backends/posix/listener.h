// The far end of TCP lines: a socket on this machine that takes calls.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::posix {

class Listener {
 public:
  explicit Listener(int backlog = 5, int family = AF_INET) {
    socket_ = UniqueFd(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_storage address{};
    address.ss_family = static_cast<sa_family_t>(family);
    socklen_t size = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    if (family == AF_INET) {
      reinterpret_cast<sockaddr_in&>(address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    } else {
      reinterpret_cast<sockaddr_in6&>(address).sin6_addr = in6addr_loopback;
    }
    up_ = bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), size) == 0 &&
          listen(socket_.get(), backlog) == 0 &&
          getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0;
    port_ = std::to_string(ntohs(reinterpret_cast<sockaddr_in&>(address).sin_port));
  }
  bool up() const { return up_; }
  const std::string& port() const { return port_; }
  int fd() const { return socket_.get(); }
  UniqueFd Accept() const {
    return UniqueFd(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }
  void Close() { socket_.Reset(); }

 private:
  UniqueFd socket_;
  bool up_ = false;
  std::string port_;
};

}  // namespace mvsms::posix
