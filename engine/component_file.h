// Files that lie beside the component: the catalogue and the send log.
#pragma once

#include <string>

#include "platform/locale.h"

namespace mvsms {

/// Path of a file of this name in the component's folder, with single separators throughout: a
/// component in a drive's root has a folder that ends in one.
std::string ComponentFile(Locale& locale, const std::string& name);

}  // namespace mvsms
