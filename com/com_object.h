// IUnknown for the server's objects: one counted object behind several interfaces.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <type_traits>

#include "base/raised_error.h"
#include "com/module.h"

namespace mvsms::com {

/// One interface of an object and the identifiers under which it is found: its own, and those of
/// the interfaces that it extends. IUnknown and IDispatch need not be named: the first is found
/// under every object's identity, the second wherever the interface extends it, and nowhere else,
/// for a late-bound host calls what it is given.
template <typename Interface, const IID&... kIids>
struct Implements {
  using Type = Interface;
  static bool Answers(REFIID iid) {
    if (std::is_base_of_v<IDispatch, Interface> && iid == IID_IDispatch) return true;
    return ((iid == kIids) || ...);
  }
};

/// Counted object over a list of interfaces; the first one is its identity. Starts with one
/// reference. `Final` is the concrete class, which must be final.
template <typename Final, typename First, typename... Rest>
class ComObject : public First::Type, public Rest::Type... {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = Find(iid);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0) {
      references_ = 1;  // whatever the destructor calls must not destroy it twice
      delete static_cast<Final*>(this);
    }
    return static_cast<ULONG>(left);
  }

 protected:
  ~ComObject() { Lifetime::Release(); }

 private:
  friend Final;
  ComObject() { Lifetime::Acquire(); }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  void* Find(REFIID iid) {
    if (iid == IID_IUnknown) return static_cast<typename First::Type*>(this);
    void* found = nullptr;
    Match<First>(iid, found);
    (Match<Rest>(iid, found), ...);
    return found;
  }
  template <typename Entry>
  void Match(REFIID iid, void*& found) {
    if (!found && Entry::Answers(iid)) found = static_cast<typename Entry::Type*>(this);
  }

  LONG references_ = 1;
};

/// Sets the thread's error information, which Automation hosts show to their users.
void SetErrorInfo(REFIID iid, const std::string& source, const std::string& description);

/// The boundary of the component: runs `action`, and turns whatever it throws into an HRESULT with
/// error information. Nothing escapes to a host.
template <typename Action>
HRESULT AsHresult(REFIID iid, Action action) {
  try {
    return action();
  } catch (const RaisedError& error) {
    SetErrorInfo(iid, error.source(), error.description());
    // Plain numbers travel as the host language's own error numbers do.
    return error.number() < 0
               ? error.number()
               : MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, error.number() & 0xFFFF);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception& error) {
    SetErrorInfo(iid, "mvSMS", error.what());
    return E_FAIL;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace mvsms::com
