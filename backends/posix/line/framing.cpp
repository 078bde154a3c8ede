// Framing texts: three characters, and "-soft" where seven data bits with parity are wanted from a
// device that only does eight without.
#include "backends/posix/line/framing.h"

#include <cctype>

#include "platform/comm.h"

namespace mvsms::posix {
namespace {

constexpr std::string_view kSoftSuffix = "-soft";
constexpr std::string_view kParityLetters = "NOEMS";  // in the order of Dcb::Parity

bool IsPossible(const Framing& framing) {
  if (framing.data_bits < 5) return false;
  if (framing.soft_parity && (framing.data_bits != 7 || framing.parity == 'N')) return false;
  return IsValidFraming(framing.data_bits, ParityCode(framing), StopBitsCode(framing));
}

}  // namespace

std::optional<Framing> ParseFraming(std::string_view text) {
  Framing framing;
  if (text.size() > 3 && text.substr(3) == kSoftSuffix) {
    framing.soft_parity = true;
    text = text.substr(0, 3);
  }
  if (text.size() != 3 || text[0] < '5' || text[0] > '8' || text[2] < '1' || text[2] > '2') {
    return std::nullopt;
  }
  framing.data_bits = static_cast<std::uint8_t>(text[0] - '0');
  framing.parity = static_cast<char>(std::toupper(static_cast<unsigned char>(text[1])));
  framing.stop_bits = static_cast<std::uint8_t>(text[2] - '0');
  if (kParityLetters.find(framing.parity) == std::string_view::npos || !IsPossible(framing)) {
    return std::nullopt;
  }
  return framing;
}

std::string ToString(const Framing& framing) {
  std::string text = std::to_string(framing.data_bits) + framing.parity;
  text += std::to_string(framing.stop_bits);
  if (framing.soft_parity) text += kSoftSuffix;
  return text;
}

std::uint8_t ParityCode(const Framing& framing) {
  return static_cast<std::uint8_t>(kParityLetters.find(framing.parity));
}

std::uint8_t StopBitsCode(const Framing& framing) { return framing.stop_bits == 2 ? 2 : 0; }

}  // namespace mvsms::posix
