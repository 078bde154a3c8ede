// The serial-port service of the seam: Win32 communications with overlapped I/O, operation by
// operation. Back ends: Win32, termios and sockets over non-blocking descriptors, and an in-memory
// line with a virtual clock.
//
// Overlapped operations. ReadFile, WriteFile and WaitCommEvent return 0 when they finished at once,
// kErrorIoPending when they are still under way, any other Win32 error code when they could not
// start. A pending operation is watched through its Overlapped. The buffer of a pending operation
// must stay valid, and its Overlapped unused for another one, until Completed() is true or the
// handle is closed. Closing a handle completes whatever is pending on it, with no bytes.
//
// When a pending read completes (COMMTIMEOUTS): as soon as the requested count has arrived; or,
// once at least one byte has come, when a gap of ReadIntervalTimeout ms follows; or when
// ReadTotalTimeoutMultiplier × count + ReadTotalTimeoutConstant ms have passed since its start,
// with whatever has come, possibly nothing. A zero switches that limit off. Nothing is delivered
// twice; a byte that arrives after the completion belongs to the next read.
//
// Thread: a Comm object, its handles and its Overlapped records belong to the thread of its
// Platform. Errors: return values only, no exceptions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

// The Windows headers make this name a macro; here it is a function.
#undef CreateFile

namespace mvsms {

/// An open port. Owned by whoever opened it or was handed it, until CloseHandle.
using CommHandle = std::intptr_t;
inline constexpr CommHandle kNoComm = 0;        // no port
inline constexpr CommHandle kInvalidComm = -1;  // INVALID_HANDLE_VALUE: opening failed

inline constexpr std::uint32_t kErrorIoPending = 997;  // winerror.h ERROR_IO_PENDING

/// Time-outs in milliseconds (Win32 COMMTIMEOUTS); 0 means that the limit does not exist.
struct CommTimeouts {
  std::uint32_t ReadIntervalTimeout = 0;
  std::uint32_t ReadTotalTimeoutMultiplier = 0;
  std::uint32_t ReadTotalTimeoutConstant = 0;
  std::uint32_t WriteTotalTimeoutMultiplier = 0;
  std::uint32_t WriteTotalTimeoutConstant = 0;
  bool operator==(const CommTimeouts&) const = default;
};

/// The device control block, with the published Win32 layout (28 bytes).
struct Dcb {
  std::uint32_t DCBlength = 28;
  std::uint32_t BaudRate = 0;
  std::uint32_t flags = 0;  // packed flag bits, see the masks below
  std::uint16_t wReserved = 0;
  std::uint16_t XonLim = 0;
  std::uint16_t XoffLim = 0;
  std::uint8_t ByteSize = 0;  // data bits, 4 to 8
  std::uint8_t Parity = 0;    // 0 none, 1 odd, 2 even, 3 mark, 4 space
  std::uint8_t StopBits = 0;  // 0 one, 1 one and a half, 2 two
  std::uint8_t XonChar = 0;
  std::uint8_t XoffChar = 0;
  std::uint8_t ErrorChar = 0;
  std::uint8_t EofChar = 0;
  std::uint8_t EvtChar = 0;
  std::uint16_t wReserved1 = 0;
  bool operator==(const Dcb&) const = default;
};
static_assert(sizeof(Dcb) == 28);

/// Bits of Dcb::flags (winbase.h DCB, packed from bit 0).
namespace dcb_flag {
inline constexpr std::uint32_t kBinary = 0x1;
inline constexpr std::uint32_t kParity = 0x2;
inline constexpr std::uint32_t kOutxCtsFlow = 0x4;
inline constexpr std::uint32_t kOutxDsrFlow = 0x8;
inline constexpr std::uint32_t kDtrControlMask = 0x30;
inline constexpr unsigned kDtrControlShift = 4;
inline constexpr std::uint32_t kDsrSensitivity = 0x40;
inline constexpr std::uint32_t kTXContinueOnXoff = 0x80;
inline constexpr std::uint32_t kOutX = 0x100;
inline constexpr std::uint32_t kInX = 0x200;
inline constexpr std::uint32_t kErrorChar = 0x400;
inline constexpr std::uint32_t kNull = 0x800;
inline constexpr std::uint32_t kRtsControlMask = 0x3000;
inline constexpr unsigned kRtsControlShift = 12;
inline constexpr std::uint32_t kAbortOnError = 0x4000;
}  // namespace dcb_flag

/// Event mask, modem status and line-error bits (winbase.h EV_*, MS_*_ON, CE_*).
inline constexpr std::uint32_t kEvErr = 0x80;
inline constexpr std::uint32_t kMsCtsOn = 0x10;
inline constexpr std::uint32_t kMsDsrOn = 0x20;
inline constexpr std::uint32_t kMsRingOn = 0x40;
inline constexpr std::uint32_t kMsRlsdOn = 0x80;
inline constexpr std::uint32_t kCeRxOver = 0x1;
inline constexpr std::uint32_t kCeOverrun = 0x2;
inline constexpr std::uint32_t kCeRxParity = 0x4;
inline constexpr std::uint32_t kCeFrame = 0x8;
inline constexpr std::uint32_t kCeBreak = 0x10;
inline constexpr std::uint32_t kCeTxFull = 0x100;

/// True when a serial driver accepts this framing: 4 to 8 data bits and a known parity; one and a
/// half stop bits with fewer than 6 data bits only, two with at least 6 only. The back ends refuse
/// the rest in SetCommState, changing nothing; on Windows the port's own driver decides.
constexpr bool IsValidFraming(std::uint8_t byte_size, std::uint8_t parity, std::uint8_t stop_bits) {
  if (byte_size < 4 || byte_size > 8 || parity > 4 || stop_bits > 2) return false;
  if (stop_bits == 1) return byte_size < 6;
  return stop_bits == 0 || byte_size >= 6;
}

/// One overlapped operation with its manual-reset event (Win32 OVERLAPPED). Reusable.
class Overlapped {
 public:
  virtual ~Overlapped() = default;
  /// A zero-time wait on the event: false while the operation is pending (WAIT_TIMEOUT), true
  /// otherwise. An operation that finished at once leaves it true; an unused one reads false.
  virtual bool Completed() = 0;
  /// Bytes moved by the completed operation.
  virtual std::uint32_t Transferred() = 0;
};

class Comm {
 public:
  virtual ~Comm() = default;

  /// A fresh record for overlapped operations; owned by the caller.
  virtual std::unique_ptr<Overlapped> CreateOverlapped() = 0;

  /// Opens a device for reading and writing, unshared and overlapped. kInvalidComm on failure.
  virtual CommHandle CreateFile(const std::string& device_name) = 0;
  /// False when no port is open under the handle.
  virtual bool CloseHandle(CommHandle handle) = 0;

  // The operations below that return a bool return false when no port is open under the handle or
  // its device refused; they have then changed nothing, output arguments included.

  /// Sizes of the driver's queues in bytes; a recommendation to the driver.
  virtual bool SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) = 0;
  virtual bool GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) = 0;
  virtual bool SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) = 0;
  virtual bool GetCommState(CommHandle handle, Dcb& dcb) = 0;
  /// Applies the settings, or returns false and changes nothing (see IsValidFraming).
  virtual bool SetCommState(CommHandle handle, const Dcb& dcb) = 0;
  /// The kEv* bits that WaitCommEvent waits for; a pending wait completes with no event.
  virtual bool SetCommMask(CommHandle handle, std::uint32_t events) = 0;
  /// Modem lines as kMs* bits; false when the device has none.
  virtual bool GetCommModemStatus(CommHandle handle, std::uint32_t& status) = 0;

  /// Reads up to `count` bytes into `buffer`. `transferred` is set when the result is 0.
  virtual std::uint32_t ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                                 std::uint32_t& transferred, Overlapped& overlapped) = 0;
  /// Writes `count` bytes from `buffer`. `transferred` is set when the result is 0.
  virtual std::uint32_t WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                                  std::uint32_t& transferred, Overlapped& overlapped) = 0;
  /// Waits for an event of the mask; `events` receives the kEv* bits on completion (0 when the
  /// wait ended without one) and must stay valid until then.
  virtual std::uint32_t WaitCommEvent(CommHandle handle, std::uint32_t& events,
                                      Overlapped& overlapped) = 0;
  /// Reads and clears the line errors (kCe* bits).
  virtual bool ClearCommError(CommHandle handle, std::uint32_t& errors) = 0;
};

}  // namespace mvsms
