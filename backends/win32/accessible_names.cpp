// Dynamic annotation, see accessible_names.h. The service is asked for anew each time: a form may
// be let go of when its thread has done with COM.
#include "backends/win32/accessible_names.h"

// Not before <windows.h>.
#include <oleacc.h>

#include "backends/win32/handles.h"
#include "backends/win32/text.h"

namespace mvsms::win32 {
namespace {

// The libraries have no definitions of these two (oleacc.h).
constexpr CLSID kAccPropServices = {
    0xB5F8350B, 0x0548, 0x48B1, {0xA6, 0xEE, 0x88, 0xBD, 0x00, 0xB4, 0xA5, 0xE7}};
constexpr GUID kName = {
    0x608D3DF8, 0x8128, 0x4AA7, {0xA4, 0x28, 0xF5, 0x5E, 0x49, 0x26, 0x72, 0x91}};

constexpr DWORD kClient = static_cast<DWORD>(OBJID_CLIENT);

ComPtr<IAccPropServices> Service() {
  ComPtr<IAccPropServices> service;
  ::CoCreateInstance(kAccPropServices, nullptr, CLSCTX_INPROC_SERVER, IID_IAccPropServices,
                     service.PutVoid());
  return service;
}

}  // namespace

void GiveNames(const AccessibleNames& names) {
  const auto service = Service();
  if (!service) return;
  for (const auto& [window, name] : names) {
    service->SetHwndPropStr(window, kClient, CHILDID_SELF, kName, WideFromAnsi(name).c_str());
  }
}

void TakeNamesBack(const AccessibleNames& names) {
  const auto service = Service();
  if (!service) return;
  for (const auto& [window, name] : names) {
    service->ClearHwndProps(window, kClient, CHILDID_SELF, &kName, 1);
  }
}

}  // namespace mvsms::win32
