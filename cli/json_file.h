// Documents that are handed to a command.
#pragma once

#include <string>

#include "cli/context.h"

namespace mvsms::cli {

/// What stands in a file, or on standard input for "-". Throws Failure when it cannot be read.
std::string ReadDocument(Context& context, const std::string& path);

/// `text`, which stood in `path`, as JSON. Throws UsageError with the place when it is not, or says
/// one thing twice.
Json ParseJson(const std::string& path, const std::string& text);

/// Both.
Json ReadJson(Context& context, const std::string& path);

}  // namespace mvsms::cli
