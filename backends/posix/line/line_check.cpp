// Settings are judged by the code that uses them, so a line that passes is one that opens.
#include "backends/posix/line/line_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "backends/posix/line/framing.h"
#include "backends/posix/line/modem_port.h"
#include "backends/posix/line/net_stream.h"
#include "backends/posix/line/network_modem.h"
#include "backends/posix/line/ucp_login.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr ModemPort::Millis kAnswerTime{3000};

// An AT command is one line: a line end inside would run the rest as a command of its own.
bool IsOneLine(const std::string& command) {
  return command.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

/// Modems wait some seconds for the tone.
constexpr ModemPort::Millis kToneTime{10000};
/// Dials nothing (";": and stays in command mode), and reports a line without a tone (X4).
constexpr char kListen[] = "ATX4D;";

std::optional<ResultCode> LastResult(const std::string& answer) {
  if (answer.empty()) return std::nullopt;
  const std::size_t last = answer.rfind('\n', answer.size() - 2) + 1;
  return ParseResultCode(answer.substr(last, answer.size() - 1 - last));
}

bool EndsWithOk(const std::string& answer) {
  const auto result = LastResult(answer);
  return result && result->kind == ResultCode::Kind::kOk;
}

std::string CheckNetwork(const std::string& device) {
  std::string problem;
  const auto address = ParseNetAddress(device, problem);
  return address ? LookUpProblem(address->host, device) : problem;
}

bool IsTls(const LineConfig& line) { return line.device.starts_with("tls://"); }

}  // namespace

bool MayAppear(const std::string& device) {
  std::string problem;
  return NamesNetwork(device) ? ParseNetAddress(device, problem).has_value()
                              : ::access(device.c_str(), F_OK) != 0;
}

std::string CheckAccess(const LineConfig& line) {
  const LineAccess& access = line.access;
  const bool tcp = line.kind == LineKind::kTcp;
  if (!tcp && !access.login.empty()) return "--login is for the kind tcp";
  if (!tcp && !IsTls(line) && HasTlsFiles(access)) {
    return "--ca and --certificate are for tls://HOST:PORT and for the kind tcp";
  }
  if (access.certificate.empty() && !access.key.empty()) return "--key needs --certificate";
  if (access.login.empty() != access.password_file.empty()) {
    return "--login and --password-file need each other";
  }
  if (access.login.find('/') != std::string::npos) {
    return "--login must not contain \"/\", which divides the fields of a UCP message";
  }
  std::string password, problem;
  if (!access.login.empty() && !ReadPassword(access.password_file, password, problem)) {
    return problem;
  }
  return HasTlsFiles(access) ? CheckTlsFiles(access) : "";
}

std::string CheckDevice(const std::string& device) {
  if (NamesNetwork(device)) return CheckNetwork(device);
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
    const auto channel = OpenModem(line, {});
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

std::optional<bool> HearsDialTone(const LineConfig& line) try {
  if (line.kind != LineKind::kHayes) return std::nullopt;
  const auto channel = OpenModem(line, {});
  SerialModemPort port(*channel);
  HayesModem modem(port, line.init, line.dial);
  modem.Ask(modem.init(), kAnswerTime);
  const auto result = LastResult(modem.Ask(kListen, kToneTime));
  modem.Ask("ATH", kAnswerTime);
  if (!result) return std::nullopt;
  if (result->nothing_dialled) return false;
  return result->kind == ResultCode::Kind::kOk ? std::optional<bool>(true) : std::nullopt;
} catch (const RaisedError&) {
  return std::nullopt;
}

}  // namespace mvsms::posix
