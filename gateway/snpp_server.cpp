// See snpp_server.h. Everything that waits looks now and then whether the service ends.
#include "gateway/snpp_server.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace mvsms::gateway {
namespace {

using Ticks = std::chrono::steady_clock;

constexpr int kLookMs = 200;
constexpr std::chrono::seconds kTake{30};  // for a client to take an answer

void Send(int socket, std::string_view text) {
  const timeval most{kTake.count(), 0};
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &most, sizeof(most));
  while (!text.empty()) {
    const ssize_t sent = send(socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

bool Readable(int fd) {
  pollfd look{fd, POLLIN, 0};
  return poll(&look, 1, kLookMs) > 0;
}

/// What came, cut into lines. Of one that does not end only so much is kept as shows that it is too
/// long.
class Lines {
 public:
  void Add(std::string_view bytes) {
    for (const char c : bytes) {
      if (c == '\n') {
        if (line_.ends_with('\r')) line_.pop_back();
        whole_.push_back(std::exchange(line_, {}));
      } else if (line_.size() <= SnppSession::kLongestLine) {
        line_ += c;
      }
    }
  }
  std::list<std::string> Take() { return std::exchange(whole_, {}); }

 private:
  std::string line_;
  std::list<std::string> whole_;
};

}  // namespace

struct SnppServer::Connection {
  posix::UniqueFd socket;
  std::atomic<bool> over = false;
  std::atomic<Ticks::time_point> spoke = Ticks::now();  // the client, a whole line
  std::thread thread;
};

SnppServer::SnppServer(const SnppLimits& limits,
                       std::function<std::unique_ptr<SnppSink>()> make_sink,
                       std::string (*fresh_id)())
    : limits_(limits), make_sink_(std::move(make_sink)), fresh_id_(fresh_id) {}

SnppServer::~SnppServer() {
  stopping_ = true;
  for (std::thread& acceptor : acceptors_) acceptor.join();
}

void SnppServer::Listen(posix::UniqueFd listener) {
  const int fd = listener.get();
  listeners_.push_back(std::move(listener));
  acceptors_.emplace_back([this, fd] { Accept(fd); });
}

/// Who has been silent for the longest goes, when that is long enough and somebody waits.
void SnppServer::MakeRoom(std::list<Connection>& connections) const {
  const auto silent = std::ranges::min_element(
      connections, {}, [](const Connection& connection) { return connection.spoke.load(); });
  if (Ticks::now() - silent->spoke.load() < limits_.silent) return;
  shutdown(silent->socket.get(), SHUT_RD);
}

/// More than the limit wait in the kernel's queue until one has gone.
void SnppServer::Accept(int listener) {
  std::list<Connection> connections;
  while (!stopping_) {
    std::erase_if(connections, [](Connection& connection) {
      const bool over = connection.over;
      if (over) connection.thread.join();
      return over;
    });
    if (!Readable(listener)) continue;
    if (connections.size() >= limits_.connections) {
      MakeRoom(connections);
      std::this_thread::sleep_for(std::chrono::milliseconds(kLookMs));
    } else {
      posix::UniqueFd socket(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
      if (!socket) {  // no descriptor is left
        std::this_thread::sleep_for(std::chrono::milliseconds(kLookMs));
        continue;
      }
      Connection& connection = connections.emplace_back();
      connection.socket = std::move(socket);
      connection.thread = std::thread([this, &connection] {
        Serve(connection);
        connection.over = true;
      });
    }
  }
  for (Connection& connection : connections) connection.thread.join();
}

void SnppServer::Serve(Connection& connection) const try {
  const int socket = connection.socket.get();
  const std::unique_ptr<SnppSink> sink = make_sink_();
  SnppSession session(*sink, fresh_id_);
  Send(socket, session.Greeting());
  Lines lines;
  auto until = Ticks::now() + limits_.idle;
  while (!session.over()) {
    if (stopping_ || Ticks::now() >= until) return Send(socket, SnppSession::Farewell());
    if (!Readable(socket)) continue;
    std::array<char, 4096> buffer;
    const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
    if (count <= 0) return Send(socket, SnppSession::Farewell());
    lines.Add({buffer.data(), static_cast<std::size_t>(count)});
    for (const std::string& line : lines.Take()) {
      connection.spoke = Ticks::now();
      until = connection.spoke.load() + limits_.idle;
      Send(socket, session.Take(line));
    }
  }
  shutdown(socket, SHUT_RDWR);
} catch (const std::exception&) {
  Send(connection.socket.get(), SnppSession::Farewell());
}

}  // namespace mvsms::gateway
