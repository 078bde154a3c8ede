// Sender: the public class through which a host sends one text message to one recipient. It dials
// a message centre, hands over the message piece by piece in the centre's protocol, and hangs up.
//
// Everything happens on the thread of the Apartment. SendMessage returns when the attempt is over;
// meanwhile the thread's events are processed, so a handler or a button of the host may call
// AbortAction, read and assign the properties. A second SendMessage from inside an event is not
// supported. Texts are in the ANSI code page.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engine/status_window.h"
#include "media/apartment.h"
#include "media/tapiline.h"
#include "protocols/service_record.h"
#include "protocols/session.h"

namespace mvsms {

class Sender : private SessionHost {
 public:
  /// Event arguments are passed by reference, as the host's event interface has them.
  using ErrorEvent = std::function<void(std::int32_t& ErrNumber, std::string& ErrDescription,
                                        std::string& ModuleName)>;
  using StatusChangeEvent = std::function<void(std::string& Status)>;

  /// `status_window` makes the window shown when the profile asks for it; none when empty.
  explicit Sender(Apartment& apartment, StatusWindowFactory status_window = {});
  ~Sender();
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  /// True when every piece was accepted by the message centre. Rewrites its arguments: `Message`
  /// is trimmed, `Recipient` normalised, an empty `ServiceName` receives the routed service. Never
  /// throws: failures are reported through the events.
  bool SendMessage(std::string& Recipient, std::string& Sender, std::string& Message,
                   std::string& ServiceName);
  /// Stops a running send at its next check. Every later send of this object is cut short too.
  void AbortAction();

  ErrorEvent OnError;
  StatusChangeEvent OnStatusChange;

  /// All status lines since the object was made or Status was assigned, each after a CR LF.
  std::string Status;
  /// True after a failure that a later attempt may cure.
  bool RetrySuggested = false;
  /// Name of the settings profile; empty becomes "Standard".
  std::string HostAppName;
  /// Full path of the send log; not empty forces logging.
  std::string LogFilePath;
};

}  // namespace mvsms
