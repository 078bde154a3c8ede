// The serial devices of this machine, as somebody chooses a modem's from them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace mvsms::cli {

/// Paths of what looks like a serial device below `dev`: first the names that stay with a device
/// wherever it is plugged in, then the ports that have no such name.
std::vector<std::string> SerialDevices(const std::filesystem::path& dev = "/dev");

}  // namespace mvsms::cli
