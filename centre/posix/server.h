// The message centre in the real world: on a TCP port, or on a pseudo-terminal that looks like a
// serial port. Each call is a Line of its own; one thread serves them all.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "centre/line.h"
#include "centre/posix/server_loop.h"

namespace mvsms::centre {

/// Makes the answerer of the next call (of a port: the one that is there whenever it is opened).
using AnswererFactory = std::function<std::unique_ptr<Answerer>()>;

class Server {
 public:
  virtual ~Server() = default;
  /// Serves until Stop, or until Finish has been called and the calls have ended.
  void Run() { loop_.Run(); }
  /// Ends Run at once. From any thread, and from a signal handler.
  void Stop() { loop_.Stop(); }
  /// Takes no further call. From the thread of Run, for instance from an answerer.
  virtual void Finish() = 0;

 protected:
  ServerLoop loop_;
};

/// This machine only: the centre is not meant to serve a network.
inline constexpr char kLoopback[] = "127.0.0.1";

/// How the bytes of one connection travel over its socket, which never waits.
class Wire {
 public:
  virtual ~Wire() = default;
  /// As read(2) and write(2). A read takes all that there is if `count` is 16384 at least.
  virtual ssize_t Read(char* buffer, std::size_t count) = 0;
  virtual ssize_t Write(std::string_view bytes) = 0;
  /// Says that nothing more will come.
  virtual void Finish() = 0;
};

/// Makes the wire over a connected socket, which stays the connection's own and outlives it.
using WireFactory = std::function<std::unique_ptr<Wire>(int socket)>;

class TcpServer : public Server {
 public:
  /// On `port`, or on any free one for 0, of an IPv4 address of this machine, "0.0.0.0" for all of
  /// them. `wires` are the bytes as they are unless something else is given. Throws
  /// std::system_error if the port cannot be had, std::invalid_argument if that is no address.
  TcpServer(std::uint16_t port, AnswererFactory factory, const std::string& address = kLoopback,
            WireFactory wires = {});
  std::uint16_t port() const { return port_; }
  void Finish() override;

 private:
  class Listener;
  class Connection;
  std::shared_ptr<Listener> listener_;
  std::uint16_t port_ = 0;
};

class PtyServer : public Server {
 public:
  enum class Connects { kAtOnce, kWhenOpened };
  /// `link` is a symbolic link to the terminal, made and removed with the server; empty: none. An
  /// old link is replaced, any other file of that name is an error. `when` says whether the
  /// answerer is there from the start, as a modem is, or connected each time that a program opens
  /// the terminal, as the far end of a direct line is. Throws std::system_error.
  PtyServer(std::string link, const AnswererFactory& factory, Connects when = Connects::kAtOnce);
  ~PtyServer() override;
  /// The terminal's own path, "/dev/pts/5" or the like.
  const std::string& path() const { return path_; }
  /// Waits for the program at the terminal to close it, at most five seconds.
  void Finish() override;

 private:
  class Port;
  void MakeLink();
  std::shared_ptr<Port> port_;
  std::string path_;
  std::string link_;
};

}  // namespace mvsms::centre
