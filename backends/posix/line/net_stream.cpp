// The system's name service cannot be interrupted, so a look-up runs on a thread of its own that is
// left behind when the caller gives up.
#include "backends/posix/line/net_stream.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "backends/posix/line/tls_stream.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kCallTime{30000};     // below the 40 s after which a sender gives up
constexpr milliseconds kAddressTime{10000};  // for each address, while there are others
constexpr milliseconds kSlice{50};           // how late a cancellation may be noticed

// Small pieces go at once; and a far end that has vanished without a word is noticed within a
// minute, also by a line on which nobody has anything to say.
struct SocketOption {
  int level, name, value;
};
constexpr SocketOption kOptions[] = {
    {IPPROTO_TCP, TCP_NODELAY, 1},   {SOL_SOCKET, SO_KEEPALIVE, 1},
    {IPPROTO_TCP, TCP_KEEPIDLE, 30}, {IPPROTO_TCP, TCP_KEEPINTVL, 10},
    {IPPROTO_TCP, TCP_KEEPCNT, 3},   {IPPROTO_TCP, TCP_USER_TIMEOUT, 60000},
};

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

// Returns an EAI_* error, 0 when there are addresses.
int LookUpNow(const TcpAddress& address, Addresses& addresses) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
  if (error == 0) addresses.reset(list);
  return error;
}

// Shared by the waiting caller and the thread that looks up, whichever lasts longer.
struct LookUp {
  std::mutex mutex;
  std::condition_variable_any changed;
  bool done = false;
  int error = EAI_AGAIN;
  Addresses addresses;
};

// As LookUpNow; EAI_AGAIN when the time is up or `stop` came first.
int Resolve(const TcpAddress& address, const std::stop_token& stop, Addresses& addresses) {
  const auto look_up = std::make_shared<LookUp>();
  std::thread([look_up, address] {
    Addresses found;
    const int error = LookUpNow(address, found);
    const std::lock_guard guard(look_up->mutex);
    look_up->error = error;
    look_up->addresses = std::move(found);
    look_up->done = true;
    look_up->changed.notify_all();
  }).detach();
  std::unique_lock guard(look_up->mutex);
  look_up->changed.wait_for(guard, stop, kCallTime, [&] { return look_up->done; });
  addresses = std::move(look_up->addresses);
  return look_up->error;
}

// Waits for the outcome of a connect under way. Returns its error, ETIMEDOUT, or ECANCELED.
int AwaitConnect(int fd, steady_clock::time_point deadline, const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    if (steady_clock::now() >= deadline) return ETIMEDOUT;
    pollfd wait = {fd, POLLOUT, 0};
    if (poll(&wait, 1, static_cast<int>(kSlice.count())) <= 0) continue;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
  }
  return ECANCELED;
}

// Returns 0 and the connected socket, or an error of the system.
int ConnectTo(const addrinfo& address, steady_clock::time_point deadline,
              const std::stop_token& stop, UniqueFd& connected) {
  UniqueFd fd(socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                     address.ai_protocol));
  if (!fd) return errno;
  const int started = connect(fd.get(), address.ai_addr, address.ai_addrlen);
  int error = started == 0 ? 0 : errno;
  if (error == EINPROGRESS) error = AwaitConnect(fd.get(), deadline, stop);
  if (error != 0) return error;
  for (const SocketOption& option : kOptions) {
    setsockopt(fd.get(), option.level, option.name, &option.value, sizeof option.value);
  }
  connected = std::move(fd);
  return 0;
}

CallCause CauseOf(int error) {
  switch (error) {
    case 0:
      return CallCause::kNone;
    case ECANCELED:
      return CallCause::kDisconnectCancelled;
    case ECONNREFUSED:
    case ETIMEDOUT:
      return CallCause::kDisconnectNoAnswer;
    default:
      return CallCause::kDisconnectFailed;
  }
}

// A name service that cannot be reached says nothing about the name.
CallCause CauseOfLookUp(int error) {
  return error == EAI_NONAME ? CallCause::kDisconnectBadAddress : CallCause::kDisconnectFailed;
}

// What was wrong with a name or an address; a sentence with it in front.
std::string LookUpTrouble(int error) {
  if (error == EAI_NONAME) return ": the host is unknown";
  return std::string(": the host's name cannot be looked up now: ") + gai_strerror(error);
}

std::string ConnectTrouble(int error) {
  switch (error) {
    case 0:
    case ECANCELED:
      return {};
    case ECONNREFUSED:
      return " refuses connections: nothing listens there";
    case ETIMEDOUT:
      return " does not answer: the connection timed out";
    default:
      return std::string(" cannot be reached: ") + std::strerror(error);
  }
}

int ConnectToAny(const addrinfo& first, steady_clock::time_point deadline,
                 const std::stop_token& stop, UniqueFd& fd) {
  int error = ECANCELED;
  for (const addrinfo* address = &first; address != nullptr && !stop.stop_requested();
       address = address->ai_next) {
    const bool last = address->ai_next == nullptr;
    const auto limit = last ? deadline : std::min(deadline, steady_clock::now() + kAddressTime);
    error = ConnectTo(*address, limit, stop, fd);
    if (error == 0) return 0;
  }
  return error;
}

class PlainStream : public NetStream {
 public:
  explicit PlainStream(UniqueFd fd) : NetStream(std::move(fd)) {}
  long Read(char* buffer, std::size_t count) override { return recv(fd(), buffer, count, 0); }
  long Write(std::string_view bytes) override {
    return send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
};

NetResult Failed(CallCause cause, const std::string& name, const std::string& what) {
  return {nullptr, cause, what.empty() ? what : name + what};
}

}  // namespace

// Unread input would turn the close into a reset, which takes what was sent last with it.
void NetStream::Finish() {
  SayGoodbye();
  shutdown(fd(), SHUT_WR);
  std::array<char, 1024> rest{};
  while (recv(fd(), rest.data(), rest.size(), 0) > 0) {
  }
}

NetResult OpenNetStream(const TcpAddress& address, const std::string& name, bool tls,
                        const LineAccess& access, const std::stop_token& stop) {
  const auto deadline = steady_clock::now() + kCallTime;
  Addresses addresses;
  const int unknown = Resolve(address, stop, addresses);
  if (stop.stop_requested()) return {nullptr, CallCause::kDisconnectCancelled, ""};
  if (unknown != 0) return Failed(CauseOfLookUp(unknown), name, LookUpTrouble(unknown));
  UniqueFd fd;
  const int refused = ConnectToAny(*addresses, deadline, stop, fd);
  if (refused != 0) return Failed(CauseOf(refused), name, ConnectTrouble(refused));
  if (!tls) return {PlainNetStream(std::move(fd)), CallCause::kNone, ""};
  std::string trouble;
  auto stream = ShakeHands(std::move(fd), address.host, access, deadline, stop, trouble);
  if (stream) return {std::move(stream), CallCause::kNone, ""};
  return Failed(
      stop.stop_requested() ? CallCause::kDisconnectCancelled : CallCause::kDisconnectFailed, name,
      trouble);
}

std::unique_ptr<NetStream> PlainNetStream(UniqueFd fd) {
  return std::make_unique<PlainStream>(std::move(fd));
}

std::string LookUpProblem(const TcpAddress& address, const std::string& name) {
  Addresses addresses;
  const int error = LookUpNow(address, addresses);
  return error == EAI_NONAME ? name + LookUpTrouble(error) : "";
}

}  // namespace mvsms::posix
