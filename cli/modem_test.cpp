// A modem is asked on its bare serial port; a call goes the road of every send, over a TAPILine.
#include "cli/modem_test.h"

#include <memory>

#include "media/apartment.h"
#include "media/tapiline.h"
#include "platform/ansi.h"
#include "platform/posix/device_lock.h"
#include "platform/posix/framing.h"

namespace mvsms::cli {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAnswerTime{3000};
constexpr milliseconds kStep{50};

// The serial port of a modem, open while this lives.
class ModemPort {
 public:
  ModemPort(Platform& platform, const posix::LineConfig& line)
      : platform_(platform), comm_(platform.comm()), handle_(comm_.CreateFile(line.device)) {
    if (handle_ == kInvalidComm) throw Failure("cannot open " + line.device);
    if (!Configure(line)) {
      comm_.CloseHandle(handle_);
      throw Failure(line.device + " does not take " + std::to_string(line.speed) + " bit/s, " +
                    line.framing);
    }
  }
  ~ModemPort() { comm_.CloseHandle(handle_); }
  ModemPort(const ModemPort&) = delete;
  ModemPort& operator=(const ModemPort&) = delete;

  /// Sends a command line and returns what comes back until `end` is in it or the time is over.
  std::string Ask(const std::string& command, const std::string& end) {
    std::uint32_t written = 0;
    const auto overlapped = comm_.CreateOverlapped();
    comm_.WriteFile(handle_, command.data(), static_cast<std::uint32_t>(command.size()), written,
                    *overlapped);
    const milliseconds deadline = platform_.clock().Now() + kAnswerTime;
    std::string answer;
    while (answer.find(end) == std::string::npos && platform_.clock().Now() < deadline) {
      answer += Read();
    }
    return answer;
  }

 private:
  bool Configure(const posix::LineConfig& line) {
    CommTimeouts timeouts;
    timeouts.ReadIntervalTimeout = 1;
    timeouts.ReadTotalTimeoutConstant = static_cast<std::uint32_t>(kStep.count());
    Dcb dcb;
    if (!comm_.SetCommTimeouts(handle_, timeouts) || !comm_.GetCommState(handle_, dcb)) {
      return false;
    }
    // A modem learns the framing from the "AT" itself, so 8N1 reaches every one of them.
    dcb.BaudRate = line.speed;
    dcb.ByteSize = 8;
    dcb.Parity = 0;
    dcb.StopBits = 0;
    return comm_.SetCommState(handle_, dcb);
  }

  std::string Read() {
    std::array<char, 256> buffer{};
    std::uint32_t count = 0;
    const auto overlapped = comm_.CreateOverlapped();
    const std::uint32_t error =
        comm_.ReadFile(handle_, buffer.data(), buffer.size(), count, *overlapped);
    if (error == kErrorIoPending) {
      while (!overlapped->Completed()) platform_.loop().Sleep(kStep);
      count = overlapped->Transferred();
    }
    return {buffer.data(), count};
  }

  Platform& platform_;
  Comm& comm_;
  CommHandle handle_;
};

}  // namespace

std::string TestModem(Context& context, const posix::LineConfig& line) {
  if (line.kind == posix::LineKind::kTcp) return "is a TCP line; test it with --dial host:port";
  const std::string owner = posix::DeviceInUse(line.device);
  if (!owner.empty()) throw Failure(owner);
  const std::string answer = ModemPort(context.platform(), line).Ask("AT\r", "OK");
  if (answer.find("OK") != std::string::npos) return "the modem on " + line.device + " answers";
  throw Failure("no modem answers on " + line.device +
                (answer.empty() ? "" : ", only \"" + Printable(Utf8FromAnsi(answer)) + "\""));
}

std::string TestCall(Context& context, const posix::LineConfig& line, const std::string& number) {
  std::string reasons;
  const auto note = [&](std::int32_t, const std::string&, const std::string& text) {
    reasons += "; " + Utf8FromAnsi(text);
  };
  Apartment apartment(context.platform());
  TAPILine call(apartment, note, {});
  call.PhoneNumber = number;
  call.SetParams("", "N", 8, 1, false);
  std::int32_t error = 0;
  std::string message;
  if (!call.SetDevice(line.name) || !call.Connect(error, message)) {
    throw Failure("no call to " + Utf8FromAnsi(number) + reasons);
  }
  call.Disconnect(error, message);
  return "connected to " + Utf8FromAnsi(number) + " and hung up";
}

}  // namespace mvsms::cli
