// A serial device with what a pseudo-terminal lacks: seven data bits and parity, modem lines, and
// counters of line errors. It lies over a pseudo-terminal, which goes on carrying the bytes, and
// takes the system calls that concern the rest.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace mvsms::posix {

class FakeUart {
 public:
  /// `device` is a pseudo-terminal; one FakeUart at a time.
  explicit FakeUart(const std::string& device);
  ~FakeUart();
  FakeUart(const FakeUart&) = delete;
  FakeUart& operator=(const FakeUart&) = delete;

  void SetCarrier(bool on);
  /// The carrier comes on when somebody has looked for it once.
  void SetCarrierAfterALook();
  void SetParityErrors(int count);
  /// What the modem does when DTR is dropped; on the thread that drops it.
  std::function<void()> on_dtr_drop;
  /// How often DTR was dropped.
  int drops();

  /// A system call on the device: true when it was taken, with its result.
  bool Take(int fd, unsigned long request, void* argument, int& result);

 private:
  void DropDtr();

  std::recursive_mutex mutex_;
  std::uint64_t device_ = 0;
  unsigned hidden_input_ = 0;    // c_iflag bits that the pseudo-terminal is not to see
  unsigned hidden_control_ = 0;  // likewise of c_cflag
  int lines_ = 0;
  bool carrier_follows_ = false;
  int parity_errors_ = 0;
  int drops_ = 0;
};

}  // namespace mvsms::posix
