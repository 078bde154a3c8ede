// Where the gateway listens.
#pragma once

#include <string>
#include <vector>

#include "backends/posix/system/unique_fd.h"

namespace mvsms::gateway {

/// A socket that listens.
struct Listening {
  posix::UniqueFd socket;
  std::string address;    // as it is shown, "127.0.0.1:8026"
  bool is_local = false;  // only this machine reaches it
};

/// Listens on HOST:PORT; port 0 is any. Throws std::runtime_error with a sentence.
Listening ListenOn(const std::string& address);

/// The sockets that the service manager hands over, in their order (sd_listen_fds(3)); each is of
/// the name that its unit gives it. None when there is none. Takes them out of the environment.
struct HandedOver {
  Listening listening;
  std::string name;
};
std::vector<HandedOver> ListenersHandedOver();

}  // namespace mvsms::gateway
