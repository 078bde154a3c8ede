// A telephony service under a test's full control: it records each operation with its arguments,
// answers as told, and breaks where told.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/raised_error.h"
#include "platform/telephony.h"

namespace mvsms {

class FakeTelephony : public Telephony {
 public:
  struct AddressData {
    std::string name;
    bool data_modem = true;
  };
  static constexpr std::int32_t kBroken = -2147221500;

  // --- what the service is like ---
  std::vector<AddressData> addresses;
  CallState state = CallState::kInProgress;
  std::int32_t registration = 77;
  std::int32_t port_error = 0;
  CommHandle port_handle = 4711;
  std::string broken;  // the operation that throws

  // --- what was asked of it ---
  std::vector<std::string> calls;
  int sessions = 0;
  ITTAPI::EventSink sink;

  void Note(const std::string& operation, const std::string& arguments = {}) {
    calls.push_back(operation + arguments);
    if (operation == broken) throw RaisedError(kBroken, "TAPI", operation + " is broken");
  }
  /// Delivers a call-state event, or another kind of event without its object.
  void Fire(std::int32_t cause, std::int32_t tapi_event = kTeCallState) {
    Event event(*this, static_cast<CallCause>(cause));
    if (sink) sink(tapi_event, &event);
  }

  std::unique_ptr<ITTAPI> CreateTapi() override {
    Note("CreateTapi");
    return std::make_unique<Tapi>(*this);
  }
  std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() override {
    Note("CreatePortHandleProvider");
    return std::make_unique<Provider>(*this);
  }

 private:
  static std::string Arguments(std::initializer_list<std::string> values) {
    std::string text;
    for (const std::string& value : values) text += " " + value;
    return text;
  }
  static std::string Text(std::int32_t value) { return std::to_string(value); }

  struct Event : ITCallStateEvent {
    Event(FakeTelephony& f, CallCause c) : fake(f), cause(c) {}
    CallState State() override { return fake.state; }
    CallCause Cause() override {
      fake.Note("Cause");
      return cause;
    }
    FakeTelephony& fake;
    CallCause cause;
  };

  struct Call : ITBasicCallControl {
    explicit Call(FakeTelephony& f) : fake(f) {}
    CallState GetCallState() override {
      fake.Note("GetCallState");
      return fake.state;
    }
    void Connect(bool synchronous) override { fake.Note("Connect", synchronous ? " 1" : " 0"); }
    void Disconnect(std::int32_t code) override {
      fake.Note("Disconnect", Arguments({Text(code)}));
    }
    FakeTelephony& fake;
  };

  struct Translation : ITAddressTranslationInfo {
    Translation(FakeTelephony& f, std::string n) : fake(f), number(std::move(n)) {}
    std::string DialableString() override {
      fake.Note("DialableString");
      return "T" + number;
    }
    FakeTelephony& fake;
    std::string number;
  };

  struct Address : ITAddress {
    Address(FakeTelephony& f, AddressData d) : fake(f), data(std::move(d)) {}
    std::string AddressName() override {
      fake.Note("AddressName");
      return data.name;
    }
    bool QueryMediaType(std::int32_t media_type) override {
      fake.Note("QueryMediaType", Arguments({Text(media_type)}));
      return data.data_modem;
    }
    std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                               std::int32_t card,
                                                               std::int32_t options) override {
      fake.Note("TranslateAddress", Arguments({data.name, number, Text(card), Text(options)}));
      return std::make_shared<Translation>(fake, number);
    }
    void TranslateDialog(WindowHandle, const std::string&) override {}
    std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination,
                                                   std::int32_t address_type,
                                                   std::int32_t media_types) override {
      fake.Note("CreateCall",
                Arguments({data.name, destination, Text(address_type), Text(media_types)}));
      return std::make_shared<Call>(fake);
    }
    FakeTelephony& fake;
    AddressData data;
  };

  struct Tapi : ITTAPI {
    explicit Tapi(FakeTelephony& f) : fake(f) { ++fake.sessions; }
    ~Tapi() override { --fake.sessions; }
    void Initialize() override { fake.Note("Initialize"); }
    void Shutdown() override { fake.Note("Shutdown"); }
    void PutEventFilter(std::int32_t mask) override {
      fake.Note("PutEventFilter", Arguments({Text(mask)}));
    }
    void SetEventSink(EventSink bound) override {
      fake.Note(bound ? "BindEvents" : "UnbindEvents");
      fake.sink = std::move(bound);
    }
    std::vector<std::shared_ptr<ITAddress>> GetAddresses() override {
      fake.Note("GetAddresses");
      std::vector<std::shared_ptr<ITAddress>> all;
      for (const AddressData& data : fake.addresses) {
        all.push_back(std::make_shared<Address>(fake, data));
      }
      return all;
    }
    std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address, bool monitor,
                                           bool owner, std::int32_t media_types,
                                           std::int32_t callback_instance) override {
      fake.Note("Register", Arguments({static_cast<Address&>(*address).data.name, Text(monitor),
                                       Text(owner), Text(media_types), Text(callback_instance)}));
      return fake.registration;
    }
    void UnregisterNotifications(std::int32_t handle) override {
      fake.Note("Unregister", Arguments({Text(handle)}));
    }
    FakeTelephony& fake;
  };

  struct Provider : PortHandleProvider {
    explicit Provider(FakeTelephony& f) : fake(f) {}
    std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl&,
                               CommHandle& handle) override {
      fake.Note("GetPortHandle", Arguments({device_class}));
      if (fake.port_error == 0) handle = fake.port_handle;
      return fake.port_error;
    }
    FakeTelephony& fake;
  };
};

}  // namespace mvsms
