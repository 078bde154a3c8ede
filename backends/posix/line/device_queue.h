// The order of those who wait for a serial device, first come, first served, among all processes
// and users that share the folder of locks.
//
// Who waits keeps a file there, LWAIT.<device>.<when it came>.<process>, and keeps it locked, so
// that the system ends the waiting of a process that dies. The order is a courtesy, and the lock of
// the device alone (device_lock.h) says whose it is: who comes without a place may be faster, and
// one who leaves the device free for some seconds when it is his, because he was stopped or is no
// waiter at all, is passed over.
#pragma once

#include <chrono>
#include <set>
#include <string>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::posix {

/// A place in the queue of one device. Where the folder cannot be written there is no file, and
/// nobody comes before or after.
class QueuePlace {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  /// How long the first may leave the device free before he is passed over.
  static constexpr std::chrono::seconds kPatience{3};

  /// Takes the last place.
  explicit QueuePlace(const std::string& device);
  ~QueuePlace();
  QueuePlace(const QueuePlace&) = delete;
  QueuePlace& operator=(const QueuePlace&) = delete;

  /// Whether it is this one's turn on a device that is free at the moment `now`.
  bool IsFirst(Moment now = std::chrono::steady_clock::now());
  /// To be told when the device is not free: the patience with the first one begins anew.
  void DeviceIsTaken() { first_.clear(); }

 private:
  std::string FirstBefore() const;
  bool Waits(const std::string& name) const;

  std::string prefix_;  // of the names of all places
  std::string name_;    // of our own
  UniqueFd file_;       // open and locked
  std::string first_;   // who might take the device just now
  Moment free_since_;   // for him
  std::set<std::string> passed_over_;
};

}  // namespace mvsms::posix
