// See service_manager.h.
#include "backends/posix/system/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::posix {

void TellServiceManager(std::string_view assignment) {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = name != nullptr ? name : "";
  if (path.empty() || path.size() >= sizeof(address.sun_path)) return;
  std::copy(path.begin(), path.end(), address.sun_path);
  if (path.front() == '@') address.sun_path[0] = '\0';  // a socket without a file
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  const UniqueFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd) return;
  sendto(fd.get(), assignment.data(), assignment.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
         reinterpret_cast<const sockaddr*>(&address), length);
}

}  // namespace mvsms::posix
