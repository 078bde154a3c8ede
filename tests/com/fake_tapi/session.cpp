// The root object of the substitute, and the DLL around it.
#include "tests/com/fake_tapi/unused.h"
//
#include <tapi3err.h>

#include <utility>

#include "com/com_object.h"
#include "com/enumerator.h"
#include "tests/com/fake_tapi/address.h"
#include "tests/com/fake_tapi/call.h"
#include "tests/com/fake_tapi/counts.h"
#include "tests/com/fake_tapi/ids.h"
#include "tests/com/fake_tapi/service_thread.h"

// This DLL counts its own objects.
namespace mvsms::com {
namespace {
volatile LONG objects = 0;
}  // namespace
void Lifetime::Acquire() { ::InterlockedIncrement(&objects); }
void Lifetime::Release() { ::InterlockedDecrement(&objects); }
long Lifetime::Count() { return objects; }
}  // namespace mvsms::com

namespace mvsms::fake_tapi {
namespace {

using com::ComObject;
using com::Implements;
using win32::ComPtr;

volatile LONG sessions = 0;
volatile LONG registrations = 0;

struct AddressPolicy {
  using Kept = ComPtr<::ITAddress>;
  static ::ITAddress* Give(const Kept& address) { return Kept(address).Detach(); }
};
using AddressEnumerator =
    com::Enumerator<::IEnumAddress, kIID_IEnumAddress, ::ITAddress*, AddressPolicy>;

class Session final
    : public ComObject<Session, Implements<TapiBase, kIID_ITTAPI>,
                       Implements<IConnectionPointContainer, IID_IConnectionPointContainer>,
                       Implements<IConnectionPoint, IID_IConnectionPoint>> {
 public:
  HRESULT WINAPI Initialize() override {
    if (events_->open.exchange(true)) return S_FALSE;
    ::InterlockedIncrement(&sessions);
    return S_OK;
  }
  /// No event comes afterwards: those under way are waited for.
  HRESULT WINAPI Shutdown() override {
    if (!events_->open.exchange(false)) return S_FALSE;
    AwaitServiceThread();
    ::InterlockedDecrement(&sessions);
    return S_OK;
  }
  HRESULT WINAPI EnumerateAddresses(::IEnumAddress** addresses) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    *addresses = new AddressEnumerator(MakeAddresses(events_));
    return S_OK;
  }
  /// A line that another program uses can be registered for, too.
  HRESULT WINAPI RegisterCallNotifications(::ITAddress* address, VARIANT_BOOL monitor,
                                           VARIANT_BOOL owner, long media, long,
                                           long* registration) override {
    if (!address || !registration) return E_POINTER;
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    if (!events_->HasListener()) return TAPI_E_NOTREGISTERED;
    if (monitor != VARIANT_TRUE || owner != VARIANT_FALSE || media != 16) return E_INVALIDARG;
    events_->registrations.insert(*registration = ++last_registration_);
    ::InterlockedIncrement(&registrations);
    return S_OK;
  }
  HRESULT WINAPI UnregisterNotifications(long registration) override {
    if (!events_->open || events_->registrations.erase(registration) == 0) return E_INVALIDARG;
    ::InterlockedDecrement(&registrations);
    return S_OK;
  }
  HRESULT WINAPI put_EventFilter(long filter) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    events_->filter = filter;
    return S_OK;
  }
  HRESULT WINAPI get_EventFilter(long* filter) override {
    *filter = events_->filter;
    return S_OK;
  }

  // IConnectionPointContainer: the session is its own and only connection point.
  HRESULT WINAPI EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  HRESULT WINAPI FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    if (iid != kIID_ITTAPIEventNotification) return CONNECT_E_NOCONNECTION;
    AddRef();
    *point = this;
    return S_OK;
  }

  // IConnectionPoint
  HRESULT WINAPI GetConnectionInterface(IID* iid) override {
    *iid = kIID_ITTAPIEventNotification;
    return S_OK;
  }
  HRESULT WINAPI GetConnectionPointContainer(IConnectionPointContainer** container) override {
    AddRef();
    *container = this;
    return S_OK;
  }
  HRESULT WINAPI Advise(IUnknown* sink, DWORD* cookie) override {
    ComPtr<::ITTAPIEventNotification> notification;
    const HRESULT result =
        sink->QueryInterface(kIID_ITTAPIEventNotification, notification.PutVoid());
    if (FAILED(result)) return CONNECT_E_CANNOTCONNECT;
    *cookie = events_->Add(std::move(notification));
    return S_OK;
  }
  HRESULT WINAPI Unadvise(DWORD cookie) override {
    return events_->Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
  }
  HRESULT WINAPI EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  friend class ComObject;
  ~Session() = default;

  const std::shared_ptr<EventHub> events_ = std::make_shared<EventHub>();
  long last_registration_ = 0;
};

class Factory final : public ComObject<Factory, Implements<IClassFactory, IID_IClassFactory>> {
 public:
  HRESULT WINAPI CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (outer) return CLASS_E_NOAGGREGATION;
    const ComPtr<Session> session(new Session);
    return session->QueryInterface(iid, object);
  }
  HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

 private:
  friend class ComObject;
  ~Factory() = default;
};

constexpr wchar_t kServerKey[] =
    L"Software\\Classes\\CLSID\\{21D6D48E-A88B-11D0-83DD-00AA003CCABD}\\InprocServer32";

}  // namespace

}  // namespace mvsms::fake_tapi

using namespace mvsms::fake_tapi;

extern "C" void FakeTapiCounts(Counts* counts) {
  *counts = {
      mvsms::com::Lifetime::Count(), sessions, registrations, OpenPorts(), Delivered(), Filtered()};
}

extern "C" void FakeTapiHangUp() { HangUpAll(); }

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
  if (clsid != kCLSID_TAPI) return CLASS_E_CLASSNOTAVAILABLE;
  const ComPtr<Factory> factory(new Factory);
  return factory->QueryInterface(iid, object);
}

STDAPI DllCanUnloadNow() { return S_FALSE; }

STDAPI DllRegisterServer() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&DllRegisterServer), &module);
  wchar_t path[MAX_PATH] = L"";
  const DWORD length = ::GetModuleFileNameW(module, path, MAX_PATH);
  const auto write = [](const wchar_t* name, const wchar_t* text, std::size_t size) {
    return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kServerKey, name, REG_SZ, text,
                             static_cast<DWORD>((size + 1) * sizeof(wchar_t)));
  };
  LSTATUS status = write(nullptr, path, length);
  if (status == ERROR_SUCCESS) status = write(L"ThreadingModel", L"Both", 4);
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

STDAPI DllUnregisterServer() {
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kServerKey);
  return S_OK;
}
