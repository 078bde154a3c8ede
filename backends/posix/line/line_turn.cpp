// See line_turn.h.
#include "backends/posix/line/line_turn.h"

#include <unistd.h>

#include "backends/posix/line/line_pool.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {

LineTurn::LineTurn(const std::string& home, const std::string& line)
    : home_(home), line_(LineStore(home).Find(line)) {}

std::string LineTurn::Look() {
  if (reservation_ || !line_) return {};
  const Modems modems = ModemsOf(home_, *line_);
  std::vector<std::string> reasons;
  for (const LineConfig& modem : modems.ready) {
    std::string reason = LookAt(modem.device);
    if (reason.empty()) {
      places_.clear();
      return {};
    }
    reasons.push_back(std::move(reason));
  }
  return WhyNoneIsFree(*line_, reasons, modems.away);
}

std::string LineTurn::LookAt(const std::string& device) {
  if (access(device.c_str(), F_OK) != 0) return {};
  QueuePlace& place = places_.try_emplace(device, device).first->second;
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
