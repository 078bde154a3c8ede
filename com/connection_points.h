// The event side of a COM object: one connection point with the sinks that are advised to it.
#pragma once

#include <vector>

#include "com/com_object.h"

namespace mvsms::com {

/// The sinks of one object's event interface. Firing walks over a copy, so that a sink may advise,
/// unadvise or release itself, or the object, from inside an event. What a sink returns is ignored.
/// Thread: the object's apartment.
class Sinks {
 public:
  HRESULT Advise(IUnknown* sink, REFIID event_interface, DWORD* cookie);
  HRESULT Unadvise(DWORD cookie);
  /// Calls every sink with arguments in the order of DISPPARAMS (the last one first).
  void Fire(DISPID event, const std::vector<VARIANT>& arguments);
  HRESULT Enumerate(IEnumConnections** enumerator);
  std::size_t size() const { return sinks_.size(); }

 private:
  struct Entry {
    DWORD cookie;
    win32::ComPtr<IDispatch> sink;
  };
  std::vector<Entry> sinks_;
  DWORD last_cookie_ = 0;
};

/// The connection point of an object. It is counted together with its object, which it keeps alive.
class ConnectionPoint final : public IConnectionPoint {
 public:
  ConnectionPoint(IConnectionPointContainer& container, REFIID event_interface)
      : container_(container), event_interface_(event_interface) {}

  Sinks& sinks() { return sinks_; }
  REFIID event_interface() const { return event_interface_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return container_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return container_.Release(); }

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** container) override;
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** enumerator) override;

 private:
  IConnectionPointContainer& container_;
  const IID event_interface_;
  Sinks sinks_;
};

/// An enumerator over the one connection point of an object.
HRESULT EnumerateConnectionPoint(IConnectionPoint& point, IEnumConnectionPoints** enumerator);

}  // namespace mvsms::com
