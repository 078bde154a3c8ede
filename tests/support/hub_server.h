// A hub's server for tests: a PostgreSQL of its own in a temporary folder, reached by a socket
// there, which ends with the test program. Nobody needs a password.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "backends/posix/hub/wire.h"
#include "tests/support/temp_folder.h"

namespace mvsms {

class HubServer {
 public:
  /// Whether a server is installed, and the plug-in was built.
  static bool IsInstalled();
  /// The one of this program, which begins with the first call; nothing where none is installed.
  static HubServer* Get();
  /// One of its own, reached as "localhost" at a port by TLS and with a password, too.
  static std::unique_ptr<HubServer> WithTls(const std::string& certificate, const std::string& key);
  /// Which it shows soon.
  void SetCertificate(const std::string& certificate, const std::string& key);
  /// Another one that follows this one, and can only be read from until it is promoted.
  std::unique_ptr<HubServer> Standby() const;

  ~HubServer();
  HubServer(const HubServer&) = delete;
  HubServer& operator=(const HubServer&) = delete;

  /// How the user reaches the database; the owner is "mvsms".
  std::string Where(const std::string& user = "mvsms") const;
  std::unique_ptr<posix::HubWire> Wire(const std::string& user = "mvsms") const;
  const std::string& folder() const { return folder_.path(); }
  /// Of one with TLS.
  const std::string& port() const { return port_; }
  /// At once, as in a power failure, but with its sockets closed.
  void End();

 private:
  HubServer();
  void Make();
  void Begin();
  void Start();
  bool Answers();
  void Run(const std::string& words) const;

  TempFolder folder_;
  std::string programs_;
  std::string as_user_;    // the words that run a program as somebody who is not root
  std::string arguments_;  // of its own
  std::string port_;
  pid_t server_ = 0;
};

}  // namespace mvsms
