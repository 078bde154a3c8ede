// Checks of a line for the command that maintains lines: before it is stored, and on request with
// the modem itself. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// Speeds that a hayes line may have, bit/s; the device may know fewer.
inline constexpr std::uint32_t kSlowestLine = 50;
inline constexpr std::uint32_t kFastestLine = 4'000'000;

/// Whether a device that CheckDevice refuses may be a good one another time: one that is not there,
/// or a serial server whose name is not known.
bool MayAppear(const std::string& device);

/// Why a path or an address cannot be the device of a hayes line, as a sentence that names it;
/// empty when it can. Looks up the name of a serial server, but does not call it. Separate from the
/// other checks, because an unplugged modem's settings may still be changed.
std::string CheckDevice(const std::string& device);

/// What is wrong with the other settings of a hayes line, as a sentence that names it; empty when
/// nothing is. Whether the modem takes them is not tried.
std::string CheckSettings(const LineConfig& line);

/// What is wrong with the files and the login of a line, as a sentence that names it; empty when
/// nothing is. Whether the far end takes them is not tried.
std::string CheckAccess(const LineConfig& line);

/// Asks the modem of a hayes line "AT", its initialisation and "ATI", and appends each command with
/// its answer to `report`, a line each. Returns why the line cannot be used (also: in use, and by
/// whom), as a sentence; empty when the modem answers. A line of another kind has nothing to ask.
std::string TestLine(const LineConfig& line, std::string& report);

/// Takes a hayes line off the hook, so that its modem listens for the exchange, and hangs up again.
/// Nothing when the modem cannot tell, or cannot be asked.
std::optional<bool> HearsDialTone(const LineConfig& line);

}  // namespace mvsms::posix
