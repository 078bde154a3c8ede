// The telephony service over TAPI 3: each class of the seam holds one COM object and carries the
// calls through. The import libraries lack the identifiers of TAPI 3; they stand in tapi_ids.h.
#include <tapi3.h>

#include <cstdio>
#include <cstring>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/tapi_ids.h"
#include "base/raised_error.h"

namespace mvsms::win32 {
namespace {

/// The system's text for a failure, or its number when there is none.
std::string Describe(HRESULT result) {
  char text[512] = "";
  const DWORD length = ::FormatMessageA(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, static_cast<DWORD>(result), 0, text, sizeof text, nullptr);
  if (length > 0) return std::string(text, length);
  std::snprintf(text, sizeof text, "error 0x%08lX", static_cast<unsigned long>(result));
  return text;
}

/// Raises a failed call as an error that names it.
void Check(HRESULT result, const char* operation) {
  if (SUCCEEDED(result)) return;
  throw RaisedError(result, "TAPI", std::string(operation) + " failed: " + Describe(result));
}

template <typename T>
ComPtr<T> Query(IUnknown* object, REFIID iid, const char* operation) {
  ComPtr<T> found;
  Check(object->QueryInterface(iid, found.PutVoid()), operation);
  return found;
}

class CallStateEvent : public ITCallStateEvent {
 public:
  explicit CallStateEvent(::ITCallStateEvent* event) : event_(event) {}
  CallState State() override {
    ::CALL_STATE state{};
    Check(event_->get_State(&state), "ITCallStateEvent::get_State");
    return static_cast<CallState>(state);
  }
  CallCause Cause() override {
    ::CALL_STATE_EVENT_CAUSE cause{};
    Check(event_->get_Cause(&cause), "ITCallStateEvent::get_Cause");
    return static_cast<CallCause>(cause);
  }

 private:
  ::ITCallStateEvent* event_;  // borrowed for the time of the event
};

class Call : public ITBasicCallControl {
 public:
  explicit Call(ComPtr<::ITBasicCallControl> control)
      : control_(std::move(control)),
        info_(Query<::ITCallInfo>(control_.Get(), tapi::kIID_ITCallInfo, "ITCallInfo")) {}

  CallState GetCallState() override {
    ::CALL_STATE state{};
    Check(info_->get_CallState(&state), "ITCallInfo::get_CallState");
    return static_cast<CallState>(state);
  }
  void Connect(bool synchronous) override {
    Check(control_->Connect(synchronous ? VARIANT_TRUE : VARIANT_FALSE),
          "ITBasicCallControl::Connect");
  }
  void Disconnect(std::int32_t code) override {
    Check(control_->Disconnect(static_cast<::DISCONNECT_CODE>(code)),
          "ITBasicCallControl::Disconnect");
  }
  IUnknown* Native() const { return control_.Get(); }

 private:
  ComPtr<::ITBasicCallControl> control_;
  ComPtr<::ITCallInfo> info_;
};

class TranslationInfo : public ITAddressTranslationInfo {
 public:
  explicit TranslationInfo(ComPtr<::ITAddressTranslationInfo> info) : info_(std::move(info)) {}
  std::string DialableString() override {
    Bstr text;
    Check(info_->get_DialableString(text.Put()), "ITAddressTranslationInfo::get_DialableString");
    return text.Ansi();
  }

 private:
  ComPtr<::ITAddressTranslationInfo> info_;
};

class Address : public ITAddress {
 public:
  explicit Address(ComPtr<::ITAddress> address) : address_(std::move(address)) {}

  std::string AddressName() override {
    Bstr name;
    Check(address_->get_AddressName(name.Put()), "ITAddress::get_AddressName");
    return name.Ansi();
  }

  bool QueryMediaType(std::int32_t media_type) override {
    ComPtr<::ITMediaSupport> media;
    if (FAILED(address_->QueryInterface(tapi::kIID_ITMediaSupport, media.PutVoid()))) return false;
    VARIANT_BOOL supported = VARIANT_FALSE;
    Check(media->QueryMediaType(media_type, &supported), "ITMediaSupport::QueryMediaType");
    return supported != VARIANT_FALSE;
  }

  std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                             std::int32_t card,
                                                             std::int32_t options) override {
    const auto translation = Query<::ITAddressTranslation>(
        address_.Get(), tapi::kIID_ITAddressTranslation, "ITAddressTranslation");
    ComPtr<::ITAddressTranslationInfo> info;
    Check(translation->TranslateAddress(Bstr(number).Get(), card, options, info.Put()),
          "ITAddressTranslation::TranslateAddress");
    return std::make_shared<TranslationInfo>(std::move(info));
  }

  void TranslateDialog(WindowHandle owner, const std::string& number) override {
    const auto translation = Query<::ITAddressTranslation>(
        address_.Get(), tapi::kIID_ITAddressTranslation, "ITAddressTranslation");
    Check(translation->TranslateDialog(static_cast<TAPIHWND>(owner), Bstr(number).Get()),
          "ITAddressTranslation::TranslateDialog");
  }

  std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination,
                                                 std::int32_t address_type,
                                                 std::int32_t media_types) override {
    ComPtr<::ITBasicCallControl> control;
    Check(address_->CreateCall(Bstr(destination).Get(), address_type, media_types, control.Put()),
          "ITAddress::CreateCall");
    return std::make_shared<Call>(std::move(control));
  }

  ::ITAddress* Native() const { return address_.Get(); }

 private:
  ComPtr<::ITAddress> address_;
};

/// Receives the events of the service and hands them to the bound function. Counted by COM: the
/// service may hold it longer than the session lives, so the session unbinds it first.
class NotificationSink final : public ::ITTAPIEventNotification {
 public:
  void Bind(ITTAPI::EventSink sink) { sink_ = std::move(sink); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (iid != IID_IUnknown && iid != tapi::kIID_ITTAPIEventNotification) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<::ITTAPIEventNotification*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

  HRESULT STDMETHODCALLTYPE Event(::TAPI_EVENT tapi_event, IDispatch* object) override {
    const ITTAPI::EventSink sink = sink_;  // the receiver may unbind itself meanwhile
    if (!sink) return S_OK;
    try {
      ComPtr<::ITCallStateEvent> state;
      if (object) object->QueryInterface(tapi::kIID_ITCallStateEvent, state.PutVoid());
      if (state) {
        CallStateEvent event(state.Get());
        sink(tapi_event, &event);
      } else {
        sink(tapi_event, nullptr);
      }
    } catch (...) {
      return E_FAIL;  // nothing may escape into the telephony service
    }
    return S_OK;
  }

 private:
  ~NotificationSink() = default;
  LONG references_ = 1;
  ITTAPI::EventSink sink_;
};

class Tapi : public ITTAPI {
 public:
  Tapi() : sink_(new NotificationSink) {
    Check(::CoCreateInstance(tapi::kCLSID_TAPI, nullptr, CLSCTX_INPROC_SERVER, tapi::kIID_ITTAPI,
                             tapi_.PutVoid()),
          "Creating the telephony service");
  }
  ~Tapi() override { Unadvise(); }

  void Initialize() override { Check(tapi_->Initialize(), "ITTAPI::Initialize"); }
  void Shutdown() override {
    Unadvise();
    Check(tapi_->Shutdown(), "ITTAPI::Shutdown");
  }
  void PutEventFilter(std::int32_t mask) override {
    Check(tapi_->put_EventFilter(mask), "ITTAPI::put_EventFilter");
  }
  void SetEventSink(ITTAPI::EventSink sink) override {
    Unadvise();
    if (!sink) return;
    sink_->Bind(std::move(sink));
    Advise();
  }

  std::vector<std::shared_ptr<ITAddress>> GetAddresses() override {
    ComPtr<::IEnumAddress> enumerator;
    Check(tapi_->EnumerateAddresses(enumerator.Put()), "ITTAPI::EnumerateAddresses");
    std::vector<std::shared_ptr<ITAddress>> addresses;
    for (;;) {
      ComPtr<::ITAddress> address;
      ULONG fetched = 0;
      const HRESULT result = enumerator->Next(1, address.Put(), &fetched);
      Check(result, "IEnumAddress::Next");
      if (result != S_OK || fetched == 0) return addresses;
      addresses.push_back(std::make_shared<Address>(std::move(address)));
    }
  }

  std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address, bool monitor,
                                         bool owner, std::int32_t media_types,
                                         std::int32_t callback_instance) override {
    long registration = -1;
    Check(tapi_->RegisterCallNotifications(
              static_cast<Address&>(*address).Native(), monitor ? VARIANT_TRUE : VARIANT_FALSE,
              owner ? VARIANT_TRUE : VARIANT_FALSE, media_types, callback_instance, &registration),
          "ITTAPI::RegisterCallNotifications");
    return registration;
  }
  void UnregisterNotifications(std::int32_t registration) override {
    Check(tapi_->UnregisterNotifications(registration), "ITTAPI::UnregisterNotifications");
  }

 private:
  void Advise() {
    const auto container = Query<IConnectionPointContainer>(
        tapi_.Get(), IID_IConnectionPointContainer, "IConnectionPointContainer");
    Check(container->FindConnectionPoint(tapi::kIID_ITTAPIEventNotification, point_.Put()),
          "FindConnectionPoint");
    Check(point_->Advise(sink_.Get(), &cookie_), "IConnectionPoint::Advise");
  }
  void Unadvise() {
    sink_->Bind({});
    if (point_) point_->Unadvise(cookie_);
    point_.Reset();
  }

  ComPtr<::ITTAPI> tapi_;
  ComPtr<NotificationSink> sink_;
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

/// The port handle that a data call's GetID answers: for "comm/datamodem" the payload is the handle
/// followed by the device's name.
class LegacyPortHandleProvider : public PortHandleProvider {
 public:
  std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl& call,
                             CommHandle& handle) override {
    ComPtr<::ITLegacyCallMediaControl> control;
    const HRESULT found = static_cast<Call&>(call).Native()->QueryInterface(
        tapi::kIID_ITLegacyCallMediaControl, control.PutVoid());
    if (FAILED(found)) return found;
    DWORD size = 0;
    BYTE* data = nullptr;
    const HRESULT result = control->GetID(Bstr(device_class).Get(), &size, &data);
    if (FAILED(result)) return result;
    HANDLE port = nullptr;
    if (data && size >= sizeof port) std::memcpy(static_cast<void*>(&port), data, sizeof port);
    ::CoTaskMemFree(data);
    if (!port) return E_HANDLE;  // the provider has not opened the port for this call
    handle = reinterpret_cast<CommHandle>(port);
    return 0;
  }
};

class Win32Telephony : public Telephony {
 public:
  std::unique_ptr<ITTAPI> CreateTapi() override { return std::make_unique<Tapi>(); }
  std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() override {
    return std::make_unique<LegacyPortHandleProvider>();
  }
};

}  // namespace

std::unique_ptr<Telephony> MakeTelephony() { return std::make_unique<Win32Telephony>(); }

}  // namespace mvsms::win32
