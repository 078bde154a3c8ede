// The telephony session of one modem.
#include "media/tapiobject.h"

#include <array>
#include <chrono>
#include <exception>
#include <utility>

#include "base/guard.h"
#include "base/raised_error.h"
#include "media/bascommon.h"

namespace mvsms {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kConnectTime = 40s;
constexpr std::int32_t kCheckInterval = 500;  // ms
constexpr std::int32_t kCallbackInstance = 1;
constexpr char kNameSeparator = '\t';

constexpr std::array<std::string_view, 8> kCauseTexts = {
    "None", "Normal", "Busy", "Invalid Number", "No answer", "Cancelled", "Rejected", "Failed",
};

}  // namespace

std::string_view DisconnectCauseText(std::int32_t cause) {
  const auto index = static_cast<std::size_t>(static_cast<std::uint32_t>(cause));
  return index < kCauseTexts.size() ? kCauseTexts[index] : std::string_view();
}

TapiObject::TapiObject(Telephony& telephony, EventLoop& loop, Clock& clock)
    : telephony_(telephony), loop_(loop), clock_(clock) {}

TapiObject::~TapiObject() {
  OnError = nullptr;
  UnInit();
  Disconnect();
}

void TapiObject::Init() {
  Reporting("Init", false, [this] {
    auto tapi = telephony_.CreateTapi();
    tapi->Initialize();
    tapi->PutEventFilter(kTeCallState);
    tapi->SetEventSink([this](std::int32_t tapi_event, ITCallStateEvent* event) {
      gobjTapiWithEvents_Event(tapi_event, event);
    });
    gobjTapiWithEvents_ = std::move(tapi);
    registration_ = kNoRegistration;
    return true;
  });
}

void TapiObject::UnInit() {
  Reporting("UnInit", false, [this] {
    address_.reset();
    if (!gobjTapiWithEvents_) return true;
    gobjTapiWithEvents_->SetEventSink({});
    Unregister();
    gobjTapiWithEvents_->Shutdown();
    gobjTapiWithEvents_.reset();
    return true;
  });
}

std::string TapiObject::GetLines() {
  if (!RequireInit("GetLines")) return {};
  return Reporting("GetLines", std::string(), [this] {
    std::string lines;
    for (const auto& address : gobjTapiWithEvents_->GetAddresses()) {
      if (!address->QueryMediaType(kTapiMediaTypeDataModem)) continue;
      lines += address->AddressName() + kNameSeparator;
    }
    if (lines.ends_with(kNameSeparator)) lines.pop_back();
    return lines;
  });
}

bool TapiObject::SetDevice(const std::string& DeviceName) {
  if (!RequireInit("SetDevice")) return false;
  return Reporting("SetDevice", false, [&] {
    auto address = FindAddress(DeviceName);
    if (!address) {
      Report(kErrDeviceUnknown, "SetDevice", "This device does not exist!");
      return false;
    }
    if (!address->QueryMediaType(kTapiMediaTypeDataModem)) {
      Report(kErrDeviceNoDataModem, "SetDevice",
             "The selected device does not support data modem mode!");
      return false;
    }
    return Select(std::move(address));
  });
}

std::shared_ptr<ITAddress> TapiObject::FindAddress(const std::string& name) {
  for (auto& address : gobjTapiWithEvents_->GetAddresses()) {
    if (address->AddressName() == name) return address;
  }
  return nullptr;
}

bool TapiObject::Select(std::shared_ptr<ITAddress> address) {
  address_.reset();
  Unregister();
  try {
    registration_ = gobjTapiWithEvents_->RegisterCallNotifications(
        address, true, false, kTapiMediaTypeDataModem, kCallbackInstance);
  } catch (const std::exception&) {  // whatever the service says, the line is not available
  }
  if (registration_ == kNoRegistration) {
    throw RaisedError(
        kErrDeviceInUse, "SetDevice",
        "The selected device is in use by another application and cannot be selected!");
  }
  address_ = std::move(address);
  return true;
}

/// The registration counts as gone even when the service refuses, so that a later UnInit succeeds.
void TapiObject::Unregister() {
  const std::int32_t registration = std::exchange(registration_, kNoRegistration);
  if (registration != kNoRegistration) gobjTapiWithEvents_->UnregisterNotifications(registration);
}

bool TapiObject::Connect(const std::string& PhoneNumber, CommHandle& comm_handle) {
  if (!RequireInit("Connect")) return false;
  if (!address_) {
    Report(kErrNoDevice, "Connect", "No Device is selected!");
    return false;
  }
  return Reporting("Connect", false, [&] {
    // An event handler may drop the call during the wait, so a reference of our own is needed.
    const auto call = StartCall(PhoneNumber);
    const auto deadline = clock_.Now() + kConnectTime;
    call->Connect(false);
    AwaitOutcome(*call, deadline);
    if (call->GetCallState() == CallState::kConnected && !Abort) {
      comm_handle = TakePort(*call);
      return true;
    }
    DropCall();
    if (!Abort) {
      Report(kErrUnableToConnect, "Connect",
             "Unable to connect, reason: " + std::string(DisconnectCauseText(last_cause_)));
    }
    return false;
  });
}

std::shared_ptr<ITBasicCallControl> TapiObject::StartCall(const std::string& number) {
  TranslatedNumber = address_->TranslateAddress(number, 0, 0)->DialableString();
  call_ =
      address_->CreateCall(TranslatedNumber, kLineAddressTypePhoneNumber, kTapiMediaTypeDataModem);
  last_cause_ = 0;
  last_words_.clear();
  return call_;
}

void TapiObject::AwaitOutcome(ITBasicCallControl& call, std::chrono::milliseconds deadline) {
  basCommon::Pause(loop_, kCheckInterval);
  while (call.GetCallState() == CallState::kInProgress && clock_.Now() < deadline && !Abort) {
    loop_.DoEvents();
    basCommon::Pause(loop_, kCheckInterval);
  }
}

CommHandle TapiObject::TakePort(ITBasicCallControl& call) {
  if (!port_handles_) port_handles_ = telephony_.CreatePortHandleProvider();
  CommHandle handle = kNoComm;
  if (port_handles_->GetPortHandle("comm/datamodem", call, handle) != 0) {
    throw RaisedError(kErrNoCommHandle, "Connect", "Failed to get Comm-Handle!");
  }
  return handle;
}

bool TapiObject::IsConnected() {
  return Reporting("IsConnected", false, [this] {
    if (!call_) return false;
    if (call_->GetCallState() == CallState::kConnected) return true;
    DropCall();
    return false;
  });
}

bool TapiObject::Disconnect() {
  return Reporting("Disconnect", false, [this] {
    DropCall();
    return true;
  });
}

void TapiObject::DropCall() {
  if (!call_) return;
  call_->Disconnect(kDcNormal);
  call_.reset();
}

void TapiObject::gobjTapiWithEvents_Event(std::int32_t TapiEvent, ITCallStateEvent* pEvent) {
  if (TapiEvent != kTeCallState || pEvent == nullptr) return;
  Reporting("gobjTapiWithEvents_Event", false, [&] {
    last_cause_ = static_cast<std::int32_t>(pEvent->Cause());
    last_words_ = pEvent->Words();
    return true;
  });
}

bool TapiObject::RequireInit(const char* function) {
  if (gobjTapiWithEvents_) return true;
  Report(kErrTapiNotInitialized, function, "Tapi-Object is not initialized!");
  return false;
}

void TapiObject::Report(std::int32_t number, const std::string& function, const std::string& text) {
  if (OnError) OnError(number, function, text);
}

template <class Result, class Body>
Result TapiObject::Reporting(const char* function, Result fallback, Body&& body) {
  return Guarded(std::move(fallback), std::forward<Body>(body),
                 [&](std::int32_t number, const std::string& text) {
                   Report(number, std::string("TAPIObject.") + function, text);
                 });
}

}  // namespace mvsms
