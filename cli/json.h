// JSON documents as commands print and read them. The library behind them is slow to compile, so
// only files that make or read a document include it; cli/context.h names the type.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/context.h"

namespace mvsms::cli {

/// The one way in which commands print a document: in one line, or indented by `indent` blanks.
/// In ASCII, since JSON alone leaves the control characters beyond it as they are, and terminals
/// obey them. A path of this system may hold any bytes; what is not UTF-8 shows as U+FFFD.
inline std::string JsonText(const Json& document, int indent = -1) {
  return document.dump(indent, ' ', true, Json::error_handler_t::replace);
}

}  // namespace mvsms::cli
