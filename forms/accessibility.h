// What a screen reader calls a control that has no caption of its own. A native control would be
// called after whatever text stands before it.
#pragma once

#include <string>

#include "forms/form.h"

namespace mvsms {

/// The control's caption; for a field, that of the label or check box right before it on the same
/// page; otherwise the name of its page, and in the end the form's.
std::string AccessibleName(const Control& control);

}  // namespace mvsms
