// A host program: an apartment, the component's objects, a settings profile, and event sinks.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "backends/win32/handles.h"
#include "tests/support/native_registry.h"
// generated from the interface description; after <windows.h>
#include "mvSMS.h"

namespace mvsms::com {

using win32::Bstr;
using win32::ComPtr;

/// A VARIANT that frees itself.
class Value : public VARIANT {
 public:
  Value() { ::VariantInit(this); }
  explicit Value(const std::string& text) : Value() {
    vt = VT_BSTR;
    bstrVal = Bstr(text).Detach();
  }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;
  ~Value() { ::VariantClear(this); }
  std::string Text() const { return vt == VT_BSTR ? win32::AnsiFromBstr(bstrVal) : "(no text)"; }
};

/// An event sink as a host's language makes one: late bound, its handlers set by the test.
class Sink final : public IDispatch {
 public:
  struct Event {
    DISPID id;
    std::vector<std::string> arguments;  // in their order, numbers as texts
  };
  std::vector<Event> events;
  /// Called with each event's arguments as they came, the last one first.
  std::function<HRESULT(DISPID, DISPPARAMS&)> handler;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override { return --references_; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*,
                                   EXCEPINFO*, UINT*) override;
  /// References that others hold.
  ULONG references() const { return references_; }

 private:
  ULONG references_ = 0;
};

/// What SendMessage was given and gave back.
struct Sent {
  HRESULT result = E_FAIL;
  bool accepted = false;
  std::string recipient, sender, message, service;
};

/// Profiles of the tests: with the settings of WriteProfile, and without any.
inline constexpr char kProfile[] = "ComTest";
inline constexpr char kEmptyProfile[] = "ComTestEmpty";

/// An apartment with one Sender.
class Host {
 public:
  explicit Host(const char* profile = kEmptyProfile);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  _Sender& sender() { return *sender_.Get(); }
  IDispatch* dispatch() { return sender_.Get(); }
  Sent Send(const std::string& recipient, const std::string& message,
            const std::string& service = "", const std::string& originator = "0301");
  std::string Status();
  bool RetrySuggested();
  void Release() { sender_.Reset(); }

  DWORD Advise(Sink& sink);
  void Unadvise(DWORD cookie);
  ComPtr<IConnectionPoint> EventPoint();

 private:
  ComPtr<_Sender> sender_;
};

/// Settings as a host's administrator would have them.
void WriteProfile();
/// A service that dials `number` on `modem`.
void WriteService(const std::string& name, const std::string& protocol, const std::string& number,
                  const std::string& modem = "Test modem");
/// Switches the status window on in that profile.
void ShowStatusWindow();
void DeleteProfile();

/// Gives everybody this access to a key below NativeSoftware(), and the right to change it again.
void SetAccess(const std::wstring& path, REGSAM access);

/// Late-bound call: arguments in their order. Gives what the member returns.
HRESULT Invoke(IDispatch* object, const wchar_t* member, WORD flags, std::vector<VARIANT> arguments,
               VARIANT* result = nullptr, UINT* bad_argument = nullptr);

/// A function of the DLL that serves the class or of the substitute telephony service.
template <typename Function>
Function Exported(const char* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA(library), name)));
}

/// What a separate program did.
struct Ended {
  DWORD exit_code = 0xFFFF;
  std::string output;  // and errors
};
/// Runs a command line (UTF-8) to its end, at most a minute.
Ended RunToItsEnd(const std::string& command);

/// Closes the configuration dialog of another process as soon as it is there; false when it has not
/// come within half a minute.
bool CloseDialog();

/// Records of the centre behind a port ("com21"): one JSON line for each thing received.
std::string Records(const std::string& port);

}  // namespace mvsms::com
