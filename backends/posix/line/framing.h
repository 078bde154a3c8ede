// The framing of a serial line as users write it: "8N1", "7E1", "7E1-soft".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mvsms::posix {

struct Framing {
  std::uint8_t data_bits = 8;  // 5 to 8
  char parity = 'N';           // N none, E even, O odd, M mark, S space
  std::uint8_t stop_bits = 1;  // 1 or 2
  /// The parity bit is made and stripped in software on an 8N1 device; with 7 data bits only. For
  /// devices (USB modems, pseudo-terminals) that cannot do 7 bits themselves.
  bool soft_parity = false;
  bool operator==(const Framing&) const = default;
};

/// Parses three characters and an optional "-soft"; nothing when the text is not a framing, or is
/// one that no serial driver knows (two stop bits with five data bits). The letter may be lower
/// case.
std::optional<Framing> ParseFraming(std::string_view text);
std::string ToString(const Framing& framing);

/// The same as codes of a Dcb (platform/comm.h): its Parity and its StopBits.
std::uint8_t ParityCode(const Framing& framing);
std::uint8_t StopBitsCode(const Framing& framing);

}  // namespace mvsms::posix
