// One parity bit over seven data bits.
#include "backends/posix/line/soft_parity.h"

#include <bit>

namespace mvsms::posix {
namespace {

// Indexed by [parity code][whether the number of data bits set is odd].
constexpr bool kParityBit[5][2] = {
    {false, false},  // none
    {true, false},   // odd
    {false, true},   // even
    {true, true},    // mark
    {false, false},  // space
};

}  // namespace

char WithParity(char code, std::uint8_t parity) {
  const unsigned data = static_cast<unsigned char>(code) & 0x7FU;
  const bool odd = std::popcount(data) % 2 != 0;
  return static_cast<char>(kParityBit[parity][odd] ? data | 0x80U : data);
}

std::string WithParity(std::string_view text, std::uint8_t parity) {
  std::string coded(text);
  for (char& code : coded) code = WithParity(code, parity);
  return coded;
}

bool ParityHolds(char code, std::uint8_t parity) { return WithParity(code, parity) == code; }

}  // namespace mvsms::posix
