// The telephony service over TAPI 3: each class of the seam holds one COM object and carries the
// calls through. The import libraries lack the identifiers of TAPI 3; they stand in tapi_ids.h.
#include <tapi.h>
#include <tapi3.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "backends/win32/backend.h"
#include "backends/win32/handles.h"
#include "backends/win32/tapi_ids.h"
#include "backends/win32/tapi_sink.h"
#include "backends/win32/text.h"
#include "base/raised_error.h"

namespace mvsms::win32 {
namespace {

/// The system's text for a failure, or its number when there is none.
std::string Describe(HRESULT result) {
  wchar_t text[512] = L"";
  DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, static_cast<DWORD>(result), 0, text, std::size(text), nullptr);
  while (length > 0 && text[length - 1] == L' ') --length;
  if (length > 0) return AnsiFromWide({text, length});
  char number[32] = "";
  std::snprintf(number, sizeof number, "error 0x%08lX", static_cast<unsigned long>(result));
  return number;
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

  /// The service wants a number or none at all: an empty one is refused.
  void TranslateDialog(WindowHandle owner, const std::string& number) override {
    const auto translation = Query<::ITAddressTranslation>(
        address_.Get(), tapi::kIID_ITAddressTranslation, "ITAddressTranslation");
    const Bstr text(number);
    Check(translation->TranslateDialog(static_cast<TAPIHWND>(owner),
                                       number.empty() ? nullptr : text.Get()),
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

/// Tells the core of an event; nothing may escape into the telephony service or the message loop.
void Tell(const ITTAPI::EventSink& sink, ::TAPI_EVENT event, IDispatch* object) {
  try {
    ComPtr<::ITCallStateEvent> state;
    if (object) object->QueryInterface(tapi::kIID_ITCallStateEvent, state.PutVoid());
    CallStateEvent seen(state.Get());
    sink(event, state ? &seen : nullptr);
  } catch (...) {
    return;
  }
}

class Tapi : public ITTAPI {
 public:
  Tapi() : sink_(new TapiSink) {
    Check(::CoCreateInstance(tapi::kCLSID_TAPI, nullptr, CLSCTX_INPROC_SERVER, tapi::kIID_ITTAPI,
                             tapi_.PutVoid()),
          "Creating the telephony service");
  }
  ~Tapi() override {
    Unadvise();
    if (initialized_) tapi_->Shutdown();
  }

  void Initialize() override {
    Check(tapi_->Initialize(), "ITTAPI::Initialize");
    initialized_ = true;
  }
  void Shutdown() override {
    Unadvise();
    initialized_ = false;
    Check(tapi_->Shutdown(), "ITTAPI::Shutdown");
  }
  void PutEventFilter(std::int32_t mask) override {
    Check(tapi_->put_EventFilter(mask), "ITTAPI::put_EventFilter");
  }
  void SetEventSink(ITTAPI::EventSink sink) override {
    Unadvise();
    if (!sink) return;
    sink_->Bind([sink](::TAPI_EVENT event, IDispatch* object) { Tell(sink, event, object); });
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
    sink_->Unbind();
    if (point_) point_->Unadvise(cookie_);
    point_.Reset();
  }

  ComPtr<::ITTAPI> tapi_;
  ComPtr<TapiSink> sink_;
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
  bool initialized_ = false;
};

/// What a record of the service's is about: all of it or, where it came as a VARSTRING, what that
/// holds. The sizes in the header tell the two apart; a bare record's are a handle and a name.
std::string_view Contents(std::string_view record) {
  VARSTRING header{};
  if (record.size() < sizeof header) return record;
  std::memcpy(&header, record.data(), sizeof header);
  const bool has_header =
      header.dwStringFormat == STRINGFORMAT_BINARY && header.dwUsedSize <= record.size() &&
      header.dwStringOffset >= sizeof header && header.dwStringOffset <= header.dwUsedSize &&
      header.dwStringSize <= header.dwUsedSize - header.dwStringOffset;
  return has_header ? record.substr(header.dwStringOffset, header.dwStringSize) : record;
}

/// The port handle that a data call's GetID answers: for "comm/datamodem" the record is the handle,
/// null before the port is open, followed by the device's name.
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
    const HANDLE port = PortIn(data, size);
    ::CoTaskMemFree(data);
    if (!port) return E_HANDLE;  // the provider has not opened the port for this call
    handle = reinterpret_cast<CommHandle>(port);
    return 0;
  }

 private:
  static HANDLE PortIn(const BYTE* data, DWORD size) {
    if (!data) return nullptr;
    HANDLE port = nullptr;
    const std::string_view record = Contents({reinterpret_cast<const char*>(data), size});
    if (record.size() >= sizeof port) {
      std::memcpy(static_cast<void*>(&port), record.data(), sizeof port);
    }
    return port == INVALID_HANDLE_VALUE ? nullptr : port;
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
