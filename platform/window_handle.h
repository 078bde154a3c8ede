// The name that a window of the system goes by across the seam.
#pragma once

#include <cstdint>

namespace mvsms {

/// A window of the system as a number (HWND); 0 is none. It may belong to another process.
using WindowHandle = std::intptr_t;
inline constexpr WindowHandle kNoWindow = 0;

}  // namespace mvsms
