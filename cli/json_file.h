// JSON documents that are handed to a command.
#pragma once

#include <string>

#include "cli/context.h"

namespace mvsms::cli {

/// The document in a file, or on standard input for "-". Throws Failure when it cannot be read, and
/// UsageError with the place when it is not JSON or says one thing twice.
Json ReadJson(Context& context, const std::string& path);

}  // namespace mvsms::cli
