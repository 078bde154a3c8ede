// See machine.h.
#include "backends/posix/system/machine.h"

#include <unistd.h>

#include <array>
#include <fstream>

namespace mvsms::posix {

std::string MachineId(const std::string& file) {
  std::string id;
  std::getline(std::ifstream(file), id);
  // So it stands in an image of a system that has not been started yet.
  return id.empty() || id == "uninitialized" ? HostName() : id;
}

std::string HostName() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

}  // namespace mvsms::posix
