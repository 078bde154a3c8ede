// The modem dialogue's port over a channel.
#pragma once

#include <stop_token>

#include "backends/posix/line/hayes_modem.h"
#include "backends/posix/line/modem_channel.h"

namespace mvsms::posix {

/// A channel without modem lines, such as a connection to a centre.
class ChannelPort : public ModemPort {
 public:
  /// `channel` outlives the object.
  explicit ChannelPort(Channel& channel) : channel_(channel) {}

  /// What Cancelled answers from now on.
  void SetStop(std::stop_token stop) { stop_ = std::move(stop); }

  /// Gives up after two seconds on a modem that takes no data.
  void Write(std::string_view bytes) override;
  std::optional<char> Read(Millis time) override;
  void Wait(Millis time) override;
  bool SetDtr(bool /*on*/) override { return false; }
  std::optional<bool> Carrier() override;
  bool Cancelled() override { return stop_.stop_requested(); }
  bool Gone() override { return channel_.Lost(); }
  Millis Now() override;

 private:
  Channel& channel_;
  std::stop_token stop_;
};

class SerialModemPort : public ChannelPort {
 public:
  /// `channel` outlives the object.
  explicit SerialModemPort(ModemChannel& channel) : ChannelPort(channel), channel_(channel) {}

  bool SetDtr(bool on) override { return channel_.SetDtr(on); }

 private:
  ModemChannel& channel_;
};

}  // namespace mvsms::posix
