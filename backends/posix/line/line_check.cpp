// Settings are judged by the code that uses them, so a line that passes is one that opens.
#include "backends/posix/line/line_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "backends/posix/line/framing.h"
#include "backends/posix/line/modem_port.h"
#include "backends/posix/line/serial_channel.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr ModemPort::Millis kAnswerTime{3000};

// An AT command is one line: a line end inside would run the rest as a command of its own.
bool IsOneLine(const std::string& command) {
  return command.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

bool EndsWithOk(const std::string& answer) {
  const std::size_t last = answer.rfind('\n', answer.size() - 2) + 1;
  const auto result = ParseResultCode(answer.substr(last, answer.size() - 1 - last));
  return result && result->kind == ResultCode::Kind::kOk;
}

}  // namespace

std::string CheckDevice(const std::string& device) {
  struct stat status{};
  if (stat(device.c_str(), &status) != 0) return "the device \"" + device + "\" does not exist";
  std::string not_serial = "\"" + device + "\" is not a serial device";
  if (!S_ISCHR(status.st_mode)) return not_serial;
  // A device that cannot be opened now, for lack of rights or because it is in use, may be a good
  // one.
  const UniqueFd fd(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  return fd && isatty(fd.get()) == 0 ? not_serial : "";
}

std::string CheckSettings(const LineConfig& line) {
  if (!ParseFraming(line.framing)) {
    return "\"" + line.framing + "\" is not a framing; use one such as 8N1, 7E1 or 7E1-soft";
  }
  if (!FlowFlags(line.flow)) {
    return "\"" + line.flow + "\" is not a flow control; use rtscts, xonxoff or none";
  }
  for (const std::string& command : {line.init, line.dial}) {
    if (!IsOneLine(command)) return "an AT command must not contain a line end";
  }
  return {};
}

std::string TestLine(const LineConfig& line, std::string& report) {
  if (line.kind != LineKind::kHayes) return {};
  try {
    const auto channel = OpenLine(line);
    SerialModemPort port(*channel);
    HayesModem modem(port, line.init, line.dial);
    for (const std::string& command : {std::string("AT"), modem.init(), std::string("ATI")}) {
      const std::string answer = modem.Ask(command, kAnswerTime);
      report += command + ":\n" + Utf8FromAnsi(answer);
      if (answer.empty()) return "No modem answers on " + line.device;
      if (command == modem.init() && !EndsWithOk(answer)) {
        return "The modem on " + line.device + " does not take " + command;
      }
    }
  } catch (const RaisedError& error) {
    return Utf8FromAnsi(error.description());
  }
  return {};
}

}  // namespace mvsms::posix
