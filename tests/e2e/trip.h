// A trip: one folder of all state, message centres and `mvsms` commands as processes of their own,
// in real time. Every test is one trip, and they all run at once.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "cli/json.h"
#include "cli/posix/child_process.h"
#include "tests/support/exit_codes.h"
#include "tests/support/temp_folder.h"

namespace mvsms::cli {

using Words = std::vector<std::string>;

/// How one command ended.
struct Ending {
  int exit_code = -1;
  std::string out;
  std::string err;
  Json json() const { return Json::parse(out); }
};

class Trip : public ::testing::Test {
 protected:
  std::unique_ptr<ChildProcess> Start(const Words& arguments) const;
  /// A command line of the shell, in which "$0" is `mvsms`.
  Ending RunInShell(const std::string& command) const;
  Ending Finish(ChildProcess& process) const;
  Ending Run(const Words& arguments) const { return Finish(*Start(arguments)); }
  /// A command that must succeed.
  void Do(const Words& arguments) const;

  /// Starts a centre behind a modem and makes it the default service "Pager" on the modem "Modem".
  /// `behaviour` are settings of the centre, `service` values of the service.
  void CentreOnModem(const std::string& protocol, const Words& behaviour = {},
                     const Words& service = {});
  /// The same on a socket.
  void CentreOnTcp(const std::string& protocol, const Words& behaviour = {},
                   const Words& service = {});
  /// The same behind a modem that a serial server has (RFC 2217).
  void CentreOnSerialServer(const std::string& protocol);
  /// Starts another centre on another modem; the first one's goes on.
  void AnotherModem(const std::string& name, const std::string& protocol,
                    const Words& behaviour = {});

  /// `mvsms send --json` with further arguments, the text last.
  Ending Send(const Words& arguments) const { return Run(SendCommand(arguments)); }
  static Words SendCommand(const Words& arguments);

  /// The messages that the centre took or refused so far: "RECIPIENT: TEXT, accepted".
  std::vector<std::string> Received();
  /// The first `count` of them, of a centre that still takes calls.
  std::vector<std::string> Received(std::size_t count);
  /// Waits for a line of `process` that holds `text`.
  static bool WaitForLine(ChildProcess& process, const std::string& text);
  /// True when the centre's one call ends.
  bool CallEnds() { return centre_->Wait(std::chrono::seconds(10)).has_value(); }

  bool takes_many_calls_ = false;  // the centre, else one; to be set before it is started
  TempFolder home_;
  std::unique_ptr<ChildProcess> centre_;
  std::unique_ptr<ChildProcess> first_centre_;  // when there is another one
  std::string device_;                          // of the modem

 private:
  std::unique_ptr<ChildProcess> StartProgram(const Words& command) const;
  static void Note(const std::string& line, std::vector<std::string>& messages);
  Json StartCentre(const Words& where, const std::string& protocol, const Words& behaviour);
  /// A modem with a centre behind it; its device. That is a link of this trip: the terminal's own
  /// name is somebody else's as soon as the centre has ended.
  std::string StartModem(const std::string& name, const std::string& protocol,
                         const Words& behaviour);
  void AddService(const std::string& protocol, const std::string& number, const Words& service);
};

}  // namespace mvsms::cli
