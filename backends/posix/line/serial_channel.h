// A serial device of this machine as the line to a modem.
#pragma once

#include <memory>
#include <string>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/modem_channel.h"

namespace mvsms::posix {

/// Takes the marks of a device (see MarksErrors) out of what it delivers.
class ErrorMarks {
 public:
  /// The bytes without their marks; those that came with an error are `replacement`, where there is
  /// one. A mark may be cut anywhere between two calls.
  std::string Resolve(std::string_view bytes, std::optional<char> replacement);

 private:
  std::string mark_;  // as much as has come of one
};

class SerialChannel : public ModemChannel {
 public:
  /// `fd` comes from OpenTty. `lock` is held until the channel is closed.
  SerialChannel(UniqueFd fd, DeviceLock lock);
  ~SerialChannel() override { Close(); }

  bool SetDtr(bool on) override { return posix::SetDtr(fd(), on); }
  void Drain(Millis timeout) override;
  std::optional<std::uint32_t> ModemLines() override { return ReadModemLines(fd()); }

 private:
  bool Apply(const Dcb& device) override;
  long Put(std::string_view bytes) override;
  void Decode(std::string& bytes) override;
  LineErrorCounts DeviceErrors() override { return ReadErrorCounts(fd()); }
  void Closing() override;

  DeviceLock lock_;
  bool marks_ = false;  // the device marks errors
  ErrorMarks error_marks_;
};

/// Opens and locks a device, which keeps its settings. Throws what OpenTty and DeviceLock throw.
std::shared_ptr<SerialChannel> OpenDevice(const std::string& device);

}  // namespace mvsms::posix
