// The line's own settings are applied when it is opened, as a Windows modem's properties are; what
// the owner of the port applies later comes on top.
#include "backends/posix/line/modem_channel.h"

#include <cerrno>

#include "backends/posix/line/network_modem.h"
#include "backends/posix/line/serial_channel.h"
#include "backends/posix/line/soft_parity.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr std::string_view kNoCarrier = "NO CARRIER";
constexpr std::uint32_t kReplaceErrors = dcb_flag::kParity | dcb_flag::kErrorChar;

struct FlowControl {
  std::string_view name;
  std::uint32_t flags;
};
constexpr FlowControl kFlows[] = {
    {"rtscts", dcb_flag::kOutxCtsFlow | 2U << dcb_flag::kRtsControlShift},
    {"xonxoff", dcb_flag::kOutX | dcb_flag::kInX},
    {"none", 0},
};

[[noreturn]] void Refuse(const std::string& sentence) {
  throw RaisedError(EINVAL, "OpenModem", AnsiFromUtf8(sentence));
}

std::uint32_t FlowOf(const LineConfig& line) {
  if (const auto flags = FlowFlags(line.flow)) return *flags;
  Refuse("\"" + line.flow + "\" is not a flow control");
}

Framing FramingOf(const LineConfig& line) {
  if (const auto framing = ParseFraming(line.framing)) return *framing;
  Refuse("\"" + line.framing + "\" is not a framing");
}

std::uint8_t Coded(std::uint8_t code, std::uint8_t parity) {
  return static_cast<std::uint8_t>(WithParity(static_cast<char>(code), parity));
}

Dcb LineState(const LineConfig& line, const Framing& framing) {
  // As with a Windows driver: a line with parity checks it.
  const std::uint32_t check = framing.parity == 'N' ? 0 : dcb_flag::kParity;
  return {.BaudRate = line.speed,
          .flags = dcb_flag::kBinary | check | FlowOf(line),
          .ByteSize = framing.data_bits,
          .Parity = ParityCode(framing),
          .StopBits = StopBitsCode(framing),
          .XonChar = 17,
          .XoffChar = 19,
          .ErrorChar = 0,
          .EofChar = 26};
}

std::string WayOut(Framing framing) {
  if (framing.data_bits != 7 || framing.parity == 'N' || framing.soft_parity) return {};
  framing.soft_parity = true;
  return "; use " + ToString(framing);
}

std::string Device(const LineConfig& line) {
  return (NamesNetwork(line.device) ? "The serial server at " : "The device ") + line.device;
}

[[noreturn]] void RefuseState(ModemChannel& channel, const LineConfig& line,
                              const Framing& framing) {
  Dcb plain = LineState(line, {});
  plain.ByteSize = 8;
  if (!channel.SetState(plain)) {
    Refuse(Device(line) + " does not do " + std::to_string(line.speed) + " bit/s");
  }
  Refuse(Device(line) + " does not do the framing " + line.framing + WayOut(framing));
}

}  // namespace

bool NoCarrierWatch::Feed(std::string_view bytes) {
  for (const char code : bytes) {
    const bool line_end = code == '\r' || code == '\n';
    if (line_end && line_ == kNoCarrier) return true;
    if (line_end) {
      line_.clear();
    } else if (line_.size() <= kNoCarrier.size()) {
      line_ += code;
    }
  }
  return false;
}

void ModemChannel::WatchCarrier(bool by_line) { watch_ = by_line ? Watch::kLine : Watch::kText; }

bool ModemChannel::SetState(const Dcb& wanted) {
  if (!IsValidFraming(wanted.ByteSize, wanted.Parity, wanted.StopBits)) return false;
  Dcb device = wanted;
  const bool soft = soft_ && wanted.ByteSize == 7 && wanted.Parity != 0;
  if (soft) {
    device.ByteSize = 8;
    device.Parity = 0;
    // The driver compares whole bytes, so the characters of flow control carry their parity too.
    device.XonChar = Coded(wanted.XonChar, wanted.Parity);
    device.XoffChar = Coded(wanted.XoffChar, wanted.Parity);
  }
  if (!Apply(device)) return false;
  soft_parity_ = soft ? wanted.Parity : 0;
  KeepState(wanted);
  return true;
}

LineErrorCounts ModemChannel::Errors() {
  LineErrorCounts counts = DeviceErrors();
  counts.parity += soft_errors_;
  return counts;
}

long ModemChannel::Transmit(std::string_view bytes) {
  return Put(soft_parity_ == 0 ? std::string(bytes) : WithParity(bytes, soft_parity_));
}

void ModemChannel::Arrived(std::string& bytes) {
  Decode(bytes);
  if (soft_parity_ != 0) StripParity(bytes);
  if (watch_ == Watch::kText && text_watch_.Feed(bytes)) MarkLost();
}

bool ModemChannel::CarrierLost() {
  return watch_ == Watch::kLine && (ModemLines().value_or(0) & kMsRlsdOn) == 0;
}

void ModemChannel::StripParity(std::string& bytes) {
  for (char& code : bytes) {
    const bool good = ParityHolds(code, soft_parity_);
    code = WithoutParity(code);
    if (good) continue;
    ++soft_errors_;
    code = Replacement().value_or(code);
  }
}

std::optional<char> ModemChannel::Replacement() const {
  if (!Has(kReplaceErrors)) return std::nullopt;
  return static_cast<char>(state().ErrorChar);
}

std::optional<std::uint32_t> FlowFlags(std::string_view name) {
  for (const FlowControl& flow : kFlows) {
    if (flow.name == name) return flow.flags;
  }
  return std::nullopt;
}

void ApplyLine(ModemChannel& channel, const LineConfig& line) {
  const Framing framing = FramingOf(line);
  const Dcb wanted = LineState(line, framing);
  if (framing.soft_parity) channel.UseSoftParity();
  if (!channel.SetState(wanted)) RefuseState(channel, line, framing);
}

std::shared_ptr<ModemChannel> OpenModemUnset(const LineConfig& line, const std::stop_token& stop) {
  if (NamesNetwork(line.device)) return OpenNetworkModem(line, stop);
  return OpenDevice(line.device);
}

std::shared_ptr<ModemChannel> OpenModem(const LineConfig& line, const std::stop_token& stop) {
  auto channel = OpenModemUnset(line, stop);
  ApplyLine(*channel, line);
  return channel;
}

}  // namespace mvsms::posix
