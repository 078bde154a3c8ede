// Sends one message and prints the status lines as they come. A C++ host that needs nothing but the
// registered component: it binds late, and takes the events by their dispatch identifiers.
//   send PROFILE NUMBER TEXT [SENDER]
// Exit code: 0 accepted, 1 failed, 75 failed but a retry makes sense, 2 wrong usage.
#include <ocidl.h>
#include <oleauto.h>
#include <windows.h>

#include <cstdio>
#include <string>

#undef SendMessage

namespace {

const DISPID kErrorEvent = 1;
const DISPID kStatusChangeEvent = 2;
// The event interface __Sender of the type library.
const IID kEvents = {0x9E021F6A, 0x9648, 0x43BB, {0xA1, 0x31, 0xFD, 0x16, 0x01, 0x22, 0xC0, 0x77}};

BSTR ToBstr(const char* text) {
  const int size = ::MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  BSTR result = ::SysAllocStringLen(nullptr, static_cast<UINT>(size - 1));
  ::MultiByteToWideChar(CP_ACP, 0, text, -1, result, size);
  return result;
}

void Print(const wchar_t* text) { std::wprintf(L"%ls", text ? text : L""); }

/// Receives the events. It lives on the stack of main, so nobody counts its references.
class Events : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == IID_IDispatch || iid == kEvents;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  /// Arguments come last one first, by reference.
  HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments,
                                   VARIANT*, EXCEPINFO*, UINT*) override {
    if (event == kStatusChangeEvent) {
      const std::wstring status =
          *arguments->rgvarg[0].pbstrVal ? *arguments->rgvarg[0].pbstrVal : L"";
      if (status.size() > shown_) Print(status.c_str() + shown_);  // what is new in it
      shown_ = status.size();
    } else if (event == kErrorEvent) {
      std::wprintf(L"\nerror %ld: ", *arguments->rgvarg[2].plVal);
      Print(*arguments->rgvarg[1].pbstrVal);
    }
    return S_OK;
  }

 private:
  std::size_t shown_ = 0;
};

DISPID IdOf(IDispatch* object, const wchar_t* name) {
  auto* text = const_cast<LPOLESTR>(name);
  DISPID id = DISPID_UNKNOWN;
  object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
  return id;
}

void PutText(IDispatch* object, const wchar_t* property, const char* text) {
  VARIANT value;
  value.vt = VT_BSTR;
  value.bstrVal = ToBstr(text);
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS arguments = {&value, &put, 1, 1};
  object->Invoke(IdOf(object, property), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                 &arguments, nullptr, nullptr, nullptr);
  ::VariantClear(&value);
}

bool GetBoolean(IDispatch* object, const wchar_t* property) {
  VARIANT value;
  ::VariantInit(&value);
  DISPPARAMS none = {};
  object->Invoke(IdOf(object, property), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                 &value, nullptr, nullptr);
  return value.vt == VT_BOOL && value.boolVal != VARIANT_FALSE;
}

/// SendMessage(Recipient, Sender, Message, ServiceName): texts by reference, last one first.
bool Send(IDispatch* sender, const char* number, const char* originator, const char* message) {
  BSTR texts[] = {ToBstr(""), ToBstr(message), ToBstr(originator), ToBstr(number)};
  VARIANT values[4];
  for (int i = 0; i < 4; ++i) {
    values[i].vt = VT_BSTR | VT_BYREF;
    values[i].pbstrVal = &texts[i];
  }
  VARIANT accepted;
  ::VariantInit(&accepted);
  DISPPARAMS arguments = {values, nullptr, 4, 0};
  const HRESULT result = sender->Invoke(IdOf(sender, L"SendMessage"), IID_NULL, LOCALE_USER_DEFAULT,
                                        DISPATCH_METHOD, &arguments, &accepted, nullptr, nullptr);
  for (BSTR text : texts) ::SysFreeString(text);  // the component may have replaced them
  return SUCCEEDED(result) && accepted.vt == VT_BOOL && accepted.boolVal != VARIANT_FALSE;
}

int SendWith(IDispatch* sender, int count, char** texts) {
  Events events;
  IConnectionPointContainer* container = nullptr;
  IConnectionPoint* point = nullptr;
  DWORD cookie = 0;
  if (SUCCEEDED(sender->QueryInterface(IID_IConnectionPointContainer,
                                       reinterpret_cast<void**>(&container)))) {
    container->FindConnectionPoint(kEvents, &point);
    container->Release();
  }
  if (point) point->Advise(&events, &cookie);
  PutText(sender, L"HostAppName", texts[1]);
  const bool accepted = Send(sender, texts[2], count > 4 ? texts[4] : "", texts[3]);
  const bool retry = GetBoolean(sender, L"RetrySuggested");
  if (point) {
    point->Unadvise(cookie);
    point->Release();
  }
  std::printf("\n%s\n", accepted ? "accepted" : "failed");
  return accepted ? 0 : retry ? 75 : 1;
}

}  // namespace

int main(int count, char** texts) {
  if (count < 4) {
    std::fprintf(stderr, "usage: send PROFILE NUMBER TEXT [SENDER]\n");
    return 2;
  }
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  CLSID clsid = {};
  IDispatch* sender = nullptr;
  HRESULT result = ::CLSIDFromProgID(L"mvSMS.Sender", &clsid);
  if (SUCCEEDED(result)) {
    result = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                reinterpret_cast<void**>(&sender));
  }
  if (FAILED(result)) {
    std::fprintf(stderr, "mvSMS.Sender cannot be created (%08lx): is mvSMS.dll registered?\n",
                 static_cast<unsigned long>(result));
    return 1;
  }
  const int code = SendWith(sender, count, texts);
  sender->Release();
  ::CoUninitialize();
  return code;
}
