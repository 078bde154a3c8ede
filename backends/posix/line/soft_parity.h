// Parity made in software: seven data bits and a parity bit, carried as the eight data bits of a
// device that runs without parity. For pseudo-terminals and USB modems that cannot do 7E1.
//
// Parity codes are those of Dcb::Parity (1 odd, 2 even, 3 mark, 4 space).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mvsms::posix {

/// The low seven bits of `code` with their parity bit above them.
char WithParity(char code, std::uint8_t parity);
std::string WithParity(std::string_view text, std::uint8_t parity);

/// Whether the eighth bit of `code` is the parity bit of the other seven.
bool ParityHolds(char code, std::uint8_t parity);

/// The seven data bits alone.
constexpr char WithoutParity(char code) { return static_cast<char>(code & 0x7F); }

}  // namespace mvsms::posix
