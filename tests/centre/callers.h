// Real callers for the servers: a socket and a terminal, with a limit on every wait.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

#include "centre/notation.h"

namespace mvsms::centre::test {

class Caller {
 public:
  ~Caller() { HangUp(); }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  static Caller Tcp(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      ::close(fd);
      throw std::runtime_error("cannot connect");
    }
    return Caller(fd);
  }
  static Caller Terminal(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) throw std::runtime_error("cannot open " + path);
    return Caller(fd);
  }

  void Sends(const std::string& notation) {
    const std::string bytes = FromNotation(notation);
    if (::write(fd_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      throw std::runtime_error("cannot write");
  }
  /// Reads until `notation` has come, the line has ended, or five seconds are over.
  std::string HearsUpTo(const std::string& notation) {
    const std::string end = FromNotation(notation);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!heard_.ends_with(end) && std::chrono::steady_clock::now() < limit && Read()) {
    }
    return ToNotation(std::exchange(heard_, {}));
  }
  bool HearsTheEnd() {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < limit)
      if (!Read()) return true;
    return false;
  }
  termios Mode() const {
    termios mode{};
    if (::tcgetattr(fd_, &mode) != 0) throw std::runtime_error("cannot read the mode");
    return mode;
  }
  void SetMode(const termios& mode) const {
    if (::tcsetattr(fd_, TCSANOW, &mode) != 0) throw std::runtime_error("cannot set the mode");
  }
  void HangUp() {
    if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  }

 private:
  explicit Caller(int fd) : fd_(fd) {}
  bool Read() {
    pollfd ready{fd_, POLLIN, 0};
    if (::poll(&ready, 1, 50) == 0) return true;
    std::array<char, 1024> buffer;
    const auto count = ::read(fd_, buffer.data(), buffer.size());
    if (count <= 0) return false;
    heard_.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
  }

  int fd_;
  std::string heard_;
};

}  // namespace mvsms::centre::test
