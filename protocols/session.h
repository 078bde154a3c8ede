// What a protocol session shares with the Sender that runs it: the open medium, the flags, and the
// routines through which it reports. A Sender implements it; tests stand in for it.
#pragma once

#include <cstdint>
#include <string>

#include "media/ismsmedium.h"
#include "protocols/send_step.h"

namespace mvsms {

class SessionHost {
 public:
  /// The connected medium of the running send.
  virtual ISMSMedium& Medium() = 0;
  /// One progress line: shown, logged, raised as an event.
  virtual void AddStatus(const std::string& Text) = 0;
  /// One failure: a progress line and an event. `ModuleName` is object, full stop, procedure.
  virtual void ReportError(std::int32_t ErrNumber, const std::string& ErrDescription,
                           const std::string& ModuleName) = 0;
  /// Waits while the host's events are processed (basCommon::Pause).
  virtual void Pause(std::int32_t Milliseconds) = 0;
  /// Processes the host's pending events.
  virtual void DoEvents() = 0;

  // What a session tells for the record of the send. It says so beside its status lines, and
  // nothing of the dialogue depends on whether anybody listens.

  /// It begins with this step.
  virtual void Reached(SendStep) {}
  /// It hands over a piece now: the very next bytes for the medium are `block`.
  virtual void HandsOver([[maybe_unused]] const std::string& block) {}
  /// It took `answer` for what the centre says to the login or to the piece handed over.
  virtual void Heard([[maybe_unused]] const std::string& answer) {}

  /// True once the centre has let us in. The pipeline clears it when it takes up a line.
  bool logged_in = false;
  /// A later attempt may cure the failure. The pipeline clears it when a send starts and passes it
  /// on as RetrySuggested.
  bool retry = false;
  /// Set by AbortAction and never cleared: a host makes a new Sender after aborting.
  bool abort = false;

 protected:
  ~SessionHost() = default;
};

/// True when the host has asked to stop, after a status line that says so. An abort is not an
/// error.
inline bool AbortRequested(SessionHost& host) {
  if (host.abort) host.AddStatus("Sending was aborted!");
  return host.abort;
}

}  // namespace mvsms
