// Not by syslog(3), which waits for a daemon that reads no more. The form of a line is that of RFC
// 3164 as local programs write it: priority, time, tag.
#include "backends/posix/system/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <ctime>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::posix {
namespace {

constexpr int kUserFacility = 1;

std::string TimeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  // In English, whatever the locale.
  constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::array<char, 32> rest{};
  std::strftime(rest.data(), rest.size(), " %e %H:%M:%S ", &local);
  return kMonths[static_cast<std::size_t>(local.tm_mon)] + std::string(rest.data());
}

std::string Datagram(Severity severity, const std::string& line) {
  const int priority = kUserFacility * 8 + static_cast<int>(severity);
  return "<" + std::to_string(priority) + ">" + TimeStamp() + "mvsms[" + std::to_string(getpid()) +
         "]: " + line;
}

}  // namespace

bool WriteSystemLog(Severity severity, const std::string& line, const char* path) {
  const UniqueFd log(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  const std::string datagram = Datagram(severity, line);
  return log && sendto(log.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL,
                       reinterpret_cast<const sockaddr*>(&address), sizeof address) >= 0;
}

}  // namespace mvsms::posix
