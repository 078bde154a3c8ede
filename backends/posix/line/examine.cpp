// The doctor on real lines: opening them, real time, and the serial server's other mouth.
#include <cerrno>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "backends/posix/line/dialler.h"
#include "backends/posix/line/line_doctor.h"
#include "backends/posix/line/modem_channel.h"
#include "backends/posix/line/modem_port.h"
#include "backends/posix/line/network_modem.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

using Millis = ModemPort::Millis;

constexpr Millis kReachTime{40000};  // names with several addresses, and TLS
constexpr Millis kOpenTime{1000};
constexpr Millis kLoginTime{15000};
// A server notices after a while that a caller has gone.
constexpr Millis kReopenTime{500};
constexpr int kReopenings = 10;
constexpr std::string_view kRaw = "tcp://";

class ChannelBench : public Bench {
 public:
  explicit ChannelBench(ModemChannel& channel) : channel_(channel) {}
  bool Apply(const LineConfig& line) override try {
    ApplyLine(channel_, line);
    return true;
  } catch (const RaisedError&) {
    return false;
  }
  std::optional<std::uint32_t> ModemLines() override { return channel_.ModemLines(); }

 private:
  ModemChannel& channel_;
};

template <class Port, class Line>
class WatchedPort : public Port {
 public:
  WatchedPort(Line& line, const std::function<bool()>& given_up)
      : Port(line), given_up_(given_up) {}
  bool Cancelled() override { return given_up_(); }

 private:
  const std::function<bool()>& given_up_;
};

void TakeObstacle(Seen& seen, const RaisedError& error) {
  seen.obstacle = Utf8FromAnsi(error.description());
  seen.in_use = error.number() == EBUSY;
}

std::shared_ptr<ModemChannel> Open(const LineConfig& line, Seen& seen,
                                   const Progress& progress) try {
  progress("opening " + line.device, NamesNetwork(line.device) ? kReachTime : kOpenTime);
  auto channel = OpenModemUnset(line, {});
  channel->KeepNuls();
  return channel;
} catch (const RaisedError& error) {
  TakeObstacle(seen, error);
  return nullptr;
}

Seen Begun(const LineConfig& line, const DoctorsOrder& order) {
  Seen seen;
  seen.line = seen.way = line;
  seen.centre.wanted = order.protocol;
  seen.centre.command = order.command;
  return seen;
}

LineConfig WithoutLogin(LineConfig line) {
  line.access.login.clear();
  return line;
}

enum class Telnet { kStops, kIsNothing };

/// Does not dial where telnet was heard that stops it.
Seen ExamineModem(const LineConfig& line, const DoctorsOrder& order, Telnet telnet,
                  const Progress& progress) {
  Seen seen = Begun(line, order);
  const auto channel = Open(seen.line, seen, progress);
  if (!channel) return seen;
  ChannelBench bench(*channel);
  WatchedPort<SerialModemPort, ModemChannel> port(*channel, order.given_up);
  ModemDoctor doctor(port, bench, seen, progress);
  doctor.Examine();
  const bool stopped = seen.telnet && telnet == Telnet::kStops;
  if (!order.number.empty() && !stopped) doctor.Call(DialString(order.number));
  channel->Close();
  return seen;
}

/// The line by RFC 2217, as it was seen to work, or nothing.
std::optional<Seen> ExamineByRfc2217(const LineConfig& line, const DoctorsOrder& order,
                                     const Progress& progress) {
  if (!line.device.starts_with(kRaw)) return std::nullopt;
  LineConfig served = line;
  served.device = "rfc2217://" + line.device.substr(kRaw.size());
  Seen seen = ExamineModem(served, order, Telnet::kIsNothing, progress);
  for (int turn = 0; seen.in_use && turn < kReopenings; ++turn) {
    std::this_thread::sleep_for(kReopenTime);
    seen = ExamineModem(served, order, Telnet::kIsNothing, progress);
  }
  if (!seen.initialised) return std::nullopt;
  seen.line = line;
  return seen;
}

/// A server that speaks telnet on a line without it may know the serial part of it, too: then that
/// is the way on which everything else is looked at.
Seen ExamineHayes(const LineConfig& line, const DoctorsOrder& order, const Progress& progress) {
  Seen seen = ExamineModem(line, order, Telnet::kStops, progress);
  if (!seen.telnet) return seen;
  if (auto served = ExamineByRfc2217(line, order, progress)) {
    seen = *std::move(served);
  } else if (seen.initialised && !order.number.empty()) {
    seen = ExamineModem(line, order, Telnet::kIsNothing, progress);
  }
  seen.telnet = true;
  return seen;
}

/// What a far end that hung up had against us, where TLS has words for it.
void TakeObjection(const Dialler& dialler, Seen& seen) {
  const auto& socket = static_cast<const SocketChannel&>(*dialler.channel());
  if (seen.centre.lost && !socket.Trouble().empty()) seen.obstacle = dialler.Trouble();
}

/// Whether the far end of a call without TLS would have liked one: what is said against a
/// certificate is said by TLS.
bool SpeaksTls(const LineConfig& line, const DoctorsOrder& order, const Progress& progress) {
  const auto address = ParseCentreAddress(Utf8FromAnsi(order.number), HasTlsFiles(line.access));
  if (!address || address->scheme == NetScheme::kTls) return false;
  progress("asking for TLS", kReachTime);
  const auto dialler = MakeTcpDialler(
      WithoutLogin(line), "tls://" + AnsiFromUtf8(address->host.host + ":" + address->host.port));
  const bool up = dialler->Dial({}) == CallCause::kNone;
  return up || dialler->Trouble().find(" certificate ") != std::string::npos;
}

Seen ExamineCentre(const LineConfig& line, const DoctorsOrder& order, const Progress& progress) {
  Seen seen = Begun(line, order);
  const std::string number = Utf8FromAnsi(order.number);
  progress("connecting to " + number, kReachTime + kLoginTime);
  const auto dialler = MakeTcpDialler(seen.line, order.number);
  seen.call.number = order.number;
  const CallCause cause = dialler->Dial({});
  if (cause != CallCause::kNone) {
    const std::string words = Utf8FromAnsi(dialler->Refusal());
    seen.obstacle = dialler->Trouble() + (words.empty() ? "" : ": \"" + words + "\"");
    if (cause == CallCause::kDisconnectFailed) seen.centre.tls = SpeaksTls(line, order, progress);
    return seen;
  }
  dialler->channel()->KeepNuls();
  WatchedPort<ChannelPort, Channel> port(*dialler->channel(), order.given_up);
  LineMonitor monitor(port);
  LookAtCentre(monitor, seen, progress, [](char) { return std::string(); });
  TakeObjection(*dialler, seen);
  dialler->HangUp();
  const bool known = seen.centre.ucp || seen.centre.prompt > Prompt::kMissing;
  if (!known) seen.centre.tls = SpeaksTls(line, order, progress);
  return seen;
}

}  // namespace

Seen Examine(const LineConfig& line, const DoctorsOrder& order, const Progress& progress) {
  const auto examine = line.kind == LineKind::kTcp ? ExamineCentre : ExamineHayes;
  return examine(line, order, progress);
}

}  // namespace mvsms::posix
