// Checks of a line for the command that maintains lines: before it is stored, and on request with
// the modem itself. All texts are UTF-8.
#pragma once

#include <string>

#include "platform/posix/line_store.h"

namespace mvsms::posix {

/// What is wrong with the settings of a line, as a sentence that names it; empty when nothing is.
/// Whether the modem answers is not tried.
std::string CheckLine(const LineConfig& line);

/// Asks the modem of a hayes line "AT", its initialisation and "ATI", and appends each command with
/// its answer to `report`, a line each. Returns why the line cannot be used (also: in use, and by
/// whom), as a sentence; empty when the modem answers. A TCP line has nothing to ask.
std::string TestLine(const LineConfig& line, std::string& report);

}  // namespace mvsms::posix
