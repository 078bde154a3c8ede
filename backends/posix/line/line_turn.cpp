// See line_turn.h.
#include "backends/posix/line/line_turn.h"

#include <unistd.h>

#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {

LineTurn::LineTurn(const std::string& home, const std::string& line)
    : line_(LineStore(home).Find(line)) {
  if (line_ && line_->kind == LineKind::kHayes) places_.try_emplace(line_->device, line_->device);
}

std::string LineTurn::Look() {
  if (reservation_ || !line_ || line_->kind == LineKind::kTcp) return {};
  if (access(line_->device.c_str(), F_OK) != 0) return {};
  std::string obstacle = LookAt(line_->device);
  if (obstacle.empty()) places_.clear();
  return obstacle;
}

std::string LineTurn::LookAt(const std::string& device) {
  QueuePlace& place = places_.at(device);
  if (std::string use = DeviceInUse(device); !use.empty()) {
    place.DeviceIsTaken();
    return use;
  }
  if (!place.IsFirst()) return "Others wait for the device " + device + " already";
  try {
    reservation_ = std::make_unique<DeviceReservation>(device);
  } catch (const RaisedError& error) {  // somebody was faster
    return Utf8FromAnsi(error.description());
  }
  return {};
}

}  // namespace mvsms::posix
