// See look.h.
#include "backends/win32/look.h"

#include "backends/win32/handles.h"

namespace mvsms::win32 {
namespace {

constexpr WORD kIconId = 1;
constexpr WORD kManifestId = 2;  // of a DLL (winuser.h ISOLATIONAWARE_MANIFEST_RESOURCE_ID)

/// Made once, for the life of the process.
HANDLE Context() {
  static const HANDLE context = [] {
    ACTCTXW request = {};
    request.cbSize = sizeof request;
    request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID | ACTCTX_FLAG_HMODULE_VALID;
    request.lpResourceName = MAKEINTRESOURCEW(kManifestId);
    request.hModule = OwnModule();
    return ::CreateActCtxW(&request);
  }();
  return context;
}

}  // namespace

CurrentLook::CurrentLook() {
  if (Context() != INVALID_HANDLE_VALUE) active_ = ::ActivateActCtx(Context(), &cookie_) != FALSE;
}

CurrentLook::~CurrentLook() {
  if (active_) ::DeactivateActCtx(0, cookie_);
}

UniqueIcon OwnIcon(int pixels) {
  return UniqueIcon(static_cast<HICON>(
      ::LoadImageW(OwnModule(), MAKEINTRESOURCEW(kIconId), IMAGE_ICON, pixels, pixels, 0)));
}

}  // namespace mvsms::win32
