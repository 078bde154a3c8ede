// The TAPI line medium.
#include "media/tapiline.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "base/guard.h"
#include "base/raised_error.h"

namespace mvsms {
namespace {

constexpr std::int32_t kErrConnect = 4570;
constexpr std::int32_t kErrDisconnect = 4571;
constexpr std::int32_t kErrObjectNotSet = 91;
constexpr std::int32_t kPollInterval = 100;  // ms

constexpr std::uint8_t kParityNone = 0;
constexpr std::uint8_t kParityOdd = 1;

/// Sets `value` to the number that `text` spells, ignoring blanks around it; leaves it alone when
/// the text is not a number.
void TakeNumber(std::string_view text, std::int32_t& value) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(' ') + 1));
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) value = number;
}

}  // namespace

TAPILine::TAPILine(Apartment& apartment, ErrorHandler on_error, LogSink send_log)
    : apartment_(apartment),
      on_error_(std::move(on_error)),
      device_(apartment.platform().telephony(), apartment.platform().loop(),
              apartment.platform().clock()) {
  device_.OnError = [this](std::int32_t ErrNumber, const std::string& FunctionName,
                           const std::string& ErrMsg) {
    TapiObject_Error(ErrNumber, FunctionName, ErrMsg);
  };
  Reporting("Class_Initialize", [&] {
    device_.Init();
    port_ = std::make_unique<dwCOMM>(apartment.platform().comm(), std::move(send_log));
    return true;
  });
}

TAPILine::~TAPILine() {
  ReleaseTimer();
  Reporting("Class_Terminate", [this] {
    device_.UnInit();
    return true;
  });
}

std::string TAPILine::TranslatedNumber() const { return device_.TranslatedNumber; }

std::string TAPILine::GetDeviceList() { return device_.GetLines(); }

bool TAPILine::SetDevice(const std::string& DeviceName) { return device_.SetDevice(DeviceName); }

bool TAPILine::SetParams(const std::string& NewBaudrate, const std::string& NewParity,
                         std::int32_t NewDatabits, std::int32_t NewStopbits, bool NewUseXonXoff) {
  TakeNumber(NewBaudrate, baud_rate_);
  parity_ = NewParity == "N" ? kParityNone : kParityOdd;
  data_bits_ = NewDatabits;
  stop_bits_ = NewStopbits;
  use_xon_xoff_ = NewUseXonXoff;
  return false;
}

std::string TAPILine::InputString() { return Receive(); }

bool TAPILine::Connect(std::int32_t& ErrNumber, std::string& ErrMsg) {
  return Reporting("ISMSMedium_Connect", [&] {
    // A timer that outlived its connection would take the new call, still ringing, for an ended
    // one.
    if (mTimer_ && !device_.IsConnected()) ReleaseTimer();
    dwCOMM& port = Port();
    CommHandle comm_handle = kNoComm;
    if (!device_.Connect(PhoneNumber, comm_handle)) {
      ErrNumber = kErrConnect;
      ErrMsg = "Unable to connect to the specified phone number";
      return false;
    }
    port.OpenCommByHandle(comm_handle, *this);
    ProgramPort(port);
    StartPolling();
    return true;
  });
}

/// What is not set here keeps the value that the call's port came with. A device that refuses the
/// record keeps its own settings, often those that the modem negotiated.
void TAPILine::ProgramPort(dwCOMM& port) {
  dwDCB& dcb = port.dcb;
  dcb.SetfNull(true);
  dcb.SetfErrorChar(true);
  dcb.SetErrorChar("~");
  dcb.SetBaudRate(baud_rate_);
  dcb.SetParity(parity_);
  dcb.SetByteSize(data_bits_);
  dcb.SetStopBits(stop_bits_);
  dcb.SetfOutX(use_xon_xoff_);
  dcb.SetfInX(use_xon_xoff_);
  port.SetCommState();
}

void TAPILine::StartPolling() {
  ReleaseTimer();
  mTimer_ = CTimer::Create(apartment_.timers(), apartment_.platform().locale().ComponentName());
  mTimer_->ThatTime = [this] { mTimer_ThatTime(); };
  mTimer_->SetInterval(kPollInterval);
}

/// Lets go of the timer without stopping it: it keeps its slot and ticks to nobody.
void TAPILine::ReleaseTimer() {
  if (mTimer_) mTimer_->ThatTime = nullptr;
  mTimer_.reset();
}

void TAPILine::mTimer_ThatTime() {
  Reporting("mTimer_ThatTime", [this] {
    if (!device_.IsConnected()) {
      ReleaseTimer();
      return true;
    }
    if (port_) port_->Poll();
    return true;
  });
}

bool TAPILine::Disconnect(std::int32_t&, std::string&) {
  return Reporting("ISMSMedium_Disconnect", [this] {
    if (port_) port_->CloseComm();
    if (!device_.Disconnect()) {
      throw RaisedError(kErrDisconnect, "Disconnect", "Unable to disconnect");
    }
    return true;
  });
}

bool TAPILine::Send(const std::string& Message) {
  return Guarded(
      true,
      [&] {
        Port().CommOutput(Message);
        return true;
      },
      [](std::int32_t, const std::string&) {});
}

std::string TAPILine::Receive() { return std::exchange(input_, {}); }

void TAPILine::AbortAction() { device_.Abort = true; }

void TAPILine::CommInput(dwCOMM&, const std::string& commdata) {
  Reporting("CommInput", [&] {
    input_ += commdata;
    return true;
  });
}

void TAPILine::CommEvent(dwCOMM&, const std::string&) {}

void TAPILine::TapiObject_Error(std::int32_t ErrNumber, const std::string& FunctionName,
                                const std::string& ErrMsg) {
  if (on_error_) on_error_(ErrNumber, FunctionName, ErrMsg);
}

/// The port is missing when the system could not provide what it takes to create it.
dwCOMM& TAPILine::Port() {
  if (!port_) throw RaisedError(kErrObjectNotSet, "TAPILine", "There is no port object");
  return *port_;
}

template <class Body>
bool TAPILine::Reporting(const char* function, Body&& body) {
  return Guarded(false, std::forward<Body>(body),
                 [&](std::int32_t number, const std::string& text) {
                   if (on_error_) on_error_(number, std::string("TAPILine.") + function, text);
                 });
}

}  // namespace mvsms
