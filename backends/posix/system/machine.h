// Which machine this is.
#pragma once

#include <string>

namespace mvsms::posix {

/// What tells this machine from one that began as a copy of its files: the system's own id of it
/// (machine-id(5)), else, as in many containers, the host's name. The system wants its id kept on
/// the machine; whoever sends it somewhere sends a digest.
std::string MachineId(const std::string& file = "/etc/machine-id");

/// The host's name; empty where it has none.
std::string HostName();

}  // namespace mvsms::posix
