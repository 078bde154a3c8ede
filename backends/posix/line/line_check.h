// Checks of a line for the command that maintains lines: before it is stored, and on request with
// the modem itself. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <string>

#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// Speeds that a hayes line may have, bit/s; the device may know fewer.
inline constexpr std::uint32_t kSlowestLine = 50;
inline constexpr std::uint32_t kFastestLine = 4'000'000;

/// Why a path cannot be the device of a hayes line, as a sentence that names it; empty when it can.
/// Separate from the other checks, because an unplugged modem's settings may still be changed.
std::string CheckDevice(const std::string& device);

/// What is wrong with the other settings of a hayes line, as a sentence that names it; empty when
/// nothing is. Whether the modem takes them is not tried.
std::string CheckSettings(const LineConfig& line);

/// Asks the modem of a hayes line "AT", its initialisation and "ATI", and appends each command with
/// its answer to `report`, a line each. Returns why the line cannot be used (also: in use, and by
/// whom), as a sentence; empty when the modem answers. A line of another kind has nothing to ask.
std::string TestLine(const LineConfig& line, std::string& report);

}  // namespace mvsms::posix
