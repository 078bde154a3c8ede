// See serial_channel.h.
#include "backends/posix/line/serial_channel.h"

#include <unistd.h>

#include <thread>
#include <utility>

namespace mvsms::posix {
std::string ErrorMarks::Resolve(std::string_view bytes, std::optional<char> replacement) {
  std::string resolved;
  for (const char code : bytes) {
    mark_ += code;
    if (mark_ == "\xFF" || mark_ == std::string("\xFF\0", 2)) continue;
    // A sound character, an FF that was doubled, or one with an error behind its mark.
    resolved += mark_.size() == 3 ? replacement.value_or(code) : code;
    mark_.clear();
  }
  return resolved;
}

SerialChannel::SerialChannel(UniqueFd device, DeviceLock lock)
    : ModemChannel(std::move(device)), lock_(std::move(lock)) {
  Dcb present = state();
  if (ReadTtyState(fd(), present)) KeepState(present);
}

void SerialChannel::Drain(Millis timeout) {
  constexpr Millis kStep{10};
  for (; timeout.count() > 0 && !Lost() && UnsentBytes(fd()) > 0; timeout -= kStep) {
    std::this_thread::sleep_for(kStep);
  }
}

bool SerialChannel::Apply(const Dcb& device) {
  if (!ApplyTtyState(fd(), device)) return false;
  marks_ = MarksErrors(fd());
  return true;
}

long SerialChannel::Put(std::string_view bytes) { return write(fd(), bytes.data(), bytes.size()); }

void SerialChannel::Decode(std::string& bytes) {
  if (marks_) bytes = error_marks_.Resolve(bytes, Replacement());
}

void SerialChannel::Closing() {
  ReleaseTty(fd());
  lock_.Release();
}

std::shared_ptr<SerialChannel> OpenDevice(const std::string& device) {
  DeviceLock lock(device);
  UniqueFd fd = OpenTty(device);
  return std::make_shared<SerialChannel>(std::move(fd), std::move(lock));
}

}  // namespace mvsms::posix
