// Sessions, addresses and calls, see telephony.h.
#include "platform/memory/telephony.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/raised_error.h"

namespace mvsms::memory {

/// A call on one line; it takes the line as it is when it is started.
class MemoryCall : public ITBasicCallControl, public std::enable_shared_from_this<MemoryCall> {
 public:
  MemoryCall(Exchange& exchange, std::string line_name, std::string number)
      : exchange_(exchange), line_name_(std::move(line_name)), number_(std::move(number)) {}
  ~MemoryCall() override {
    if (port_ && port_->connection) port_->connection->NearHangUp();
  }

  CallState GetCallState() override {
    exchange_.Check("ITCallInfo.GetCallState");
    return state_;
  }

  void Connect(bool) override {
    exchange_.Check("ITBasicCallControl.Connect");
    const auto& lines = exchange_.machine.platform().lines;
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&](const Line& line) { return line.name == line_name_; });
    if (found == lines.end()) throw RaisedError(kRefusedByTelephony, "TAPI", "The line has gone");
    line_ = *found;
    state_ = CallState::kInProgress;
    exchange_.calls.push_back(weak_from_this());
    exchange_.machine.After(line_.ring_time, [weak = weak_from_this()] {
      if (const auto call = weak.lock()) call->Finish();
    });
  }

  void Disconnect(std::int32_t) override {
    exchange_.Check("ITBasicCallControl.Disconnect");
    if (line_.hang_up_fails) {
      throw RaisedError(kRefusedByTelephony, "TAPI", "The line does not hang up");
    }
    if (!Active()) return;
    if (port_ && port_->connection) port_->connection->NearHangUp();
    Change(CallState::kDisconnected, CallCause::kDisconnectNormal);
  }

  bool Active() const {
    return state_ == CallState::kInProgress || state_ == CallState::kConnected;
  }
  const Line& line() const { return line_; }
  const std::shared_ptr<MemoryPort>& port() const { return port_; }

 private:
  /// The end of the ringing.
  void Finish() {
    if (state_ != CallState::kInProgress || line_.outcome == CallState::kInProgress) return;
    Change(line_.outcome, line_.cause);
    if (state_ == CallState::kConnected) BringUp();
  }

  void BringUp() {
    port_ = std::make_shared<MemoryPort>(exchange_.machine, line_.port);
    exchange_.machine.platform().ports.push_back(port_);
    port_->connection = std::make_shared<Connection>(
        exchange_.machine, *port_, line_.far_end ? line_.far_end(number_) : nullptr,
        [weak = weak_from_this()] {
          const auto call = weak.lock();
          if (call) call->Change(CallState::kDisconnected, CallCause::kDisconnectNormal);
        });
    port_->connection->Start();
  }

  void Change(CallState state, CallCause cause) {
    state_ = state;
    exchange_.Post(kTeCallState, std::pair(state, cause), true);
  }

  Exchange& exchange_;
  std::string line_name_;
  std::string number_;
  Line line_;
  CallState state_ = CallState::kIdle;
  std::shared_ptr<MemoryPort> port_;  // once connected
};

namespace {

/// The number without what people put between its digits.
std::string WithoutSeparators(std::string number) {
  std::erase_if(number,
                [](char c) { return std::string_view(" ()-/").find(c) != std::string::npos; });
  return number;
}

class TranslationInfo : public ITAddressTranslationInfo {
 public:
  TranslationInfo(Exchange& exchange, std::string dialable)
      : exchange_(exchange), dialable_(std::move(dialable)) {}
  std::string DialableString() override {
    exchange_.Check("ITAddressTranslationInfo.DialableString");
    return dialable_;
  }

 private:
  Exchange& exchange_;
  std::string dialable_;
};

class Address : public ITAddress {
 public:
  Address(Exchange& exchange, Line line) : exchange_(exchange), line_(std::move(line)) {}

  std::string AddressName() override {
    exchange_.Check("ITAddress.AddressName");
    return line_.name;
  }
  bool QueryMediaType(std::int32_t media_type) override {
    exchange_.Check("ITMediaSupport.QueryMediaType");
    return media_type == kTapiMediaTypeDataModem && line_.data_modem;
  }
  std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                             std::int32_t, std::int32_t) override {
    exchange_.Check("ITAddressTranslation.TranslateAddress");
    return std::make_shared<TranslationInfo>(
        exchange_, line_.translate ? line_.translate(number) : WithoutSeparators(number));
  }
  std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination, std::int32_t,
                                                 std::int32_t) override {
    exchange_.Check("ITAddress.CreateCall");
    return std::make_shared<MemoryCall>(exchange_, line_.name, destination);
  }

 private:
  Exchange& exchange_;
  Line line_;
};

class CallStateEvent : public ITCallStateEvent {
 public:
  CallStateEvent(Exchange& exchange, std::pair<CallState, CallCause> state)
      : exchange_(exchange), state_(state) {}
  CallState State() override {
    exchange_.Check("ITCallStateEvent.State");
    return state_.first;
  }
  CallCause Cause() override {
    exchange_.Check("ITCallStateEvent.Cause");
    return state_.second;
  }

 private:
  Exchange& exchange_;
  std::pair<CallState, CallCause> state_;
};

class MemoryPortHandleProvider : public PortHandleProvider {
 public:
  explicit MemoryPortHandleProvider(Exchange& exchange) : exchange_(exchange) {}

  std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl& call,
                             CommHandle& handle) override {
    if (exchange_.machine.Refuses("PortHandleProvider.GetPortHandle")) return kRefusedByTelephony;
    const auto& memory_call = static_cast<MemoryCall&>(call);
    if (memory_call.line().port_error != 0) return memory_call.line().port_error;
    if (device_class != "comm/datamodem" || !memory_call.port()) return kRefusedByTelephony;
    handle = exchange_.comm.Open(memory_call.port());
    return 0;
  }

 private:
  Exchange& exchange_;
};

}  // namespace

class MemoryTapi : public ITTAPI {
 public:
  explicit MemoryTapi(Exchange& exchange) : exchange_(exchange) {}
  ~MemoryTapi() override { std::erase(exchange_.open_sessions, this); }

  void Initialize() override {
    exchange_.Check("ITTAPI.Initialize");
    exchange_.open_sessions.push_back(this);
  }
  void Shutdown() override {
    exchange_.Check("ITTAPI.Shutdown");
    RequireOpen();
    std::erase(exchange_.open_sessions, this);
    registrations_.clear();
  }
  void PutEventFilter(std::int32_t mask) override {
    exchange_.Check("ITTAPI.PutEventFilter");
    RequireOpen();
    filter_ = mask;
  }
  void SetEventSink(EventSink sink) override {
    exchange_.Check("ITTAPI.SetEventSink");
    sink_ = std::move(sink);
  }

  std::vector<std::shared_ptr<ITAddress>> GetAddresses() override {
    exchange_.Check("ITTAPI.GetAddresses");
    RequireOpen();
    std::vector<std::shared_ptr<ITAddress>> addresses;
    for (const Line& line : exchange_.machine.platform().lines) {
      addresses.push_back(std::make_shared<Address>(exchange_, line));
    }
    return addresses;
  }

  std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address, bool, bool,
                                         std::int32_t, std::int32_t) override {
    exchange_.Check("ITTAPI.RegisterCallNotifications");
    RequireOpen();
    const std::string name = address->AddressName();
    for (const Line& line : exchange_.machine.platform().lines) {
      if (line.name == name && line.in_use) {
        throw RaisedError(kRefusedByTelephony, "TAPI", "The line is in use");
      }
    }
    registrations_.insert(++last_registration_);
    return last_registration_;
  }
  void UnregisterNotifications(std::int32_t registration) override {
    exchange_.Check("ITTAPI.UnregisterNotifications");
    RequireOpen();
    if (registrations_.erase(registration) == 0) {
      throw RaisedError(kRefusedByTelephony, "TAPI", "There is no such registration");
    }
  }

  bool Wants(std::int32_t tapi_event) const { return (filter_ & tapi_event) != 0; }
  void Deliver(std::int32_t tapi_event, std::optional<std::pair<CallState, CallCause>> state) {
    const EventSink sink = sink_;  // the receiver may unbind itself
    if (!sink) return;
    if (!state) return sink(tapi_event, nullptr);
    CallStateEvent event(exchange_, *state);
    sink(tapi_event, &event);
  }
  std::size_t registrations() const { return registrations_.size(); }

 private:
  void RequireOpen() const {
    if (std::count(exchange_.open_sessions.begin(), exchange_.open_sessions.end(), this) == 0) {
      throw RaisedError(kRefusedByTelephony, "TAPI", "The telephony session is not initialised");
    }
  }

  Exchange& exchange_;
  EventSink sink_;
  std::int32_t filter_ = 0;
  std::set<std::int32_t> registrations_;
  std::int32_t last_registration_ = 0;
};

void Exchange::Check(std::string_view operation) {
  if (machine.Refuses(operation)) {
    throw RaisedError(kRefusedByTelephony, "TAPI", "Operation failed: " + std::string(operation));
  }
}

void Exchange::Post(std::int32_t tapi_event, std::optional<std::pair<CallState, CallCause>> state,
                    bool filtered) {
  machine.Post([this, tapi_event, state, filtered] {
    const std::vector<MemoryTapi*> sessions_now = open_sessions;
    for (MemoryTapi* session : sessions_now) {
      // A receiver may have ended another session meanwhile.
      if (std::count(open_sessions.begin(), open_sessions.end(), session) == 0) continue;
      if (!filtered || session->Wants(tapi_event)) session->Deliver(tapi_event, state);
    }
  });
}

std::size_t Exchange::active_calls() const {
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [](const auto& weak) {
    const auto call = weak.lock();
    return call && call->Active();
  }));
}

std::size_t Exchange::sessions() const { return open_sessions.size(); }

std::size_t Exchange::registrations() const {
  std::size_t count = 0;
  for (const MemoryTapi* session : open_sessions) count += session->registrations();
  return count;
}

std::unique_ptr<ITTAPI> MemoryTelephony::CreateTapi() {
  exchange_.Check("Telephony.CreateTapi");
  return std::make_unique<MemoryTapi>(exchange_);
}

std::unique_ptr<PortHandleProvider> MemoryTelephony::CreatePortHandleProvider() {
  exchange_.Check("Telephony.CreatePortHandleProvider");
  return std::make_unique<MemoryPortHandleProvider>(exchange_);
}

}  // namespace mvsms::memory
