// The class Sender as hosts see it: the engine's Sender behind a dual interface and events.

#include "backends/win32/path.h"
#include "backends/win32/text.h"
#include "com/com_object.h"
#include "com/connection_points.h"
#include "com/dispatch.h"
#include "com/server.h"
#include "com/thread_apartment.h"
#include "engine/sender.h"
#include "ui/frmstatus.h"

namespace mvsms::com {
namespace {

constexpr DISPID kErrorEvent = 1;
constexpr DISPID kStatusChangeEvent = 2;

HRESULT Give(const std::wstring& text, BSTR* target) {
  if (!target) return E_POINTER;
  *target = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  return *target ? S_OK : E_OUTOFMEMORY;
}

HRESULT Give(const std::string& text, BSTR* target) {
  return Give(win32::WideFromAnsi(text), target);
}

HRESULT Give(bool value, VARIANT_BOOL* target) {
  if (!target) return E_POINTER;
  *target = value ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

/// A text argument that the caller gets back changed: read at the start, written at the end.
class InOutText {
 public:
  explicit InOutText(BSTR* argument)
      : argument_(argument), before_(argument ? win32::AnsiFromBstr(*argument) : std::string()) {
    text = before_;
  }
  /// Cannot fail, for the message has been sent, and a host that is told of a failure sends it
  /// again: a text for which there is no memory stays what it was. One that was not changed keeps
  /// even the characters that the code page lacks.
  void WriteBack() noexcept {
    if (!argument_ || text == before_) return;
    try {
      win32::Bstr changed(text);
      if (changed.Get()) std::swap(*argument_, *changed.InOut());
    } catch (const std::bad_alloc&) {
    }
  }
  std::string text;

 private:
  BSTR* argument_;
  std::string before_;
};

/// A by-reference text argument of an event.
VARIANT Reference(win32::Bstr& text) {
  VARIANT reference;
  reference.vt = VT_BYREF | VT_BSTR;
  reference.pbstrVal = text.InOut();
  return reference;
}

class SenderObject final
    : public ComObject<
          SenderObject, Implements<DispatchOver<_Sender, IID__Sender>, IID__Sender>,
          Implements<IProvideClassInfo2, IID_IProvideClassInfo2, IID_IProvideClassInfo>,
          Implements<IConnectionPointContainer, IID_IConnectionPointContainer>,
          Implements<ISupportErrorInfo, IID_ISupportErrorInfo>> {
 public:
  SenderObject()
      : apartment_(ThreadApartment()),
        events_(*this, DIID___Sender),
        sender_(*apartment_, StatusWindowOn(apartment_->platform())) {
    sender_.OnError = [this](std::int32_t& number, std::string& description, std::string& module) {
      FireError(number, description, module);
    };
    sender_.OnStatusChange = [this](std::string& status) { FireStatusChange(status); };
  }

  // _Sender
  HRESULT STDMETHODCALLTYPE get_Status(BSTR* value) override {
    return Call([&] { return Give(sender_.Status, value); });
  }
  HRESULT STDMETHODCALLTYPE put_Status(BSTR value) override {
    return Call([&] { return Take(value, sender_.Status); });
  }
  HRESULT STDMETHODCALLTYPE get_RetrySuggested(VARIANT_BOOL* value) override {
    return Call([&] { return Give(sender_.RetrySuggested, value); });
  }
  HRESULT STDMETHODCALLTYPE put_RetrySuggested(VARIANT_BOOL value) override {
    sender_.RetrySuggested = value != VARIANT_FALSE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_HostAppName(BSTR* value) override {
    return Call([&] { return Give(sender_.HostAppName, value); });
  }
  HRESULT STDMETHODCALLTYPE put_HostAppName(BSTR value) override {
    return Call([&] { return Take(value, sender_.HostAppName); });
  }
  HRESULT STDMETHODCALLTYPE AbortAction() override {
    return Call([&] {
      sender_.AbortAction();
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE SendMessage(BSTR* recipient, BSTR* sender, BSTR* message,
                                        BSTR* service_name, VARIANT_BOOL* result) override {
    if (!result) return E_POINTER;  // nothing is sent that cannot be answered for
    *result = VARIANT_FALSE;
    return Call([&] {
      InOutText recipient_text(recipient);
      InOutText sender_text(sender);
      InOutText message_text(message);
      InOutText service_text(service_name);
      const bool sent = sender_.SendMessage(recipient_text.text, sender_text.text,
                                            message_text.text, service_text.text);
      recipient_text.WriteBack();
      sender_text.WriteBack();
      message_text.WriteBack();
      service_text.WriteBack();
      return Give(sent, result);
    });
  }
  HRESULT STDMETHODCALLTYPE get_LogFilePath(BSTR* value) override {
    return Call([&] { return Give(win32::WideFromPath(sender_.LogFilePath), value); });
  }
  HRESULT STDMETHODCALLTYPE put_LogFilePath(BSTR value) override {
    return Call([&] {
      sender_.LogFilePath = win32::PathFromWide({value, ::SysStringLen(value)});
      return S_OK;
    });
  }

  // IProvideClassInfo2
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    return AsHresult(IID_IProvideClassInfo, [&] { return GiveTypeInfo(CLSID_Sender, info); });
  }
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* guid) override {
    if (!guid) return E_POINTER;
    if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
    *guid = DIID___Sender;
    return S_OK;
  }

  // IConnectionPointContainer
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** enumerator) override {
    return AsHresult(IID_IConnectionPointContainer,
                     [&] { return EnumerateConnectionPoint(events_, enumerator); });
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    if (!point) return E_POINTER;
    *point = nullptr;
    if (iid != DIID___Sender) return CONNECT_E_NOCONNECTION;
    events_.AddRef();
    *point = &events_;
    return S_OK;
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    return iid == IID__Sender ? S_OK : S_FALSE;
  }

 private:
  friend class ComObject;
  ~SenderObject() = default;

  /// Runs an operation with the object kept alive: the host may release it from inside an event.
  template <typename Action>
  HRESULT Call(Action action) {
    AddRef();
    const HRESULT result = AsHresult(IID__Sender, action);
    Release();
    return result;
  }

  static HRESULT Take(BSTR value, std::string& target) {
    target = win32::AnsiFromBstr(value);
    return S_OK;
  }

  void FireError(std::int32_t& number, std::string& description, std::string& module) {
    if (events_.sinks().size() == 0) return;
    long number_value = number;
    win32::Bstr description_value(description);
    win32::Bstr module_value(module);
    VARIANT number_reference;
    number_reference.vt = VT_BYREF | VT_I4;
    number_reference.plVal = &number_value;
    std::vector<VARIANT> arguments{Reference(module_value), Reference(description_value),
                                   number_reference};
    events_.sinks().Fire(kErrorEvent, arguments);
    number = number_value;
    description = description_value.Ansi();
    module = module_value.Ansi();
  }

  void FireStatusChange(std::string& status) {
    if (events_.sinks().size() == 0) return;
    win32::Bstr value(status);
    std::vector<VARIANT> arguments{Reference(value)};
    const std::string before = value.Ansi();  // not every code page gives back what it was given
    events_.sinks().Fire(kStatusChangeEvent, arguments);
    // A sink that changed its argument changes Status; one that assigned Status keeps that.
    const std::string after = value.Ansi();
    if (after != before) status = after;
  }

  const std::shared_ptr<Apartment> apartment_;
  ConnectionPoint events_;
  mvsms::Sender sender_;
};

}  // namespace

HRESULT CreateSender(REFIID iid, void** object) {
  return AsHresult(IID__Sender, [&] {
    auto* sender = new SenderObject;
    const HRESULT result = sender->QueryInterface(iid, object);
    sender->Release();
    return result;
  });
}

}  // namespace mvsms::com
