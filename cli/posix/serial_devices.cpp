// See serial_devices.h.
#include "cli/posix/serial_devices.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <system_error>

namespace mvsms::cli {
namespace {

using Paths = std::vector<std::filesystem::path>;

constexpr std::string_view kPorts[] = {"ttyUSB", "ttyACM", "ttyS"};

Paths In(const std::filesystem::path& folder) {
  std::error_code error;
  Paths paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

bool IsPort(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  return std::any_of(std::begin(kPorts), std::end(kPorts),
                     [&](std::string_view port) { return name.starts_with(port); });
}

}  // namespace

std::vector<std::string> SerialDevices(const std::filesystem::path& dev) {
  std::vector<std::string> devices;
  std::set<std::filesystem::path> named;
  std::error_code gone;
  for (const auto& link : In(dev / "serial" / "by-id")) {
    devices.push_back(link.string());
    named.insert(std::filesystem::weakly_canonical(link, gone));
  }
  for (const auto& port : In(dev)) {
    if (IsPort(port) && named.count(std::filesystem::weakly_canonical(port, gone)) == 0) {
      devices.push_back(port.string());
    }
  }
  return devices;
}

}  // namespace mvsms::cli
