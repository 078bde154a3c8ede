// Events, see connection_points.h.
#include "com/connection_points.h"

#include <algorithm>
#include <utility>

#include "com/enumerator.h"

namespace mvsms::com {
namespace {

struct PointPolicy {
  using Kept = win32::ComPtr<IConnectionPoint>;
  static IConnectionPoint* Give(const Kept& point) { return Kept(point).Detach(); }
};
using PointEnumerator =
    Enumerator<IEnumConnectionPoints, IID_IEnumConnectionPoints, IConnectionPoint*, PointPolicy>;

struct Connection {
  DWORD cookie;
  win32::ComPtr<IDispatch> sink;
};
struct ConnectionPolicy {
  using Kept = Connection;
  static CONNECTDATA Give(const Kept& connection) {
    return {win32::ComPtr<IDispatch>(connection.sink).Detach(), connection.cookie};
  }
};
using ConnectionEnumerator =
    Enumerator<IEnumConnections, IID_IEnumConnections, CONNECTDATA, ConnectionPolicy>;

}  // namespace

HRESULT Sinks::Advise(IUnknown* sink, REFIID event_interface, DWORD* cookie) {
  if (cookie) *cookie = 0;
  if (!sink || !cookie) return E_POINTER;
  win32::ComPtr<IDispatch> dispatch;
  if (FAILED(sink->QueryInterface(event_interface, dispatch.PutVoid())) &&
      FAILED(sink->QueryInterface(IID_IDispatch, dispatch.PutVoid()))) {
    return CONNECT_E_CANNOTCONNECT;
  }
  sinks_.push_back({++last_cookie_, std::move(dispatch)});
  *cookie = last_cookie_;
  return S_OK;
}

HRESULT Sinks::Unadvise(DWORD cookie) {
  const auto found = std::find_if(sinks_.begin(), sinks_.end(),
                                  [&](const Entry& entry) { return entry.cookie == cookie; });
  if (found == sinks_.end()) return CONNECT_E_NOCONNECTION;
  const Entry leaving = std::move(*found);  // releasing it may call back into us
  sinks_.erase(found);
  return S_OK;
}

void Sinks::Fire(DISPID event, const std::vector<VARIANT>& arguments) {
  const std::vector<Entry> now = sinks_;
  for (const Entry& entry : now) {
    std::vector<VARIANT> own = arguments;  // a sink may do with its array as it likes
    DISPPARAMS parameters{own.data(), nullptr, static_cast<UINT>(own.size()), 0};
    try {
      entry.sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                         nullptr, nullptr, nullptr);
    } catch (...) {
      // A sink of this compiler, in 64 bits, that throws must not cost the others their event. What
      // others throw never comes here.
    }
  }
}

HRESULT Sinks::Enumerate(IEnumConnections** enumerator) {
  if (!enumerator) return E_POINTER;
  *enumerator = nullptr;
  std::vector<Connection> connections;
  for (const Entry& entry : sinks_) connections.push_back({entry.cookie, entry.sink});
  *enumerator = new (std::nothrow) ConnectionEnumerator(std::move(connections));
  return *enumerator ? S_OK : E_OUTOFMEMORY;
}

HRESULT ConnectionPoint::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (iid != IID_IUnknown && iid != IID_IConnectionPoint) return E_NOINTERFACE;
  *object = static_cast<IConnectionPoint*>(this);
  AddRef();
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) {
  if (!iid) return E_POINTER;
  *iid = event_interface_;
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  if (!container) return E_POINTER;
  container_.AddRef();
  *container = &container_;
  return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
  return AsHresult(IID_IConnectionPoint,
                   [&] { return sinks_.Advise(sink, event_interface_, cookie); });
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
  return AsHresult(IID_IConnectionPoint, [&] { return sinks_.Unadvise(cookie); });
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** enumerator) {
  return AsHresult(IID_IConnectionPoint, [&] { return sinks_.Enumerate(enumerator); });
}

HRESULT EnumerateConnectionPoint(IConnectionPoint& point, IEnumConnectionPoints** enumerator) {
  if (!enumerator) return E_POINTER;
  *enumerator = nullptr;
  std::vector<win32::ComPtr<IConnectionPoint>> points(1);
  point.AddRef();
  points[0] = win32::ComPtr<IConnectionPoint>(&point);
  *enumerator = new (std::nothrow) PointEnumerator(std::move(points));
  return *enumerator ? S_OK : E_OUTOFMEMORY;
}

}  // namespace mvsms::com
