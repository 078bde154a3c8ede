// The line to a modem, whatever carries it: parity made in software, and how a modem shows that the
// far end has gone.
#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "backends/posix/line/channel.h"
#include "backends/posix/line/framing.h"
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

class ModemChannel : public Channel {
 public:
  using Channel::Channel;

  /// From now on framings of seven data bits with parity are made in software.
  void UseSoftParity() { soft_ = true; }
  /// From now on, since a call is up, watches for loss of the carrier: by the carrier line of the
  /// device, or by the modem's "NO CARRIER" in the data where that line says nothing.
  void WatchCarrier(bool by_line);
  /// Raises or drops DTR; false when the device has no modem lines.
  virtual bool SetDtr(bool on) = 0;

  bool SetState(const Dcb& state) override;
  LineErrorCounts Errors() override;

 protected:
  /// What stands for a character with an error; nothing when it is to be left as it came.
  std::optional<char> Replacement() const;

 private:
  enum class Watch { kNone, kLine, kText };

  /// Gives the device these settings; false when it does not do exactly this.
  virtual bool Apply(const Dcb& device) = 0;
  /// One write to the device, as Transmit.
  virtual long Put(std::string_view bytes) = 0;
  /// Takes out of what came what is about the device and not from the modem.
  virtual void Decode(std::string& /*bytes*/) {}
  virtual LineErrorCounts DeviceErrors() { return {}; }

  long Transmit(std::string_view bytes) final;
  void Arrived(std::string& bytes) final;
  bool CarrierLost() final;

  void StripParity(std::string& bytes);
  bool Has(std::uint32_t flags) const { return (state().flags & flags) == flags; }

  bool soft_ = false;
  std::uint8_t soft_parity_ = 0;  // the parity made in software now, 0 none
  std::uint32_t soft_errors_ = 0;
  Watch watch_ = Watch::kNone;
  NoCarrierWatch text_watch_;
};

/// The flow control of a line ("rtscts", "xonxoff", "none") as flags of a Dcb; nothing when the
/// name is none of these.
std::optional<std::uint32_t> FlowFlags(std::string_view name);

/// Gives a channel the line's own speed, framing and flow control. Throws RaisedError with a
/// sentence that names the device, the setting that it refuses and, for a framing, the way out.
void ApplyLine(ModemChannel& channel, const LineConfig& line);

/// The line to the modem of a hayes line as OpenModem has it, but with the settings that the device
/// happens to have.
std::shared_ptr<ModemChannel> OpenModemUnset(const LineConfig& line, const std::stop_token& stop);

/// The line to the modem of a hayes line with the line's own settings, locked: its device, or the
/// serial server that has its modem, which may take half a minute to be reached; returns soon after
/// `stop`. Throws RaisedError with a sentence that names what stands in the way.
std::shared_ptr<ModemChannel> OpenModem(const LineConfig& line, const std::stop_token& stop);

}  // namespace mvsms::posix
