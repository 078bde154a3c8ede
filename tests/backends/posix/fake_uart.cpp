// Stands between the program and the system: this ioctl is the one that everything in the test
// program calls.
#include "tests/backends/posix/fake_uart.h"

#include <asm/termbits.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <stdexcept>
#include <utility>

namespace mvsms::posix {
namespace {

std::atomic<FakeUart*> current = nullptr;

constexpr tcflag_t kHiddenInput = INPCK | PARMRK;
constexpr tcflag_t kHiddenControl = CSIZE | PARENB | PARODD | CMSPAR;

int Really(int fd, unsigned long request, void* argument) {
  return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

}  // namespace

FakeUart::FakeUart(const std::string& device) {
  struct stat status{};
  if (stat(device.c_str(), &status) != 0) throw std::runtime_error("no device " + device);
  device_ = status.st_rdev;
  hidden_control_ = CS8;
  lines_ = TIOCM_DTR | TIOCM_RTS | TIOCM_CTS | TIOCM_DSR;
  current = this;
}

FakeUart::~FakeUart() { current = nullptr; }

void FakeUart::SetCarrier(bool on) {
  const std::lock_guard guard(mutex_);
  lines_ = on ? lines_ | TIOCM_CAR : lines_ & ~TIOCM_CAR;
}

void FakeUart::SetCarrierAfterALook() {
  const std::lock_guard guard(mutex_);
  carrier_follows_ = true;
}

void FakeUart::SetParityErrors(int count) {
  const std::lock_guard guard(mutex_);
  parity_errors_ = count;
}

int FakeUart::drops() {
  const std::lock_guard guard(mutex_);
  return drops_;
}

void FakeUart::DropDtr() {
  lines_ &= ~TIOCM_DTR;
  ++drops_;
  if (on_dtr_drop) on_dtr_drop();
}

bool FakeUart::Take(int fd, unsigned long request, void* argument, int& result) {
  const std::lock_guard guard(mutex_);
  struct stat status{};
  if (fstat(fd, &status) != 0 || status.st_rdev != device_) return false;
  result = 0;
  if (request == TCGETS2) {
    auto* const settings = static_cast<termios2*>(argument);
    result = Really(fd, request, settings);
    settings->c_iflag |= hidden_input_;
    settings->c_cflag = (settings->c_cflag & ~kHiddenControl) | hidden_control_;
  } else if (request == TCSETS2) {
    termios2 settings = *static_cast<const termios2*>(argument);
    hidden_input_ = settings.c_iflag & kHiddenInput;
    hidden_control_ = settings.c_cflag & kHiddenControl;
    settings.c_iflag &= ~kHiddenInput;
    settings.c_cflag = (settings.c_cflag & ~kHiddenControl) | CS8;
    result = Really(fd, request, &settings);
  } else if (request == TIOCMGET) {
    *static_cast<int*>(argument) = lines_;
    if (std::exchange(carrier_follows_, false)) lines_ |= TIOCM_CAR;
  } else if (request == TIOCMBIS) {
    lines_ |= *static_cast<const int*>(argument);
  } else if (request == TIOCMBIC && (*static_cast<const int*>(argument) & TIOCM_DTR) != 0) {
    DropDtr();
  } else if (request == TIOCGICOUNT) {
    auto* const counts = static_cast<serial_icounter_struct*>(argument);
    *counts = {};
    counts->parity = parity_errors_;
  } else {
    return false;
  }
  return true;
}

}  // namespace mvsms::posix

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  int result = 0;
  mvsms::posix::FakeUart* const fake = mvsms::posix::current;
  if (fake != nullptr && fake->Take(fd, request, argument, result)) return result;
  return mvsms::posix::Really(fd, request, argument);
}
