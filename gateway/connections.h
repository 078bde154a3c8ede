// The connections of the gateway: one thread moves their bytes, a few others answer whole requests.
// So a slow client costs a buffer until its time is over, an open stream of events costs little
// more, and neither keeps anybody waiting.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "backends/posix/system/unique_fd.h"
#include "gateway/http.h"
#include "gateway/wire.h"

namespace mvsms::gateway {

struct ConnectionLimits {
  std::size_t connections = 2000;
  std::size_t longest_body = std::size_t{1} << 20;
  std::size_t held = std::size_t{64} << 20;  // bytes of all requests that are not answered yet
  std::chrono::seconds request{10};          // from its beginning until the last byte has come
  std::chrono::seconds reply{30};            // until the client has taken it
  std::chrono::seconds idle{60};             // between requests
  std::size_t threads = 16;
};

class Connections {
 public:
  /// `make_handler` is called once on each thread that answers; what it gives is of that thread.
  Connections(const ConnectionLimits& limits, const std::function<HttpHandler()>& make_handler);
  ~Connections();
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  /// Before Run. `listener` is a non-blocking socket that listens; `certificate`, where there is
  /// one, makes its connections TLS.
  void Listen(posix::UniqueFd listener, std::shared_ptr<const Certificate> certificate);
  /// Serves until Stop; then what is being answered has a few seconds to go out.
  void Run();

  // From any thread.
  void Stop();
  /// Sends an event to all streams that are open.
  void Publish(std::string event);
  /// How many events were published.
  std::uint64_t published() const { return published_; }
  std::size_t open() const { return open_; }
  std::size_t streams() const { return streaming_; }

 private:
  struct Connection;
  struct Listener;
  struct Job {
    std::uint64_t connection;
    std::string request;
    std::string peer;
  };
  using Ticks = std::chrono::steady_clock;

  void Work(const std::function<HttpHandler()>& make_handler);
  void Wake() const;
  void Watch(int fd, std::uint32_t events, std::uint64_t key, bool is_new) const;
  void PauseListeners(bool pause);
  void Accept(const Listener& listener);
  bool MakeRoom();
  void Count(Connection& connection);
  void RefuseLongest();
  void Serve(Connection& connection, std::uint32_t events);
  void ReadFrom(Connection& connection);
  void TakeRequest(Connection& connection);
  void Refuse(Connection& connection, int status, const std::string& sentence);
  void Deliver();
  void Answer(Connection& connection, HttpAnswer answer);
  void BecomeStream(Connection& connection, std::uint64_t events_after);
  bool IsBehind(const Connection& connection) const;
  bool TakeEvents(Connection& connection) const;
  void Flush(Connection& connection);
  void Flushed(Connection& connection);
  void Close(Connection& connection);
  void LookAtDeadlines();

  const ConnectionLimits limits_;
  posix::UniqueFd poll_;
  posix::UniqueFd wake_;
  std::vector<Listener> listeners_;
  bool paused_ = false;
  std::map<std::uint64_t, std::unique_ptr<Connection>> connections_;
  std::uint64_t last_key_;
  std::atomic<std::size_t> open_ = 0;
  std::atomic<std::size_t> streaming_ = 0;
  std::size_t held_ = 0;
  std::deque<std::pair<std::uint64_t, std::string>> recent_;  // events, by number
  std::size_t recent_bytes_ = 0;
  Ticks::time_point comments_{};  // to streams, the next time

  std::mutex mutex_;  // for what follows
  std::condition_variable work_;
  std::deque<Job> jobs_;
  std::vector<std::pair<std::uint64_t, HttpAnswer>> answers_;
  std::vector<std::pair<std::uint64_t, std::string>> events_;
  bool stopping_ = false;
  std::atomic<std::uint64_t> published_ = 0;

  std::vector<std::thread> threads_;
};

}  // namespace mvsms::gateway
