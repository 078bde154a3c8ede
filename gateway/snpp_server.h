// The connections of paging clients: a thread for each, for a client says little and is soon gone.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <thread>

#include "backends/posix/system/unique_fd.h"
#include "gateway/snpp.h"

namespace mvsms::gateway {

struct SnppLimits {
  std::size_t connections = 50;     // of a listener; beyond it one that is silent makes room
  std::chrono::seconds idle{300};   // until the next line is whole
  std::chrono::seconds silent{10};  // until a client may have to make room
};

class SnppServer {
 public:
  /// `make_sink` is called for each connection, on its thread; `fresh_id` as in SnppSession.
  SnppServer(const SnppLimits& limits, std::function<std::unique_ptr<SnppSink>()> make_sink,
             std::string (*fresh_id)());
  /// Ends all connections, each after what it is just doing.
  ~SnppServer();
  SnppServer(const SnppServer&) = delete;
  SnppServer& operator=(const SnppServer&) = delete;

  /// Serves who comes in at a socket that listens.
  void Listen(posix::UniqueFd listener);

 private:
  struct Connection;

  void Accept(int listener);
  void MakeRoom(std::list<Connection>& connections) const;
  void Serve(Connection& connection) const;

  const SnppLimits limits_;
  const std::function<std::unique_ptr<SnppSink>()> make_sink_;
  std::string (*const fresh_id_)();
  std::atomic<bool> stopping_ = false;
  std::list<posix::UniqueFd> listeners_;
  std::list<std::thread> acceptors_;
};

}  // namespace mvsms::gateway
