// A serial server with a modem at its port, as a caller over the network finds it: telnet with the
// option for serial ports (RFC 2217). Speed, framing and flow control are taken and mean nothing,
// since no wire is behind them; DTR and the carrier are real.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "centre/line.h"

namespace mvsms::centre {

class SerialServer : public Answerer, private Line {
 public:
  /// Makes the modem at the port.
  using Port = std::function<std::unique_ptr<Answerer>(CarrierWatch)>;
  explicit SerialServer(const Port& port);
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  using Byte = std::uint8_t;
  enum class State { kData, kCommand, kOption, kBlock, kCommandInBlock };

  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override;

  void Take(Byte code);
  void PassData();
  void Negotiate(Byte option);
  void Agree(std::set<Byte>& options, Byte option, bool on, Byte yes, Byte no);
  void TakeBlock();
  void Command(Byte command, std::string_view value);
  void Control(Byte value);
  void RaiseDtr();
  void DropDtr();
  void ShowCarrier(bool up);
  void TellModemState(Byte changed);
  void Tell(Byte command, std::string_view value);

  std::unique_ptr<Answerer> modem_;
  Line* line_ = nullptr;
  std::shared_ptr<char> dtr_;  // gone while DTR is low: the modem hears nothing then
  State state_ = State::kData;
  Byte verb_ = 0;
  std::string data_, block_;
  std::set<Byte> ours_, theirs_;          // telnet options in force
  std::map<Byte, std::string> settings_;  // by their commands
  std::array<Byte, 5> controls_;          // the value in force of each group
  Byte mask_ = 255;                       // which modem lines are told of
  Byte modem_lines_;
};

}  // namespace mvsms::centre
