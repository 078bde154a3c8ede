// The name of the operating system's version, for error reports.
#pragma once

#include <string>

#include "platform/locale.h"

namespace mvsms {

/// Such as "WinXP Build:2600 Service Pack 2"; a version without a name begins with " Build:". ""
/// when the system does not tell its version.
std::string GetWinVer(Locale& locale);

}  // namespace mvsms
