// termios2 with its numeric speeds instead of <termios.h>, whose speeds are a fixed list without
// 14400 or 128000; the two headers exclude each other, so this is the only file that knows either.
#include "backends/posix/line/tty.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

#include "backends/posix/line/device_lock.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};            // from 5 data bits
constexpr tcflag_t kParities[] = {0, PARENB | PARODD, PARENB,  // none, odd, even,
                                  PARENB | PARODD | CMSPAR,    // mark,
                                  PARENB | CMSPAR};            // space
constexpr tcflag_t kParityBits = PARENB | PARODD | CMSPAR;
constexpr tcflag_t kFramingBits = CSIZE | kParityBits | CSTOPB;
constexpr std::uint32_t kRtsHandshake = 2;  // RTS_CONTROL_HANDSHAKE

std::string Reason(const std::string& device, int error) {
  switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
      return "The device " + device + " does not exist; is the modem plugged in?";
    case EACCES:
    case EPERM:
      return "The device " + device +
             " may not be opened by this user; add the user to the device's group (usually "
             "dialout) and log in again";
    case EBUSY:
      return DescribeBusyDevice(device);
    case ENOTTY:
    case EIO:
      return device + " is not a serial device that works";
    default:
      return "The device " + device + " cannot be opened: " + std::strerror(error);
  }
}

[[noreturn]] void Fail(const std::string& device, int error) {
  throw RaisedError(error, "OpenTty", AnsiFromUtf8(Reason(device, error)));
}

bool SetRaw(int fd) {
  termios2 settings{};
  if (ioctl(fd, TCGETS2, &settings) != 0) return false;
  // Breaks are counted by the driver and not read as data. CLOCAL: a drop of carrier is noticed by
  // looking, so that what came before it can still be read.
  settings.c_iflag = IGNBRK;
  settings.c_oflag = 0;
  settings.c_lflag = 0;
  settings.c_cflag |= CREAD | CLOCAL | HUPCL;
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  return ioctl(fd, TCSETS2, &settings) == 0;
}

void Replace(tcflag_t& flags, tcflag_t mask, tcflag_t bits) { flags = (flags & ~mask) | bits; }

bool HardwareFlow(const Dcb& dcb) {
  const std::uint32_t rts = (dcb.flags & dcb_flag::kRtsControlMask) >> dcb_flag::kRtsControlShift;
  return (dcb.flags & dcb_flag::kOutxCtsFlow) != 0 || rts == kRtsHandshake;
}

termios2 WithState(termios2 settings, const Dcb& dcb) {
  tcflag_t framing = kSizes[dcb.ByteSize - 5] | kParities[dcb.Parity];
  if (dcb.StopBits != 0) framing |= CSTOPB;  // the driver makes it 1.5 with five data bits
  Replace(settings.c_cflag, kFramingBits, framing);
  Replace(settings.c_cflag, CRTSCTS, HardwareFlow(dcb) ? CRTSCTS : 0);
  Replace(settings.c_cflag, CBAUD | (CBAUD << IBSHIFT), BOTHER);
  settings.c_ispeed = settings.c_ospeed = dcb.BaudRate;
  // A character that came with an error is marked, for seven data bits have no value to spare.
  const bool checked = dcb.Parity != 0 && (dcb.flags & dcb_flag::kParity) != 0;
  Replace(settings.c_iflag, INPCK | PARMRK, checked ? INPCK | PARMRK : 0);
  Replace(settings.c_iflag, IXON, (dcb.flags & dcb_flag::kOutX) != 0 ? IXON : 0);
  Replace(settings.c_iflag, IXOFF, (dcb.flags & dcb_flag::kInX) != 0 ? IXOFF : 0);
  settings.c_cc[VSTART] = dcb.XonChar;
  settings.c_cc[VSTOP] = dcb.XoffChar;
  return settings;
}

// Real speeds come from a divider; a receiver can still follow one that is three in a hundred off.
bool IsNear(speed_t actual, speed_t wanted) {
  const speed_t difference = actual > wanted ? actual - wanted : wanted - actual;
  return difference <= wanted / 100 * 3 + 1;
}

std::uint8_t ParityOf(tcflag_t flags) {
  if ((flags & PARENB) == 0) return 0;
  for (std::size_t code = 1; code < std::size(kParities); ++code) {
    if ((flags & kParityBits) == kParities[code]) return static_cast<std::uint8_t>(code);
  }
  return 0;
}

}  // namespace

UniqueFd OpenTty(const std::string& device) {
  UniqueFd fd(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!fd) Fail(device, errno);
  if (IsHeldExclusively(fd.get()) || !TakeFileLock(fd.get())) Fail(device, EBUSY);
  if (!SetRaw(fd.get())) Fail(device, errno);
  ioctl(fd.get(), TIOCEXCL);
  ioctl(fd.get(), TCFLSH, TCIFLUSH);
  return fd;
}

void ReleaseTty(int fd) {
  ioctl(fd, TCFLSH, TCIOFLUSH);
  ioctl(fd, TIOCNXCL);
}

bool ReadTtyState(int fd, Dcb& dcb) {
  termios2 settings{};
  if (ioctl(fd, TCGETS2, &settings) != 0) return false;
  dcb.BaudRate = settings.c_ospeed;
  dcb.ByteSize = static_cast<std::uint8_t>(5 + (settings.c_cflag & CSIZE) / CS6);
  dcb.Parity = ParityOf(settings.c_cflag);
  const std::uint8_t long_stop = dcb.ByteSize == 5 ? 1 : 2;
  dcb.StopBits = (settings.c_cflag & CSTOPB) != 0 ? long_stop : 0;
  dcb.flags = dcb_flag::kBinary;
  if ((settings.c_cflag & CRTSCTS) != 0) {
    dcb.flags |= dcb_flag::kOutxCtsFlow | (kRtsHandshake << dcb_flag::kRtsControlShift);
  }
  if ((settings.c_iflag & IXON) != 0) dcb.flags |= dcb_flag::kOutX;
  if ((settings.c_iflag & IXOFF) != 0) dcb.flags |= dcb_flag::kInX;
  dcb.XonChar = settings.c_cc[VSTART];
  dcb.XoffChar = settings.c_cc[VSTOP];
  return true;
}

bool ApplyTtyState(int fd, const Dcb& dcb) {
  if (!IsValidFraming(dcb.ByteSize, dcb.Parity, dcb.StopBits) || dcb.ByteSize < 5 ||
      dcb.BaudRate == 0) {
    return false;
  }
  termios2 former{};
  if (ioctl(fd, TCGETS2, &former) != 0) return false;
  const termios2 wanted = WithState(former, dcb);
  termios2 actual{};
  if (ioctl(fd, TCSETS2, &wanted) == 0 && ioctl(fd, TCGETS2, &actual) == 0 &&
      ((actual.c_cflag ^ wanted.c_cflag) & kFramingBits) == 0 &&
      IsNear(actual.c_ospeed, wanted.c_ospeed)) {
    return true;
  }
  ioctl(fd, TCSETS2, &former);
  return false;
}

std::optional<std::uint32_t> ReadModemLines(int fd) {
  int lines = 0;
  if (ioctl(fd, TIOCMGET, &lines) != 0) return std::nullopt;
  std::uint32_t status = 0;
  if ((lines & TIOCM_CTS) != 0) status |= kMsCtsOn;
  if ((lines & TIOCM_DSR) != 0) status |= kMsDsrOn;
  if ((lines & TIOCM_RNG) != 0) status |= kMsRingOn;
  if ((lines & TIOCM_CAR) != 0) status |= kMsRlsdOn;
  return status;
}

bool SetDtr(int fd, bool on) {
  const int line = TIOCM_DTR;
  return ioctl(fd, on ? TIOCMBIS : TIOCMBIC, &line) == 0;
}

bool MarksErrors(int fd) {
  termios2 settings{};
  return ioctl(fd, TCGETS2, &settings) == 0 && (settings.c_iflag & PARMRK) != 0;
}

LineErrorCounts ReadErrorCounts(int fd) {
  serial_icounter_struct counts{};
  if (ioctl(fd, TIOCGICOUNT, &counts) != 0) return {};
  const auto unsigned_count = [](int count) { return static_cast<std::uint32_t>(count); };
  return {.overflow = unsigned_count(counts.buf_overrun),
          .overrun = unsigned_count(counts.overrun),
          .parity = unsigned_count(counts.parity),
          .frame = unsigned_count(counts.frame),
          .breaks = unsigned_count(counts.brk)};
}

std::size_t UnsentBytes(int fd) {
  int count = 0;
  return ioctl(fd, TIOCOUTQ, &count) == 0 && count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace mvsms::posix
