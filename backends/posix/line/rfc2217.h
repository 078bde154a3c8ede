// The client's side of telnet with the option for serial ports (RFC 2217), as bytes in and bytes
// out, without a connection: it strips what came, escapes what goes, and keeps what the server said
// of its port.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "backends/posix/line/tty.h"
#include "platform/comm.h"

namespace mvsms::posix {

class Rfc2217 {
 public:
  /// Whether the server offers its port's settings; nothing until it has said so.
  std::optional<bool> offered() const { return offered_; }

  /// The settings as the server named them since the last Settings; nothing while one is missing.
  struct Answer {
    std::uint32_t speed = 0;
    std::uint8_t data_bits = 0, parity = 0, stop_bits = 0;  // codes of the protocol
    bool operator==(const Answer&) const = default;
  };
  std::optional<Answer> answer() const;
  /// What it says when it does as it was told.
  static Answer Wanted(const Dcb& state);

  /// Modem lines as kMs* bits; nothing before the server told them.
  std::optional<std::uint32_t> modem_lines() const { return modem_lines_; }
  const LineErrorCounts& errors() const { return errors_; }

  // --- what the server is told: bytes to send as they are ----------------------------------------
  /// First of all.
  static std::string Greeting();
  /// Once it offers its port: that it reports modem lines and errors, and drops old input.
  static std::string Begin();
  std::string Settings(const Dcb& state);
  static std::string Dtr(bool on);
  static std::string Data(std::string_view bytes);

  /// Takes what came: leaves the data in `bytes`, and returns what is to be answered.
  std::string Take(std::string& bytes);

 private:
  enum class State { kData, kCommand, kOption, kBlock, kCommandInBlock };

  void TakeByte(unsigned char code, std::string& data, std::string& reply);
  void Negotiate(unsigned char option, std::string& reply);
  void TakeBlock();
  void Note(unsigned char command, std::string_view value);
  void CountErrors(unsigned char bits);

  State state_ = State::kData;
  unsigned char verb_ = 0;
  std::string block_;
  std::optional<bool> offered_;
  std::optional<std::uint32_t> speed_;
  std::optional<std::uint8_t> data_bits_, parity_, stop_bits_;
  std::optional<std::uint32_t> modem_lines_;
  LineErrorCounts errors_;
};

}  // namespace mvsms::posix
