// The Windows back end: the registry, Win32 communications, TAPI 3, thread timers. This header is
// free of <windows.h>, so that any program can choose the back end.
#pragma once

#include <memory>

#include "platform/platform.h"

namespace mvsms::win32 {

/// One platform for the calling thread, which must have initialised COM as a single-threaded
/// apartment before it uses the telephony service.
std::unique_ptr<Platform> MakeWin32Platform();

}  // namespace mvsms::win32
