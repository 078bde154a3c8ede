// The bytes of a connection, in the clear or by TLS. Nothing here waits.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::gateway {

class Wire {
 public:
  virtual ~Wire() = default;

  struct Moved {
    std::size_t bytes = 0;  // 0 also when it must be tried again
    bool over = false;      // the other end has closed, or the connection broke
    bool wants_write =
        false;  // tried again when the socket can be written, else when it can be read
  };
  virtual Moved Read(char* to, std::size_t size) = 0;
  virtual Moved Write(const char* from, std::size_t size) = 0;
  /// Nothing more will be written.
  virtual void EndWriting() = 0;
  virtual int fd() const = 0;
};

/// In the clear, over a non-blocking socket.
std::unique_ptr<Wire> PlainWire(posix::UniqueFd socket);

/// A certificate with its key, from PEM files. Of all threads.
class Certificate {
 public:
  /// Throws what ReadAgain does.
  Certificate(std::string certificate_file, std::string key_file);
  ~Certificate();
  Certificate(const Certificate&) = delete;
  Certificate& operator=(const Certificate&) = delete;

  /// For connections from now on; those that are open go on. Throws std::runtime_error with a
  /// sentence that names the file, and never what is in it; then what was read before stays.
  void ReadAgain();

  /// TLS 1.2 or later, as the server, over a non-blocking socket; null when there is no memory for
  /// it. The wire may outlive this.
  std::unique_ptr<Wire> Wrap(posix::UniqueFd socket) const;

 private:
  class Context;
  const std::string certificate_file_;
  const std::string key_file_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Context> context_;
};

}  // namespace mvsms::gateway
