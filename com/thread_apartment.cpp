// The apartment of the calling thread, see thread_apartment.h.
#include "com/thread_apartment.h"

#include "backends/win32/per_thread.h"
#include "backends/win32/win32_platform.h"
#include "com/module.h"
#include "com/settings_takeover.h"

namespace mvsms::com {
namespace {

/// Keeps the DLL mapped until the process ends: the timers that connections leave behind, on any
/// thread, call into it.
void PinModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&PinModule), &module);
}

struct ThreadState {
  ThreadState() {
    PinModule();
    TakeOverSettings();
  }
  std::unique_ptr<Platform> platform = win32::MakeWin32Platform();
  Apartment apartment{*platform};
};

/// What the thread itself holds of it.
struct ThreadShare {
  std::shared_ptr<ThreadState> state = std::make_shared<ThreadState>();
};

}  // namespace

std::shared_ptr<Apartment> ThreadApartment() {
  static auto& shares = *new win32::PerThread<ThreadShare>;
  const std::shared_ptr<ThreadState>& state = shares.Get().state;
  return {state, &state->apartment};
}

}  // namespace mvsms::com
