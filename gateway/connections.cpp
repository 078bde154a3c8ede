// See connections.h. A connection is in one state at any time; in each it waits for one thing, and
// has a moment by which that must have come.
#include "gateway/connections.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "gateway/http_frame.h"

namespace mvsms::gateway {
namespace {

using namespace std::chrono_literals;

constexpr auto kLook = 500ms;   // for deadlines
constexpr auto kLinger = 2s;    // for a client to see why it was refused
constexpr auto kComment = 15s;  // to silent streams, so that dead ones are found
constexpr auto kStopping = 5s;  // for answers under way
// Events are kept once for all streams; who has not taken one when it goes is sent away.
constexpr std::size_t kRecentBytes = std::size_t{4} << 20;
constexpr std::size_t kEventBytes = std::size_t{16} << 10;  // that a stream takes at a time
constexpr std::uint64_t kWakeKey = 0;
constexpr int kThrownAwayAtOnce = 64;  // reads
constexpr int kWritesAtOnce = 16;      // to one client, before others have their turn

std::string PeerOf(int fd) {
  sockaddr_storage address{};
  socklen_t size = sizeof(address);
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return "";
  const void* const number =
      address.ss_family == AF_INET6
          ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr)
          : static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(&address)->sin_addr);
  const bool known = address.ss_family == AF_INET6 || address.ss_family == AF_INET;
  return known && inet_ntop(address.ss_family, number, text.data(), text.size()) != nullptr
             ? text.data()
             : "local";
}

std::string PlainReply(int status, const std::string& sentence) {
  const std::string body = R"({"error": ")" + sentence + R"("})";
  return "HTTP/1.1 " + std::to_string(status) + " Refused\r\nContent-Type: application/json\r\n" +
         (status == 503 ? "Retry-After: 5\r\n" : "") +
         "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace

struct Connections::Connection {
  enum class State {
    kReading,
    kWorking,    // a thread answers
    kWriting,    // the reply goes out
    kStreaming,  // events go out until the client leaves
    kLingering,  // refused; what still comes is thrown away
  };

  std::uint64_t key;
  std::unique_ptr<Wire> wire;
  std::string peer;
  State state = State::kReading;
  std::string input{};
  std::string output{};
  std::size_t written = 0;
  std::size_t at_work = 0;       // bytes of the request that is being answered
  std::size_t held = 0;          // of those that count as held
  std::uint64_t next_event = 0;  // of a stream
  bool closes = false;
  bool lingers = false;
  bool told_to_go_on = false;
  bool reading_wants_write = false;
  Ticks::time_point deadline{};
  std::uint32_t watched = 0;

  bool IsIdle() const { return state == State::kReading && input.empty(); }
  bool HasOutput() const { return written < output.size(); }
};

struct Connections::Listener {
  std::uint64_t key;
  posix::UniqueFd socket;
  std::shared_ptr<const Certificate> certificate;
};

Connections::Connections(const ConnectionLimits& limits,
                         const std::function<HttpHandler()>& make_handler)
    : limits_(limits),
      poll_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      last_key_(kWakeKey) {
  if (!poll_ || !wake_) throw std::runtime_error(std::string("epoll: ") + std::strerror(errno));
  Watch(wake_.get(), EPOLLIN, kWakeKey, true);
  for (std::size_t i = 0; i < limits.threads; ++i) {
    threads_.emplace_back([this, make_handler] { Work(make_handler); });
  }
}

Connections::~Connections() {
  Stop();
  for (std::thread& thread : threads_) thread.join();
}

void Connections::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  work_.notify_all();
  Wake();
}

void Connections::Wake() const {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t done = write(wake_.get(), &one, sizeof(one));
}

void Connections::Watch(int fd, std::uint32_t events, std::uint64_t key, bool is_new) const {
  epoll_event event{};
  event.events = events;
  event.data.u64 = key;
  epoll_ctl(poll_.get(), is_new ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &event);
}

void Connections::Listen(posix::UniqueFd listener, std::shared_ptr<const Certificate> certificate) {
  Watch(listener.get(), EPOLLIN, ++last_key_, true);
  listeners_.push_back({last_key_, std::move(listener), std::move(certificate)});
}

// --- The threads that answer.

void Connections::Work(const std::function<HttpHandler()>& make_handler) {
  HttpParser parser(make_handler());
  std::unique_lock lock(mutex_);
  while (true) {
    work_.wait(lock, [&] { return stopping_ || !jobs_.empty(); });
    if (jobs_.empty()) return;
    const Job job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    HttpAnswer answer = parser.Answer(job.request, job.peer);
    lock.lock();
    answers_.emplace_back(job.connection, std::move(answer));
    Wake();
  }
}

void Connections::Publish(std::string event) {
  const std::lock_guard lock(mutex_);
  events_.emplace_back(++published_, std::move(event));
  Wake();
}

// --- The thread that moves the bytes.

void Connections::Run() {
  std::array<epoll_event, 256> events{};
  Ticks::time_point end = Ticks::time_point::max();
  while (true) {
    const int count = epoll_wait(poll_.get(), events.data(), static_cast<int>(events.size()),
                                 static_cast<int>(std::chrono::milliseconds(kLook).count()));
    for (int i = 0; i < count; ++i) {
      const auto& event = events.at(static_cast<std::size_t>(i));
      const std::uint64_t key = event.data.u64;  // not aligned there: the kernel's record is packed
      const auto listener = std::ranges::find(listeners_, key, &Listener::key);
      if (listener != listeners_.end()) Accept(*listener);
      const auto found = connections_.find(key);
      if (found != connections_.end()) Serve(*found->second, event.events);
    }
    Deliver();
    LookAtDeadlines();
    const std::lock_guard lock(mutex_);
    if (!stopping_) continue;
    listeners_.clear();
    end = std::min(end, Ticks::now() + kStopping);
    const bool busy = std::ranges::any_of(connections_, [](const auto& entry) {
      return entry.second->state == Connection::State::kWorking ||
             entry.second->state == Connection::State::kWriting;
    });
    if (!busy || Ticks::now() >= end) return connections_.clear();
  }
}

void Connections::PauseListeners(bool pause) {
  paused_ = pause;
  for (const Listener& listener : listeners_) {
    Watch(listener.socket.get(), pause ? 0 : std::uint32_t{EPOLLIN}, listener.key, false);
  }
}

void Connections::Accept(const Listener& listener) {
  constexpr int kAtOnce = 64;
  for (int i = 0; i < kAtOnce; ++i) {
    posix::UniqueFd socket(
        accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket && (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS)) {
      return PauseListeners(true);  // until the next look at the deadlines
    }
    if (!socket) return;
    if (connections_.size() >= limits_.connections && !MakeRoom()) {
      const std::string full = PlainReply(503, "too many connections");
      if (!listener.certificate) send(socket.get(), full.data(), full.size(), MSG_NOSIGNAL);
      continue;
    }
    const int on = 1;
    setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    auto connection = std::make_unique<Connection>();
    connection->key = ++last_key_;
    connection->peer = PeerOf(socket.get());
    connection->wire = listener.certificate ? listener.certificate->Wrap(std::move(socket))
                                            : PlainWire(std::move(socket));
    if (!connection->wire) continue;
    connection->deadline = Ticks::now() + limits_.request;
    connection->watched = EPOLLIN;
    Watch(connection->wire->fd(), EPOLLIN, connection->key, true);
    connections_.emplace(connection->key, std::move(connection));
    open_ = connections_.size();
  }
}

/// Who has a connection open for later makes room for who wants one now; else who has kept us
/// waiting for the longest.
bool Connections::MakeRoom() {
  using State = Connection::State;
  Connection* slowest = nullptr;
  for (const auto& [key, connection] : connections_) {
    if (connection->IsIdle() || connection->state == State::kLingering) {
      slowest = connection.get();
      break;
    }
    const bool waits = connection->state == State::kReading || connection->state == State::kWriting;
    if (waits && (slowest == nullptr || connection->deadline < slowest->deadline)) {
      slowest = connection.get();
    }
  }
  if (slowest == nullptr) return false;
  Close(*slowest);
  return true;
}

void Connections::Count(Connection& connection) {
  held_ -= connection.held;
  connection.held = connection.input.size() + connection.at_work;
  held_ += connection.held;
}

/// Whose request takes the most room makes some, so that small ones are taken whatever happens.
void Connections::RefuseLongest() {
  Connection* longest = nullptr;
  for (const auto& [key, connection] : connections_) {
    const bool larger = longest == nullptr || connection->held > longest->held;
    if (connection->state == Connection::State::kReading && larger) longest = connection.get();
  }
  if (longest != nullptr) Refuse(*longest, 503, "too much comes in at once");
}

void Connections::Serve(Connection& connection, std::uint32_t events) {
  using State = Connection::State;
  const std::uint64_t key = connection.key;
  const bool gone = connection.state == State::kWorking && (events & EPOLLHUP) != 0;
  if (gone || (events & EPOLLERR) != 0) return Close(connection);
  if (connection.HasOutput()) Flush(connection);
  if (!connections_.contains(key)) return;
  if (connection.state != State::kWorking && connection.state != State::kWriting) {
    ReadFrom(connection);
  }
}

void Connections::ReadFrom(Connection& connection) {
  using State = Connection::State;
  const std::uint64_t key = connection.key;
  std::array<char, 16384> bytes;
  connection.reading_wants_write = false;
  // What is thrown away is read in parts, or who sends without end would keep everybody waiting.
  for (int i = 0; i < kThrownAwayAtOnce || connection.state == State::kReading; ++i) {
    const Wire::Moved moved = connection.wire->Read(bytes.data(), bytes.size());
    if (moved.over) return Close(connection);
    if (moved.bytes == 0) {
      connection.reading_wants_write = moved.wants_write;
      break;
    }
    if (connection.state != State::kReading) continue;  // nothing that is meant for us
    if (connection.input.empty()) connection.deadline = Ticks::now() + limits_.request;
    connection.input.append(bytes.data(), moved.bytes);
    if (connection.input.size() > limits_.longest_body + kLongestHead) break;
  }
  Count(connection);
  if (held_ > limits_.held) RefuseLongest();
  if (!connections_.contains(key)) return;
  if (connection.state == State::kReading) TakeRequest(connection);
  if (connections_.contains(key)) Flush(connection);
}

void Connections::TakeRequest(Connection& connection) {
  if (connection.input.empty()) return;
  HttpFrame frame = FrameOf(connection.input, limits_.longest_body);
  if (frame.kind == HttpFrame::Kind::kRefused) {
    return Refuse(connection, frame.status, frame.sentence);
  }
  if (frame.kind == HttpFrame::Kind::kPart) {
    if (frame.awaits_go_ahead && !connection.told_to_go_on) {
      connection.told_to_go_on = true;
      connection.output += "HTTP/1.1 100 Continue\r\n\r\n";
    }
    return;
  }
  connection.told_to_go_on = false;
  connection.state = Connection::State::kWorking;
  Job job{connection.key, connection.input.substr(0, frame.size), connection.peer};
  connection.at_work = frame.size;
  connection.input.erase(0, frame.size);
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  work_.notify_one();
}

void Connections::Refuse(Connection& connection, int status, const std::string& sentence) {
  connection.lingers = true;
  connection.input = {};
  Answer(connection, {.bytes = PlainReply(status, sentence), .closes = true});
}

/// What the other threads have left.
void Connections::Deliver() {
  std::uint64_t woken = 0;
  [[maybe_unused]] const ssize_t done = read(wake_.get(), &woken, sizeof(woken));
  decltype(answers_) answers;
  decltype(events_) events;
  {
    const std::lock_guard lock(mutex_);
    answers.swap(answers_);
    events.swap(events_);
  }
  for (auto& event : events) {
    recent_bytes_ += event.second.size();
    recent_.push_back(std::move(event));
    for (; recent_bytes_ > kRecentBytes && recent_.size() > 1; recent_.pop_front()) {
      recent_bytes_ -= recent_.front().second.size();
    }
  }
  for (auto& [key, answer] : answers) {
    const auto found = connections_.find(key);
    if (found != connections_.end()) Answer(*found->second, std::move(answer));
  }
  if (events.empty()) return;
  std::vector<Connection*> streams;
  for (auto& [key, connection] : connections_) {
    if (connection->state == Connection::State::kStreaming) streams.push_back(connection.get());
  }
  for (Connection* const stream : streams) Flush(*stream);
}

void Connections::Answer(Connection& connection, HttpAnswer answer) {
  connection.state = Connection::State::kWriting;
  connection.deadline = Ticks::now() + limits_.reply;
  connection.output += answer.bytes;
  connection.closes = answer.closes;
  connection.at_work = 0;
  Count(connection);
  if (answer.events_after) BecomeStream(connection, *answer.events_after);
  Flush(connection);
}

void Connections::BecomeStream(Connection& connection, std::uint64_t events_after) {
  connection.state = Connection::State::kStreaming;
  ++streaming_;
  connection.next_event = events_after + 1;
}

/// Whether there are no more all of the events that a stream has not got.
bool Connections::IsBehind(const Connection& connection) const {
  return connection.state == Connection::State::kStreaming && !recent_.empty() &&
         connection.next_event < recent_.front().first;
}

/// The next events of a stream whose last ones have gone out; false when it has them all.
bool Connections::TakeEvents(Connection& connection) const {
  if (connection.state != Connection::State::kStreaming || recent_.empty()) return false;
  connection.output.clear();
  connection.written = 0;
  const std::uint64_t first = recent_.front().first;
  while (connection.next_event >= first && connection.next_event <= recent_.back().first &&
         connection.output.size() < kEventBytes) {
    connection.output += recent_.at(connection.next_event++ - first).second;
  }
  return connection.HasOutput();
}

void Connections::Flush(Connection& connection) {
  const std::uint64_t key = connection.key;
  bool wants_write = connection.reading_wants_write;
  bool wants_read = false;
  for (int i = 0; connection.HasOutput() || TakeEvents(connection); ++i) {
    if (i == kWritesAtOnce) {
      wants_write = true;
      break;
    }
    const Wire::Moved moved = connection.wire->Write(connection.output.data() + connection.written,
                                                     connection.output.size() - connection.written);
    if (moved.over) return Close(connection);
    connection.written += moved.bytes;
    if (moved.bytes > 0) continue;
    wants_write = wants_write || moved.wants_write;
    wants_read = !moved.wants_write;
    break;
  }
  if (IsBehind(connection)) return Close(connection);
  if (!connection.HasOutput()) Flushed(connection);
  if (!connections_.contains(key)) return;
  const bool reads = wants_read || (connection.state != Connection::State::kWorking &&
                                    connection.state != Connection::State::kWriting);
  const std::uint32_t watched =
      (reads ? std::uint32_t{EPOLLIN} : 0) | (wants_write ? std::uint32_t{EPOLLOUT} : 0);
  if (watched == connection.watched) return;
  connection.watched = watched;
  Watch(connection.wire->fd(), watched, connection.key, false);
}

/// Everything has gone out; what comes next?
void Connections::Flushed(Connection& connection) {
  using State = Connection::State;
  connection.output = {};
  connection.written = 0;
  if (connection.state != State::kWriting) return;
  if (!connection.closes) {
    connection.state = State::kReading;
    connection.deadline =
        Ticks::now() + (connection.input.empty() ? limits_.idle : limits_.request);
    return TakeRequest(connection);  // it may have come already
  }
  connection.wire->EndWriting();
  if (!connection.lingers) return Close(connection);
  connection.state = State::kLingering;
  connection.deadline = Ticks::now() + kLinger;
}

void Connections::Close(Connection& connection) {
  if (connection.state == Connection::State::kStreaming) --streaming_;
  held_ -= connection.held;
  connections_.erase(connection.key);
  open_ = connections_.size();
}

void Connections::LookAtDeadlines() {
  using State = Connection::State;
  const auto now = Ticks::now();
  if (paused_) PauseListeners(false);
  const bool comments = now >= comments_;
  if (comments) comments_ = now + kComment;
  std::vector<Connection*> over;
  std::vector<Connection*> silent;
  for (auto& [key, connection] : connections_) {
    const bool timed =
        connection->state != State::kWorking && connection->state != State::kStreaming;
    if (timed && now >= connection->deadline) over.push_back(connection.get());
    if (comments && connection->state == State::kStreaming) silent.push_back(connection.get());
  }
  for (Connection* const connection : silent) {
    if (!connection->HasOutput()) connection->output = ":\n\n";
    Flush(*connection);
  }
  for (Connection* const connection : over) {
    const bool halfway = connection->state == State::kReading && !connection->input.empty();
    halfway ? Refuse(*connection, 408, "the request came too slowly") : Close(*connection);
  }
}

}  // namespace mvsms::gateway
