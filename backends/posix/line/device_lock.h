// Who may use a serial device: UUCP lock files, which terminal programs, gettys and paging daemons
// share by old custom, and the exclusive mode of the device itself, which keeps out the others.
//
// A lock file is LCK..<device> in /var/lock (the environment's MVSMS_LOCK_DIR names another
// folder); it holds the owner's process number in ten columns. One left behind by a dead process
// is replaced. Where the folder cannot be written the device is used without one.
//
// Everybody may write into that folder, so nothing in it is trusted: no link is followed, nothing
// but a file is opened for longer than a look, and nobody is waited for. What is no file is
// nobody's lock; it stays where it is, and the device is used without one.
#pragma once

#include <string>

namespace mvsms::posix {

/// Holds the lock of a device, against other processes and against other calls of this one.
class DeviceLock {
 public:
  /// Holds nothing.
  DeviceLock() = default;
  /// Throws RaisedError with number EBUSY and a sentence naming the owner when the device is held.
  explicit DeviceLock(const std::string& device);
  DeviceLock(DeviceLock&& other) noexcept;
  DeviceLock& operator=(DeviceLock&& other) noexcept;
  ~DeviceLock();

  void Release();

 private:
  std::string file_;       // empty: nothing is held
  bool has_file_ = false;  // false: the folder cannot be written
};

/// Why the device is not available just now: a sentence (UTF-8) that names the owner's process and,
/// where known, its program. Empty when the device is free, absent, or closed to this user.
std::string DeviceInUse(const std::string& device);

/// The sentence for a device that the system reports as busy.
std::string DescribeBusyDevice(const std::string& device);

/// Whether another process has the open terminal `fd` in exclusive mode. Only a privileged user can
/// have opened such a terminal in the first place.
bool IsHeldExclusively(int fd);

}  // namespace mvsms::posix
