// Sender: the public class through which a host sends one text message to one recipient. It dials
// a message centre, hands over the message piece by piece in the centre's protocol, and hangs up.
//
// Everything happens on the thread of the Apartment. SendMessage returns when the attempt is over;
// meanwhile the thread's events are processed, so a handler or a button of the host may call
// AbortAction, read and assign the properties, but not destroy the Sender. A second SendMessage
// from inside an event is not supported: while the first one is on the line, it finds the modem in
// use. An exception that a handler throws ends with the handler: a host whose display fails must
// not lose its page or leave the line open. Texts are in the ANSI code page.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/send_report.h"
#include "engine/settings.h"
#include "engine/status_window.h"
#include "media/apartment.h"
#include "media/tapiline.h"
#include "protocols/service_record.h"
#include "protocols/session.h"

// The Windows headers make this name a macro; here it is a function.
#undef SendMessage

namespace mvsms {

class Sender final : private SessionHost {
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

  /// Hangs up the line that was kept, with the status lines of a send's end. Nothing without one.
  void HangUp();
  /// Whether a line is kept, and stands as far as the last look at it told.
  bool HasLine() const;

  /// The facts of the running send, or of the latest one.
  const SendReport& Report() const { return report_; }

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
  /// For a host with several messages for one message centre, and beside the component's interface:
  /// a message that the centre let in leaves the line up, and the next one for the same service,
  /// its settings unchanged, goes over it without dialling. Whether an answer leaves the line fit
  /// for another message is the host's to judge: in doubt it hangs up. A kept line ends with
  /// HangUp, with a message for another service, or with this object.
  bool KeepsLine = false;
  /// For such a host, too: the modem to dial with, whatever the service names. Empty: the
  /// service's.
  std::string Modem;

 private:
  struct Attempt;

  bool Attempted(Attempt& attempt);
  void OpenReport();
  void CloseReport(bool sent);
  bool BreakOff(std::int32_t number, const std::string& description);

  // The steps of a send, in their order. One that gives false has reported why.
  void Begin(const Attempt& attempt);
  bool LoadSettings();
  bool TakeMessage(Attempt& attempt);
  bool ResolveRecipient(Attempt& attempt);
  bool ChooseService(Attempt& attempt);
  bool CheckLength(const Attempt& attempt);
  bool Transmit(Attempt& attempt, bool prepared);
  bool GoesOn(Attempt& attempt);
  bool SetUpMedium(Attempt& attempt);
  bool Connect(Attempt& attempt);
  bool SendPieces(Attempt& attempt);
  void CloseConnection(Attempt& attempt);
  void CloseLine(std::int32_t& error, std::string& message);
  void End(bool sent);

  bool Fail(std::int32_t number, const std::string& description);
  bool FailForModem(const std::string& modem);
  std::string FixAddress(std::string& address);
  void TakeOverRetry();
  void Show();
  void Log(const std::string& text);
  Registry& registry() { return apartment_.platform().registry(); }

  ISMSMedium& Medium() override { return *medium_; }
  void AddStatus(const std::string& Text) override;
  void ReportError(std::int32_t ErrNumber, const std::string& ErrDescription,
                   const std::string& ModuleName) override;
  void Pause(std::int32_t Milliseconds) override;
  void DoEvents() override;
  void Reached(SendStep step) override { report_.step = step; }
  void HandsOver(const std::string& block) override;
  void Heard(const std::string& answer) override;

  Apartment& apartment_;
  StatusWindowFactory make_status_window_;
  std::unique_ptr<StatusWindow> status_window_;  // from the first line shown, for good
  Settings settings_;                            // of the latest send
  ISMSMedium* medium_ = nullptr;                 // the open medium of a send, else none
  std::string modem_;                            // of the latest medium
  SendReport report_;                            // of the latest send
  std::chrono::milliseconds report_opened_{0};   // by the clock
  bool line_in_use_ = false;                     // a send is on the line, or the line is reporting
  bool line_kept_ = false;                       // it was up after the latest message, for the next
  ServiceRecord line_service_;                   // that the line was set up for
  std::unique_ptr<TAPILine> objTapiLine_;        // last: its destructor may still report an error
};

/// The pieces in which a message goes out, each of `max_length` characters, the last one shorter.
/// Their number is the quotient of the lengths plus 0.9999, rounded down: an excess below 0.0001
/// of a piece is not sent, and a message below that is no piece at all. Never with `max_length` 0.
std::vector<std::string> CutMessage(const std::string& message, std::int32_t max_length);

}  // namespace mvsms
