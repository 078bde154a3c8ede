// A serial device as a channel: its settings, software parity, and how a modem shows that the far
// end has gone.
#pragma once

#include <memory>
#include <string>

#include "backends/posix/line/channel.h"
#include "backends/posix/line/device_lock.h"
#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// Looks for "NO CARRIER" as a line of its own in what a modem delivers.
class NoCarrierWatch {
 public:
  /// Feeds what came next; true once the line has been seen.
  bool Feed(std::string_view bytes);

 private:
  std::string line_;  // as much of the current line as matters
};

class SerialChannel : public Channel {
 public:
  /// `fd` comes from OpenTty. `lock` is held until the channel is closed.
  SerialChannel(UniqueFd fd, DeviceLock lock);
  ~SerialChannel() override { Close(); }

  /// From now on framings of seven data bits with parity are made in software.
  void UseSoftParity() { soft_ = true; }
  /// From now on, since a call is up, watches for loss of the carrier: by the carrier line of the
  /// device, or by the modem's "NO CARRIER" in the data where that line says nothing.
  void WatchCarrier(bool by_line);
  /// Raises or drops DTR; false when the device has no modem lines.
  bool SetDtr(bool on) { return posix::SetDtr(fd(), on); }

  void Drain(Millis timeout) override;
  bool SetState(const Dcb& state) override;
  std::optional<std::uint32_t> ModemLines() override { return ReadModemLines(fd()); }
  LineErrorCounts Errors() override;

 private:
  enum class Watch { kNone, kLine, kText };

  long Transmit(std::string_view bytes) override;
  void Arrived(std::string& bytes) override;
  bool CarrierLost() override;
  void Closing() override;

  void StripParity(std::string& bytes);
  bool Has(std::uint32_t flags) const { return (state().flags & flags) == flags; }

  DeviceLock lock_;
  bool soft_ = false;
  std::uint8_t soft_parity_ = 0;  // the parity made in software now, 0 none
  std::uint32_t soft_errors_ = 0;
  Watch watch_ = Watch::kNone;
  NoCarrierWatch text_watch_;
};

/// The flow control of a line ("rtscts", "xonxoff", "none") as flags of a Dcb; nothing when the
/// name is none of these.
std::optional<std::uint32_t> FlowFlags(std::string_view name);

/// Opens and locks a device, which keeps its settings. Throws what OpenTty and DeviceLock throw.
std::shared_ptr<SerialChannel> OpenDevice(const std::string& device);

/// Opens and locks the device of a hayes line with the line's own speed, framing and flow control.
/// Throws RaisedError with a sentence that names the device, the setting that it refuses and, for
/// a framing, the way out.
std::shared_ptr<SerialChannel> OpenLine(const LineConfig& line);

}  // namespace mvsms::posix
