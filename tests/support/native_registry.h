// The part of the registry where the settings lie, for hosts of both bitnesses the same.
#pragma once

#include "backends/win32/win.h"

namespace mvsms {

/// HKEY_LOCAL_MACHINE\Software as 64-bit programs see it; open as long as the program runs.
inline HKEY NativeSoftware() {
  static const HKEY key = [] {
    HKEY opened = nullptr;
    ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, &opened);
    return opened;
  }();
  return key;
}

}  // namespace mvsms
