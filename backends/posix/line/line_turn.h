// Waiting for a line whose modem is in use.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/device_queue.h"
#include "backends/posix/store/line_store.h"

namespace mvsms::posix {

/// The place of one who waits for a line, and, once his turn has come, the modem that is kept for
/// his next call. Both are given back at the end of the object. In a pool he waits for the first
/// modem that gets free.
class LineTurn {
 public:
  /// `line` is the name of one of this machine's; none of them needs no waiting. Throws what
  /// LineStore throws, as does Look.
  LineTurn(const std::string& home, const std::string& line);

  /// Looks once; the first time, he takes the last place. Empty when the turn has come; also when
  /// waiting is of no use, because the line has no modem or one that is not there. Else who is in
  /// the way, as a sentence (UTF-8).
  std::string Look();

 private:
  std::string LookAt(const std::string& device);

  std::string home_;
  std::optional<LineConfig> line_;
  std::map<std::string, QueuePlace> places_;  // by their devices
  std::unique_ptr<DeviceReservation> reservation_;
};

}  // namespace mvsms::posix
