// Names of windows for screen readers, which otherwise take whatever text stands before a window.
// Without the system's service, or on a thread without COM, windows have none.
#pragma once

#include <map>
#include <string>

#include "backends/win32/win.h"

namespace mvsms::win32 {

using AccessibleNames = std::map<HWND, std::string>;

void GiveNames(const AccessibleNames& names);
/// To be called before the windows are destroyed.
void TakeNamesBack(const AccessibleNames& names);

}  // namespace mvsms::win32
