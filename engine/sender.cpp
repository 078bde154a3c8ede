// The send pipeline: its order stands in SendMessage, with one function per step below.
//
// There are two ways to fail. A failure that a step foresees is reported by it, and the send goes
// on to its closing steps: hang up, end line, status window. An error that nobody foresaw is
// reported once and ends the send where it stands; the connection then stays open until the next
// send or until the object is destroyed.
#include "engine/sender.h"

#include <cmath>
#include <cstddef>
#include <exception>
#include <limits>
#include <utility>

#include "base/numbers.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "engine/routing.h"
#include "engine/send_log.h"
#include "media/bascommon.h"
#include "protocols/tap_session.h"
#include "protocols/ucp_session.h"

namespace mvsms {
namespace {

constexpr std::int32_t kErrNotConfigured = 5;
constexpr std::int32_t kErrEmptyMessage = 6;
constexpr std::int32_t kErrNoRecipient = 12;
constexpr std::int32_t kErrNoServiceInfo = 22;
constexpr std::int32_t kErrMessageTooLong = 24;
constexpr std::int32_t kErrModemUnusable = 25;
constexpr std::int32_t kErrInternal = 51;
constexpr std::int32_t kErrObjectNotSet = 91;

constexpr char kModuleName[] = "Sender.SendMessage";
constexpr char kFrame[] = "****************** ";

constexpr std::int32_t kTransaction = 0;  // the same for every piece

/// What the pipeline has to know about a protocol.
struct Protocol {
  const char* name;
  bool software_flow_control;
  bool (*send_piece)(SessionHost& host, const std::string& Recipient, const std::string& Sender,
                     std::string& Message, ServiceRecord& Service, std::int32_t TRN);
};
constexpr Protocol kProtocols[] = {
    {"TAP", true, SendTapMessage},
    {"UCP", false, SendUCPMessage},
};

const Protocol* FindProtocol(const std::string& name) {
  for (const Protocol& protocol : kProtocols) {
    if (name == protocol.name) return &protocol;
  }
  return nullptr;
}

std::string DateAndTime(Clock& clock) { return clock.ShortDate() + " " + clock.TimeOfDay(); }

std::int32_t Capacity(const ServiceRecord& service) {
  const std::int64_t product = std::int64_t{service.MaxMessages} * service.MaxLength;
  if (product < std::numeric_limits<std::int32_t>::min() ||
      product > std::numeric_limits<std::int32_t>::max()) {
    RaiseOverflow();
  }
  return static_cast<std::int32_t>(product);
}

/// Raises an event to the host. The handler is a copy, for it may unbind itself.
template <class Event, class... Arguments>
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void Raise(Event handler, Arguments&... arguments) {
  try {
    if (handler) handler(arguments...);
  } catch (...) {
    // The host's own failure, see the header.
  }
}

/// A status window that cannot be made, written or closed is done without: neither the text nor the
/// result of a send depends on it.
template <class Use>
void UseStatusWindow(Use use) {
  try {
    use();
  } catch (const std::exception&) {
    // It shows nothing more; the events say all that it would have.
  }
}

/// Marks the line as in use for as long as this exists. An event that the host receives meanwhile
/// must not lead to a second send, which would take the line from under the first.
class LineInUse {
 public:
  explicit LineInUse(bool& mark) : mark_(mark), before_(std::exchange(mark, true)) {}
  ~LineInUse() { mark_ = before_; }
  LineInUse(const LineInUse&) = delete;
  LineInUse& operator=(const LineInUse&) = delete;

 private:
  bool& mark_;
  const bool before_;
};

}  // namespace

/// One call of SendMessage: the host's variables, and what the steps found.
struct Sender::Attempt {
  std::string& recipient;
  const std::string& originator;
  std::string& message;
  std::string& service_name;
  std::string routing_address{};
  ServiceRecord service{};
  const Protocol* protocol = nullptr;
  std::int32_t medium_error = 0;  // as the medium last set it
  std::string medium_message{};
};

Sender::Sender(Apartment& apartment, StatusWindowFactory status_window)
    : apartment_(apartment), make_status_window_(std::move(status_window)) {}

Sender::~Sender() = default;

bool Sender::SendMessage(std::string& Recipient, std::string& Originator, std::string& Message,
                         std::string& ServiceName) {
  if (line_in_use_) return FailForModem(modem_);
  Attempt attempt{Recipient, Originator, Message, ServiceName};
  OpenReport();
  const bool sent = Attempted(attempt);
  CloseReport(sent);
  return sent;
}

bool Sender::Attempted(Attempt& attempt) {
  try {
    Begin(attempt);
    const bool prepared = LoadSettings() && TakeMessage(attempt) && ResolveRecipient(attempt) &&
                          ChooseService(attempt) && CheckLength(attempt);
    const bool sent = Transmit(attempt, prepared);
    End(sent);
    return sent;
  } catch (const RaisedError& error) {  // unforeseen: no closing steps
    return BreakOff(error.number(), error.description());
  } catch (const std::exception& error) {
    return BreakOff(kErrInternal, error.what());
  } catch (...) {  // what the host throws in its message loop, which runs within a send
    return BreakOff(kErrInternal, "Unknown error");
  }
}

void Sender::OpenReport() {
  Clock& clock = apartment_.platform().clock();
  report_ = {};
  report_.started = clock.LocalTime();
  report_opened_ = clock.Now();
}

void Sender::CloseReport(bool sent) {
  Clock& clock = apartment_.platform().clock();
  report_.result = sent;
  report_.aborted = abort;
  report_.ended = clock.LocalTime();
  report_.duration = clock.Now() - report_opened_;
}

/// An error that no step foresees.
bool Sender::BreakOff(std::int32_t number, const std::string& description) {
  report_.unforeseen = true;
  return Fail(number, description);
}

/// What happens on the line. Closes also what an earlier send left open, when there is nothing to
/// send.
bool Sender::Transmit(Attempt& attempt, bool prepared) {
  const LineInUse in_use(line_in_use_);
  const bool sent = prepared && (GoesOn(attempt) || (SetUpMedium(attempt) && Connect(attempt))) &&
                    SendPieces(attempt);
  CloseConnection(attempt);
  return sent;
}

void Sender::AbortAction() {
  if (medium_ != nullptr) medium_->AbortAction();
  abort = true;
}

bool Sender::HasLine() const { return line_kept_ && objTapiLine_->HasCall(); }

void Sender::HangUp() {
  if (!std::exchange(line_kept_, false)) return;
  const LineInUse in_use(line_in_use_);
  std::int32_t error = 0;
  std::string message;
  CloseLine(error, message);
}

void Sender::Begin(const Attempt& attempt) {
  RetrySuggested = false;
  retry = false;
  AddStatus(kFrame + DateAndTime(apartment_.platform().clock()) + " - Begin send message to " +
            attempt.recipient + "\r\n");
}

bool Sender::LoadSettings() {
  Reached(SendStep::kSettings);
  return GetSettings(registry(), HostAppName, settings_) ||
         Fail(kErrNotConfigured, "Unable to load settings. SMS must be configured first!");
}

bool Sender::TakeMessage(Attempt& attempt) {
  Reached(SendStep::kMessage);
  attempt.message = Trim(attempt.message);
  if (attempt.message.empty()) {
    return Fail(kErrEmptyMessage, "Message is empty! Please specify a message!");
  }
  AddStatus("Preparing input data.");
  return true;
}

bool Sender::ResolveRecipient(Attempt& attempt) {
  Reached(SendStep::kRecipient);
  // Once for the routing table and once for the service, as two steps that hosts know: an address
  // that does not pass is reported by each of them.
  attempt.routing_address = FixAddress(attempt.recipient);
  attempt.recipient = FixAddress(attempt.recipient);
  return (!attempt.routing_address.empty() && !attempt.recipient.empty()) ||
         Fail(kErrNoRecipient, "Unable to parse recipient address.");
}

bool Sender::ChooseService(Attempt& attempt) {
  Reached(SendStep::kService);
  std::string& name = attempt.service_name;
  if (name.empty()) name = FindService(registry(), HostAppName, attempt.routing_address);
  AddStatus(name.empty() ? "Entry not found in routing table; using default service: " +
                               settings_.DefaultService
                         : "Found entry in routing table; using service: " + name);
  const bool known = GetServiceInfo(registry(), HostAppName, settings_, attempt.service, name);
  if (!Modem.empty()) attempt.service.ModemName = Modem;
  report_.service = name;
  report_.protocol = attempt.service.Protocol;
  report_.modem = attempt.service.ModemName;
  report_.secret = attempt.service.Password;
  return known || Fail(kErrNoServiceInfo, "Unable to get service information for " + name);
}

bool Sender::CheckLength(const Attempt& attempt) {
  const std::size_t length = attempt.message.size();
  const std::int32_t capacity = Capacity(attempt.service);
  if (capacity > 0) Reached(SendStep::kLength);
  if (static_cast<std::int64_t>(length) <= capacity) return true;
  return Fail(kErrMessageTooLong,
              "Message is too long (" + std::to_string(length) + ") to send in one session. (" +
                  std::to_string(attempt.service.MaxMessages) + " messages per session * " +
                  std::to_string(attempt.service.MaxLength) +
                  " chars per message = " + std::to_string(capacity) + ")");
}

/// Takes up the line that was kept, when it serves this message, too; else hangs it up. What the
/// centre has said meanwhile is no answer to what comes now.
bool Sender::GoesOn(Attempt& attempt) {
  if (!line_kept_) return false;
  if (!HasLine() || line_service_ != attempt.service) {
    HangUp();
    return false;
  }
  line_kept_ = false;
  attempt.protocol = FindProtocol(attempt.service.Protocol);
  report_.dialled = objTapiLine_->TranslatedNumber();
  report_.line_end = LineEnd::kLeftOpen;
  static_cast<void>(medium_->Receive());
  return true;
}

/// A service with an unknown protocol gets no medium; that shows when it is to connect.
bool Sender::SetUpMedium(Attempt& attempt) {
  const ServiceRecord& service = attempt.service;
  Reached(SendStep::kProtocol);
  attempt.protocol = FindProtocol(service.Protocol);
  if (attempt.protocol == nullptr) return true;

  Reached(SendStep::kModem);
  logged_in = false;
  medium_ = nullptr;
  objTapiLine_.reset();  // a line that an earlier send left open must free its modem first
  modem_ = service.ModemName;
  objTapiLine_ = std::make_unique<TAPILine>(
      apartment_,
      [this](std::int32_t ErrNumber, const std::string& FunctionName, const std::string& ErrMsg) {
        const LineInUse in_use(line_in_use_);
        ReportError(ErrNumber, ErrMsg, FunctionName);
      },
      [this](const std::string& text) { Log(text); });
  if (!objTapiLine_->SetDevice(modem_)) return FailForModem(modem_);
  objTapiLine_->SetParams(service.BaudRate, service.Parity, service.DataBits, service.StopBits,
                          attempt.protocol->software_flow_control);
  objTapiLine_->PhoneNumber = service.PhoneNumber;
  AddStatus("Dialling " + service.Name + " (" + service.PhoneNumber +
            ") using modem: " + service.ModemName);
  medium_ = objTapiLine_.get();
  line_service_ = service;
  return true;
}

bool Sender::Connect(Attempt& attempt) {
  if (attempt.protocol == nullptr) {
    throw RaisedError(kErrObjectNotSet, kModuleName,
                      "Object reference is not set: there is no medium for the protocol \"" +
                          attempt.service.Protocol + "\"");
  }
  Reached(SendStep::kCall);
  const bool connected = medium_->Connect(attempt.medium_error, attempt.medium_message);
  report_.dialled = objTapiLine_->TranslatedNumber();
  report_.call_cause = objTapiLine_->LastCause();
  report_.call_refusal = objTapiLine_->LastWords();
  if (connected) report_.line_end = LineEnd::kLeftOpen;
  AddStatus("Dialed number: " + report_.dialled);
  if (!connected) return Fail(attempt.medium_error, attempt.medium_message);
  AddStatus("Connected.");
  return true;
}

bool Sender::SendPieces(Attempt& attempt) {
  bool accepted = false;
  std::vector<std::string> pieces = CutMessage(attempt.message, attempt.service.MaxLength);
  report_.pieces_in_all = static_cast<std::int32_t>(pieces.size());
  if (pieces.empty()) Reached(SendStep::kProtocol);  // the service's pieces are too long to be real
  for (std::string& piece : pieces) {
    accepted = attempt.protocol->send_piece(*this, attempt.recipient, attempt.originator, piece,
                                            attempt.service, kTransaction);
    if (!accepted) break;
    ++report_.pieces_accepted;
  }
  return accepted;
}

void Sender::CloseConnection(Attempt& attempt) {
  if (line_kept_) return;  // this message did not come to the line
  line_kept_ = KeepsLine && !abort && medium_ != nullptr && logged_in && objTapiLine_->HasCall();
  if (line_kept_) {
    report_.line_end = LineEnd::kKept;
  } else {
    CloseLine(attempt.medium_error, attempt.medium_message);
  }
}

void Sender::CloseLine(std::int32_t& error, std::string& message) {
  if (medium_ != nullptr) {
    AddStatus("Closing connection..");
    if (report_.line_end == LineEnd::kLeftOpen) {
      report_.line_end = objTapiLine_->HasCall() ? LineEnd::kByUs : LineEnd::kLost;
    }
    if (medium_->Disconnect(error, message)) {
      AddStatus("Connection closed.");
    } else {
      Fail(error, "Error closing connection: " + message);
    }
  }
  medium_ = nullptr;
  objTapiLine_.reset();
}

void Sender::End(bool sent) {
  AddStatus(kFrame + DateAndTime(apartment_.platform().clock()) +
            " - End sending message. Result:  " + (sent ? "Success" : "Failed"));
  UseStatusWindow([this] {
    if (status_window_) status_window_->StartHide();
  });
}

/// Reports a failure of the pipeline itself.
bool Sender::Fail(std::int32_t number, const std::string& description) {
  ReportError(number, description, kModuleName);
  return false;
}

bool Sender::FailForModem(const std::string& modem) {
  return Fail(kErrModemUnusable, "The selected modem (" + modem + ") cannot be used");
}

std::string Sender::FixAddress(std::string& address) {
  return mvsms::FixAddress(
      registry(), HostAppName, address,
      [this](std::int32_t number, const std::string& description, const std::string& module_name) {
        ReportError(number, description, module_name);
      });
}

/// A session asks for a retry by its flag, and always says why in a status line; with that line the
/// wish reaches the host, so that a handler of the line finds RetrySuggested set.
void Sender::TakeOverRetry() {
  if (std::exchange(retry, false)) RetrySuggested = true;
}

void Sender::AddStatus(const std::string& Text) {
  TakeOverRetry();
  Status += "\r\n";
  Status += Text;
  if (settings_.ShowStatus) Show();
  Log(Text);
  Raise(OnStatusChange, Status);
}

/// Brings the text to the status window.
void Sender::Show() {
  UseStatusWindow([this] {
    if (!status_window_ && make_status_window_) {
      status_window_ = make_status_window_();
      status_window_->Show();
    }
    if (status_window_) status_window_->SetText(Status);
  });
}

void Sender::Log(const std::string& text) {
  if (LogFilePath.empty() && !settings_.WriteLogfile) return;
  basCommon::WriteLog(apartment_.platform(), text, LogFilePath);
}

void Sender::ReportError(std::int32_t ErrNumber, const std::string& ErrDescription,
                         const std::string& ModuleName) {
  report_.errors.push_back({ErrNumber, ErrDescription, ModuleName});
  AddStatus(std::to_string(ErrNumber) + ": " + ErrDescription);
  std::string description = ErrDescription;
  std::string module_name = ModuleName;
  Raise(OnError, ErrNumber, description, module_name);
  Raise(OnStatusChange, Status);
}

void Sender::Pause(std::int32_t Milliseconds) {
  basCommon::Pause(apartment_.platform().loop(), Milliseconds);
}

void Sender::DoEvents() { apartment_.platform().loop().DoEvents(); }

void Sender::HandsOver(const std::string& block) {
  Reached(SendStep::kAnswer);
  report_.pieces.push_back({block, objTapiLine_->HasCall(), {}, objTapiLine_->Waiting()});
}

void Sender::Heard(const std::string& answer) {
  if (answer.empty()) return;
  (report_.pieces.empty() ? report_.login_answer : report_.pieces.back().answer) = answer;
}

std::vector<std::string> CutMessage(const std::string& message, std::int32_t max_length) {
  const double quotient = static_cast<double>(message.size()) / max_length;
  const double count = std::floor(quotient + 0.9999);
  std::vector<std::string> pieces;
  for (std::size_t position = 0; static_cast<double>(pieces.size()) < count;) {
    pieces.push_back(message.substr(position, static_cast<std::size_t>(max_length)));
    position += static_cast<std::size_t>(max_length);
  }
  return pieces;
}

}  // namespace mvsms
