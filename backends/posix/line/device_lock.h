// Who may use a serial device: UUCP lock files, which terminal programs, gettys and paging daemons
// share by old custom; the lock that younger programs take of the open device (flock); and the
// exclusive mode of the device itself, which keeps out the others.
//
// A lock file is LCK..<device> in the folder of locks (lock_folder.h); it holds the owner's process
// number in ten columns. One left behind by a dead process is replaced. Where the folder cannot be
// written the device is used without one. What is no file is nobody's lock; it stays where it is,
// and the device is used without one.
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

/// Takes the lock of a device for a call of this process that is about to begin: the next
/// DeviceLock of the device is this one, whoever makes it. Gives back, at its end, what was not
/// taken over.
class DeviceReservation {
 public:
  /// Throws what DeviceLock throws.
  explicit DeviceReservation(const std::string& device);
  ~DeviceReservation();
  DeviceReservation(const DeviceReservation&) = delete;
  DeviceReservation& operator=(const DeviceReservation&) = delete;

 private:
  DeviceLock lock_;
};

/// Whether a reservation of this process waits for its call.
bool IsReserved(const std::string& device);

/// Why the device is not available just now: a sentence (UTF-8) that names the owner's process and,
/// where known, its program. Empty when the device is free, reserved, absent, or closed to this
/// user.
std::string DeviceInUse(const std::string& device);

/// Takes the lock that programs without lock files agree on (flock), which goes when `fd` is
/// closed. False when another program keeps it; one that only looks in is waited for.
bool TakeFileLock(int fd);

/// The sentence for a device that the system reports as busy.
std::string DescribeBusyDevice(const std::string& device);

/// Whether another process has the open terminal `fd` in exclusive mode. Only a privileged user can
/// have opened such a terminal in the first place.
bool IsHeldExclusively(int fd);

}  // namespace mvsms::posix
