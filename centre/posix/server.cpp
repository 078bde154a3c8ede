// Sockets and pseudo-terminals as Lines. What an answerer asks for from within a callback (to hang
// up, above all) is only noted; the loop carries it out when the callback has returned.
#include "centre/posix/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr Millis kPortCheck{20};  // how often a closed terminal is looked at
constexpr Millis kLinger{5000};   // for a caller that never closes its side
constexpr std::size_t kMostUnsent = 16u << 20;

int Check(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

bool WouldBlock() { return errno == EAGAIN || errno == EINTR; }

sockaddr_in SocketAddress(const std::string& address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  if (::inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
    throw std::invalid_argument("\"" + address + "\" is no IPv4 address");
  }
  return result;
}

/// A Line over a non-blocking descriptor.
class DescriptorLine : public ServerLoop::Watcher,
                       public Line,
                       public std::enable_shared_from_this<DescriptorLine> {
 public:
  DescriptorLine(ServerLoop& loop, Descriptor fd, std::unique_ptr<Answerer> answerer)
      : loop_(loop), fd_(std::move(fd)), answerer_(std::move(answerer)) {}

  void Write(std::string_view bytes) override {
    if (hung_up_ || unsent_.size() > kMostUnsent) return;
    unsent_ += bytes;
    SendUnsent();
  }
  void HangUp() override { hung_up_ = true; }
  void After(Millis delay, std::function<void()> action) override {
    loop_.After(delay, open_, [this, act = std::move(action)] {
      if (!hung_up_) act();
    });
  }
  Millis Now() override { return loop_.Now(); }

  short Events() const override {
    return static_cast<short>(POLLIN | (unsent_.empty() ? 0 : POLLOUT));
  }
  void Ready(short events) override {
    if ((events & POLLOUT) != 0) SendUnsent();
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) Read();
  }

 protected:
  void Open() {
    open_ = std::make_shared<char>();
    hung_up_ = false;
    unsent_.clear();
    answerer_->Connected(*this);
  }
  /// Who answers from the next Open on.
  void Replace(std::unique_ptr<Answerer> answerer) { answerer_ = std::move(answerer); }
  /// The other side has gone; actions that were pending will not run.
  void Gone() {
    open_.reset();
    unsent_.clear();
    if (!std::exchange(hung_up_, true)) answerer_->HungUp();
  }
  bool open() const { return open_ != nullptr; }
  bool hung_up() const { return hung_up_; }
  bool drained() const { return unsent_.empty(); }
  /// As write(2) and read(2).
  virtual ssize_t Send(std::string_view bytes) = 0;
  virtual ssize_t Receive(char* buffer, std::size_t count) = 0;
  ServerLoop& loop_;
  Descriptor fd_;

 private:
  void Read() {
    std::array<char, 16384> buffer;
    const auto count = Receive(buffer.data(), buffer.size());
    if (count > 0 && !hung_up_)
      answerer_->Received({buffer.data(), static_cast<std::size_t>(count)});
    if (count == 0 || (count < 0 && !WouldBlock())) Gone();
  }
  void SendUnsent() {
    while (!unsent_.empty()) {
      const auto count = Send(unsent_);
      if (count <= 0) {
        // A broken line shows at the next read.
        if (count < 0 && !WouldBlock()) unsent_.clear();
        return;
      }
      unsent_.erase(0, static_cast<std::size_t>(count));
    }
  }

  std::unique_ptr<Answerer> answerer_;
  std::string unsent_;
  std::shared_ptr<char> open_;
  bool hung_up_ = false;
};

/// The bytes as they are.
class PlainWire : public Wire {
 public:
  explicit PlainWire(int socket) : socket_(socket) {}
  ssize_t Read(char* buffer, std::size_t count) override {
    return ::recv(socket_, buffer, count, 0);
  }
  ssize_t Write(std::string_view bytes) override {
    return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  void Finish() override { ::shutdown(socket_, SHUT_WR); }

 private:
  int socket_;
};

}  // namespace

/// Hangs up in good order: closing a socket that has bytes to be read would lose the last answer,
/// so the caller is told first that it is over and gets some time to close its side.
class TcpServer::Connection : public DescriptorLine {
 public:
  Connection(ServerLoop& loop, Descriptor socket, std::unique_ptr<Answerer> answerer,
             const WireFactory& wires)
      : DescriptorLine(loop, std::move(socket), std::move(answerer)), wire_(wires(fd_.get())) {}
  void Begin() { Open(); }
  void HangUp() override {
    DescriptorLine::HangUp();
    EndWhenDrained();
  }
  int fd() const override { return fd_.get(); }
  bool Done() const override { return !open() || lingered_; }
  void Ready(short events) override {
    DescriptorLine::Ready(events);
    if (hung_up()) EndWhenDrained();
  }

 private:
  ssize_t Send(std::string_view bytes) override { return wire_->Write(bytes); }
  ssize_t Receive(char* buffer, std::size_t count) override { return wire_->Read(buffer, count); }
  void EndWhenDrained() {
    if (!drained() || std::exchange(ended_, true)) return;
    wire_->Finish();
    loop_.After(kLinger, weak_from_this(), [this] { lingered_ = true; });
  }

  std::unique_ptr<Wire> wire_;
  bool ended_ = false;
  bool lingered_ = false;
};

class TcpServer::Listener : public ServerLoop::Watcher {
 public:
  Listener(ServerLoop& loop, sockaddr_in address, AnswererFactory factory, WireFactory wires)
      : loop_(loop),
        factory_(std::move(factory)),
        wires_(std::move(wires)),
        fd_(Check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket")) {
    const int on = 1;
    ::setsockopt(fd_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    Check(::bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    Check(::listen(fd_.get(), SOMAXCONN), "listen");
  }

  std::uint16_t Port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    Check(::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
  }
  void Finish() { finished_ = true; }

  int fd() const override { return fd_.get(); }
  short Events() const override { return POLLIN; }
  bool Done() const override { return finished_; }
  void Ready(short) override {
    Descriptor fd(::accept4(fd_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd.get() < 0) return;
    const int on = 1;
    ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const auto connection = std::make_shared<Connection>(loop_, std::move(fd), factory_(), wires_);
    loop_.Watch(connection);
    connection->Begin();
  }

 private:
  ServerLoop& loop_;
  AnswererFactory factory_;
  WireFactory wires_;
  Descriptor fd_;
  bool finished_ = false;
};

TcpServer::TcpServer(std::uint16_t port, AnswererFactory factory, const std::string& address,
                     WireFactory wires)
    : listener_(std::make_shared<Listener>(
          loop_, SocketAddress(address, port), std::move(factory),
          wires ? std::move(wires)
                : [](int socket) { return std::make_unique<PlainWire>(socket); })),
      port_(listener_->Port()) {
  loop_.Watch(listener_);
}

void TcpServer::Finish() { listener_->Finish(); }

/// The serial port. Linux does not report that the other side has changed, only its state: a closed
/// terminal hangs up the master for as long as nobody has it open, so it is looked at now and then.
class PtyServer::Port : public DescriptorLine {
 public:
  using DescriptorLine::DescriptorLine;

  void Begin() {
    if (each_call_) Replace(each_call_());
    Open();
  }
  /// Begins with a fresh answerer each time that a program opens the terminal. A terminal that was
  /// never open does not look closed, so it is opened once first.
  void Await(AnswererFactory each_call) {
    each_call_ = std::move(each_call);
    const Descriptor once(::open(Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    Watch();
  }
  void Finish() {
    finished_ = true;
    loop_.After(kLinger, weak_from_this(), [this] { lingered_ = true; });
  }
  std::string Path() const {
    std::array<char, 128> path{};
    if (::ptsname_r(fd_.get(), path.data(), path.size()) != 0)
      throw std::system_error(errno, std::generic_category(), "ptsname");
    return path.data();
  }

  int fd() const override { return open() ? fd_.get() : -1; }
  bool Done() const override { return finished_ && (lingered_ || !open()); }
  void Ready(short events) override {
    DescriptorLine::Ready(events);
    if (!open()) Watch();
  }

 private:
  void Watch() {
    loop_.After(kPortCheck, weak_from_this(), [this] {
      pollfd state{fd_.get(), 0, 0};
      if (::poll(&state, 1, 0) > 0 && (state.revents & POLLHUP) != 0)
        Watch();
      else
        Begin();
    });
  }
  ssize_t Send(std::string_view bytes) override {
    return ::write(fd_.get(), bytes.data(), bytes.size());
  }
  ssize_t Receive(char* buffer, std::size_t count) override {
    return ::read(fd_.get(), buffer, count);
  }

  AnswererFactory each_call_;  // empty: always the one from the start
  bool finished_ = false;
  bool lingered_ = false;
};

namespace {
// The line discipline must not touch the bytes, nor echo them to the modem. Once, before anybody
// can open it: from then on the mode is the programs', and stays from one to the next, as that of a
// serial port does.
void MakeRaw(int master) {
  termios mode{};
  Check(::tcgetattr(master, &mode), "tcgetattr");
  ::cfmakeraw(&mode);
  Check(::tcsetattr(master, TCSANOW, &mode), "tcsetattr");
}

Descriptor OpenMaster() {
  Descriptor master(Check(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "openpt"));
  MakeRaw(master.get());
  Check(::grantpt(master.get()), "grantpt");
  Check(::unlockpt(master.get()), "unlockpt");
  return master;
}
}  // namespace

PtyServer::PtyServer(std::string link, const AnswererFactory& factory, Connects when)
    : port_(std::make_shared<Port>(loop_, OpenMaster(), factory())),
      path_(port_->Path()),
      link_(std::move(link)) {
  if (!link_.empty()) MakeLink();
  loop_.Watch(port_);
  if (when == Connects::kAtOnce)
    port_->Begin();
  else
    port_->Await(factory);
}

PtyServer::~PtyServer() {
  std::error_code ignored;  // another server may have taken the link over
  if (std::filesystem::read_symlink(link_, ignored) == path_) {
    std::filesystem::remove(link_, ignored);
  }
}

void PtyServer::Finish() { port_->Finish(); }

void PtyServer::MakeLink() {
  std::error_code error;
  if (std::filesystem::is_symlink(link_)) std::filesystem::remove(link_, error);
  if (!error) std::filesystem::create_symlink(path_, link_, error);
  if (error) throw std::system_error(error, "cannot make the link " + link_);
}

}  // namespace mvsms::centre
