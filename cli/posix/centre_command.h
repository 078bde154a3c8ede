// `mvsms centre`: the message centre as a command, for trying the sender out without a provider
// and for testing programs that send.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/options.h"

namespace mvsms::centre {
class Server;
}

namespace mvsms::cli {

/// What the command line asks for.
struct CentreOptions {
  int tcp_port = -1;                  // 0: any free port; -1: a pseudo-terminal with a modem
  std::string address = "127.0.0.1";  // of this machine, to listen on; "0.0.0.0": all
  std::string certificate, key;       // files for TLS on the socket; empty: none
  std::string modem;                  // before the centre on the socket: "raw", "rfc2217", or empty
  bool line = false;                  // the pseudo-terminal is the line itself, without a modem
  std::string link;                   // to the pseudo-terminal; empty: none
  std::string protocol = "tap";
  std::vector<std::string> settings;  // NAME=VALUE
  std::string script;                 // dialogue file played instead of the protocol; empty: none
  std::string record;                 // JSON lines are appended to this file; empty: none
  int calls = 0;                      // end after so many answered calls; 0: run until stopped
  bool quiet = false;                 // nothing but errors
  bool json = false;                  // standard output in JSON lines
  bool trace = false;                 // show every byte of every call
};

/// Runs the centre. `serving` is given the server, for stopping it, before it says where it
/// listens, and null before it goes. Returns 0, or 1 if it cannot listen or a caller departed from
/// the script.
int RunCentre(const CentreOptions& options, std::ostream& out, std::ostream& err,
              const std::function<void(centre::Server*)>& serving);

/// Adds the sub-command to `app`; when it has run, `exit_code` is its result.
void AddCentreCommand(Command& app, int& exit_code);

}  // namespace mvsms::cli
