// Serial devices at the level of the system: opening, settings, modem lines, error counters. A
// Dcb stands for the settings, as everywhere above; these functions are where it meets termios.
//
// Settings are always read back: drivers of USB modems and pseudo-terminals accept a request for
// seven data bits or an odd speed without complaint and carry on as they please.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "backends/posix/system/unique_fd.h"
#include "platform/comm.h"

namespace mvsms::posix {

/// How often a line error of each kind has happened since the driver was loaded.
struct LineErrorCounts {
  std::uint32_t overflow = 0;  // the driver's own queue
  std::uint32_t overrun = 0;
  std::uint32_t parity = 0;
  std::uint32_t frame = 0;
  std::uint32_t breaks = 0;
  bool operator==(const LineErrorCounts&) const = default;
};

/// Opens a serial device raw, non-blocking and for this process alone, input emptied. Throws
/// RaisedError: number errno; description a sentence with the device and what to do about it.
UniqueFd OpenTty(const std::string& device);

/// Drops what was not sent yet and ends the exclusive use, so that closing neither waits for a
/// modem that does not take its data nor leaves the device locked.
void ReleaseTty(int fd);

/// The current settings; fields that termios does not have are left as they are.
bool ReadTtyState(int fd, Dcb& dcb);

/// Applies speed, framing and flow control. False when the device does not do exactly this; it
/// then has its former settings.
bool ApplyTtyState(int fd, const Dcb& dcb);

/// Whether the device now marks a character that came with a parity or framing error, as FF 00 in
/// front of it, and doubles an FF that came sound.
bool MarksErrors(int fd);

/// Modem lines as kMs* bits; nothing when the device has none.
std::optional<std::uint32_t> ReadModemLines(int fd);

/// Raises or drops DTR; false when the device has no modem lines.
bool SetDtr(int fd, bool on);

/// All zero when the device does not count.
LineErrorCounts ReadErrorCounts(int fd);

/// Bytes waiting to be sent.
std::size_t UnsentBytes(int fd);

}  // namespace mvsms::posix
