// See telephony.h. An address is an index into the machine's lines, so that a test can change a
// line while the program under test holds its address.
#include "backends/memory/telephony.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "backends/memory/call.h"

namespace mvsms::memory {
namespace {

constexpr std::string_view kPortDeviceClass = "comm/datamodem";

std::string WithoutPunctuation(const std::string& number) {
  std::string dialable;
  std::copy_if(number.begin(), number.end(), std::back_inserter(dialable), [](char sign) {
    return std::string_view(" ()-/").find(sign) == std::string_view::npos;
  });
  return dialable;
}

class MemoryTranslation : public ITAddressTranslationInfo {
 public:
  MemoryTranslation(Machine& machine, std::string dialable)
      : machine_(machine), dialable_(std::move(dialable)) {}

  std::string DialableString() override {
    Begin(machine_, "ITAddressTranslationInfo.DialableString");
    return dialable_;
  }

 private:
  Machine& machine_;
  std::string dialable_;
};

class MemoryAddress : public ITAddress {
 public:
  MemoryAddress(const std::shared_ptr<Session>& session, std::size_t index)
      : machine_(session->machine), session_(session), index_(index) {}

  std::string AddressName() override {
    Begin(session_, machine_, "ITAddress.AddressName");
    return line().name;
  }

  bool QueryMediaType(std::int32_t media_type) override {
    Begin(session_, machine_, "ITAddress.QueryMediaType");
    return Carries(media_type);
  }

  std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                             std::int32_t, std::int32_t) override {
    Begin(session_, machine_, "ITAddress.TranslateAddress");
    const auto& translate = line().translate;
    return std::make_shared<MemoryTranslation>(
        machine_, translate ? translate(number) : WithoutPunctuation(number));
  }

  void TranslateDialog(WindowHandle owner, const std::string& number) override {
    Begin(session_, machine_, "ITAddress.TranslateDialog");
    machine_.platform.translate_dialogs.emplace_back(line().name, number, owner);
  }

  std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination, std::int32_t,
                                                 std::int32_t media_types) override {
    static constexpr char kOperation[] = "ITAddress.CreateCall";
    const auto session = Begin(session_, machine_, kOperation);
    if (!Carries(media_types)) {
      throw RaisedError(kInvalidMediaType, kOperation, "The line has no such media type");
    }
    return std::make_shared<MemoryCall>(session, index_, destination);
  }

  const Line& line() const { return LineAt(machine_, index_); }

 private:
  bool Carries(std::int32_t media_types) const {
    return media_types == kTapiMediaTypeDataModem && line().data_modem;
  }

  Machine& machine_;
  std::weak_ptr<Session> session_;
  std::size_t index_;
};

class MemoryTapi : public ITTAPI {
 public:
  MemoryTapi(Machine& machine, std::shared_ptr<Session> session)
      : machine_(machine), session_(std::move(session)) {}
  ~MemoryTapi() override { session_->ShutDown(); }

  void Initialize() override {
    Begin(machine_, "ITTAPI.Initialize");
    session_->initialized = true;
  }

  void Shutdown() override {
    Begin(machine_, "ITTAPI.Shutdown");
    session_->ShutDown();
  }

  void PutEventFilter(std::int32_t mask) override {
    Begin(session_, machine_, "ITTAPI.PutEventFilter");
    session_->filter = mask;
  }

  void SetEventSink(EventSink sink) override {
    Begin(machine_, "ITTAPI.SetEventSink");
    session_->sink = std::move(sink);
  }

  std::vector<std::shared_ptr<ITAddress>> GetAddresses() override {
    Begin(session_, machine_, "ITTAPI.GetAddresses");
    std::vector<std::shared_ptr<ITAddress>> addresses;
    addresses.reserve(machine_.platform.lines.size());
    for (std::size_t index = 0; index < machine_.platform.lines.size(); ++index) {
      addresses.push_back(std::make_shared<MemoryAddress>(session_, index));
    }
    return addresses;
  }

  std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address, bool, bool,
                                         std::int32_t, std::int32_t) override {
    static constexpr char kOperation[] = "ITTAPI.RegisterCallNotifications";
    Begin(session_, machine_, kOperation);
    const Line& line = std::static_pointer_cast<MemoryAddress>(address)->line();
    if (line.in_use) {
      throw RaisedError(kAllocated, kOperation, "The line is in use by another program");
    }
    session_->registrations.insert(++last_registration_);
    return last_registration_;
  }

  void UnregisterNotifications(std::int32_t registration) override {
    static constexpr char kOperation[] = "ITTAPI.UnregisterNotifications";
    Begin(session_, machine_, kOperation);
    if (session_->registrations.erase(registration) == 0) {
      throw RaisedError(kInvalidArgument, kOperation, "There is no such registration");
    }
  }

 private:
  Machine& machine_;
  std::shared_ptr<Session> session_;
  std::int32_t last_registration_ = 0;
};

class MemoryPortHandleProvider : public PortHandleProvider {
 public:
  MemoryPortHandleProvider(Machine& machine, MemoryComm& comm) : machine_(machine), comm_(comm) {}

  std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl& call,
                             CommHandle& handle) override {
    if (machine_.Refuses("PortHandleProvider.GetPortHandle")) return kRefusedByTelephony;
    const auto& connected = static_cast<const MemoryCall&>(call);
    if (device_class != kPortDeviceClass) return kInvalidArgument;
    if (connected.state() != CallState::kConnected) return kInvalidCallState;
    if (connected.settings().port_error != 0) return connected.settings().port_error;
    handle = connected.settings().dead_port ? kInvalidComm : comm_.Open(connected.port());
    return 0;
  }

 private:
  Machine& machine_;
  MemoryComm& comm_;
};

}  // namespace

std::unique_ptr<ITTAPI> MemoryTelephony::CreateTapi() {
  Begin(machine_, "Telephony.CreateTapi");
  auto session = std::make_shared<Session>(machine_, loop_);
  std::erase_if(sessions_, [](const auto& ended) { return ended.expired(); });
  sessions_.push_back(session);
  return std::make_unique<MemoryTapi>(machine_, std::move(session));
}

std::unique_ptr<PortHandleProvider> MemoryTelephony::CreatePortHandleProvider() {
  Begin(machine_, "Telephony.CreatePortHandleProvider");
  return std::make_unique<MemoryPortHandleProvider>(machine_, comm_);
}

std::size_t MemoryTelephony::sessions() const {
  return Sum([](const Session& session) { return std::size_t{session.initialized}; });
}

std::size_t MemoryTelephony::registrations() const {
  return Sum([](const Session& session) { return session.registrations.size(); });
}

std::size_t MemoryTelephony::active_calls() const {
  return Sum([](const Session& session) { return session.calls.size(); });
}

std::size_t MemoryTelephony::Sum(const std::function<std::size_t(const Session&)>& count) const {
  std::size_t sum = 0;
  for (const auto& weak : sessions_) {
    if (const auto session = weak.lock()) sum += count(*session);
  }
  return sum;
}

}  // namespace mvsms::memory
