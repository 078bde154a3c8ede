// One channel for all schemes: those without the port's settings have no Rfc2217.
#include "backends/posix/line/network_modem.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/net_stream.h"
#include "backends/posix/line/rfc2217.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"

namespace mvsms::posix {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kAnswerTime{5};
constexpr std::size_t kMostUnsent = 65536;

struct Scheme {
  std::string_view name;
  NetScheme scheme;
};
constexpr Scheme kSchemes[] = {
    {"tcp", NetScheme::kTcp}, {"tls", NetScheme::kTls}, {"rfc2217", NetScheme::kRfc2217}};

[[noreturn]] void Refuse(int number, const std::string& sentence) {
  throw RaisedError(number, "OpenModem", AnsiFromUtf8(sentence));
}

class NetworkModem : public ModemChannel {
 public:
  NetworkModem(std::unique_ptr<NetStream> stream, DeviceLock lock, bool has_port)
      : ModemChannel(UniqueFd(dup(stream->fd()))),
        stream_(std::move(stream)),
        lock_(std::move(lock)) {
    if (has_port) port_.emplace();
  }
  ~NetworkModem() override { Close(); }

  /// Comes to terms with the server about its port; false when it offers none.
  bool Negotiate(const std::stop_token& stop) {
    if (!port_) return true;
    Tell(Rfc2217::Greeting());
    Await([this, &stop] { return port_->offered().has_value() || stop.stop_requested(); });
    if (!port_->offered().value_or(false)) return false;
    Tell(Rfc2217::Begin());
    return true;
  }

  bool SetDtr(bool on) override {
    if (!port_ || Lost()) return false;
    Tell(Rfc2217::Dtr(on));
    return true;
  }

  std::optional<std::uint32_t> ModemLines() override {
    Available(0);
    return port_ ? port_->modem_lines() : std::nullopt;
  }

  void Drain(Millis timeout) override {
    const auto deadline = steady_clock::now() + timeout;
    while (!Lost() && !unsent_.empty() && steady_clock::now() < deadline) {
      WaitForInput(Millis(10));
      Flush();
    }
  }

 private:
  bool Apply(const Dcb& device) override {
    if (!port_ || applied_ == device) return true;
    Tell(port_->Settings(device));
    Await([this] { return port_->answer().has_value(); });
    if (port_->answer() != Rfc2217::Wanted(device)) return false;
    applied_ = device;
    return true;
  }

  long Put(std::string_view bytes) override {
    Flush();
    if (unsent_.size() > kMostUnsent) {
      errno = EAGAIN;
      return -1;
    }
    Tell(port_ ? Rfc2217::Data(bytes) : std::string(bytes));
    return static_cast<long>(bytes.size());
  }

  long Receive(char* buffer, std::size_t count) override {
    Flush();
    return stream_->Read(buffer, count);
  }

  void Decode(std::string& bytes) override {
    if (port_) unsent_ += port_->Take(bytes);
  }

  LineErrorCounts DeviceErrors() override { return port_ ? port_->errors() : LineErrorCounts(); }

  void Closing() override {
    Flush();
    stream_->Finish();
    stream_.reset();
    lock_.Release();
  }

  void Tell(const std::string& bytes) {
    unsent_ += bytes;
    Flush();
  }

  // What fails here fails again where the far end is seen to go.
  void Flush() {
    while (stream_ && !unsent_.empty()) {
      const long count = stream_->Write(unsent_);
      if (count <= 0) return;
      unsent_.erase(0, static_cast<std::size_t>(count));
    }
  }

  /// Lets the server answer until the condition holds, for some seconds at most.
  template <class Condition>
  void Await(Condition condition) {
    const auto deadline = steady_clock::now() + kAnswerTime;
    const std::size_t here = Available(0);
    while (!condition() && !Lost() && steady_clock::now() < deadline) {
      if (here > 0) std::this_thread::sleep_for(Millis(5));  // data would end each wait at once
      WaitForInput(Millis(20));
      Available(here + 1024);
    }
  }

  std::unique_ptr<NetStream> stream_;
  DeviceLock lock_;
  std::optional<Rfc2217> port_;
  std::optional<Dcb> applied_;
  std::string unsent_;
};

int NumberOf(CallCause cause) {
  return cause == CallCause::kDisconnectNoAnswer ? EHOSTUNREACH : ECONNABORTED;
}

}  // namespace

bool NamesNetwork(std::string_view device) { return device.find("://") != device.npos; }

std::optional<NetAddress> ParseNetAddress(std::string_view text, std::string& problem) {
  const std::size_t end = text.find("://");
  const std::string_view name = text.substr(0, end);
  for (const Scheme& scheme : kSchemes) {
    if (end == text.npos || scheme.name != name) continue;
    const auto host = ParseTcpAddress(text.substr(end + 3));
    if (host) return NetAddress{scheme.scheme, *host};
    problem = "\"" + std::string(text) + "\" is not " + std::string(name) + "://HOST:PORT";
    return std::nullopt;
  }
  problem = "\"" + std::string(text) + "\" begins with no known scheme; use rfc2217://HOST:PORT, " +
            "tcp://HOST:PORT or tls://HOST:PORT";
  return std::nullopt;
}

std::optional<NetAddress> ParseCentreAddress(std::string_view text, bool has_tls_files) {
  text = WithoutOuterBlanks(text);
  if (NamesNetwork(text)) {
    std::string problem;
    const auto address = ParseNetAddress(text, problem);
    return address && address->scheme != NetScheme::kRfc2217 ? address : std::nullopt;
  }
  const auto host = ParseTcpAddress(text);
  if (!host) return std::nullopt;
  return NetAddress{has_tls_files ? NetScheme::kTls : NetScheme::kTcp, *host};
}

bool HasTlsFiles(const LineAccess& access) {
  return !access.ca.empty() || !access.certificate.empty();
}

std::shared_ptr<ModemChannel> OpenNetworkModem(const LineConfig& line,
                                               const std::stop_token& stop) {
  std::string problem;
  const auto address = ParseNetAddress(line.device, problem);
  if (!address) Refuse(EINVAL, problem);
  DeviceLock lock(line.device);
  NetResult result = OpenNetStream(address->host, line.device, address->scheme == NetScheme::kTls,
                                   line.access, stop);
  if (!result.stream) Refuse(NumberOf(result.cause), result.trouble);
  const auto modem = std::make_shared<NetworkModem>(std::move(result.stream), std::move(lock),
                                                    address->scheme == NetScheme::kRfc2217);
  if (modem->Negotiate(stop)) return modem;
  if (modem->Lost()) {
    Refuse(EBUSY, line.device + " closed the connection at once; is its port in use?");
  }
  Refuse(EPROTO, line.device +
                     " does not speak RFC 2217; if it passes bytes on as they are, use tcp:// "
                     "instead");
}

}  // namespace mvsms::posix
