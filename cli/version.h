// Which program this is: its version, and the commit that it was built from.
#pragma once

#include <string_view>

namespace mvsms::cli {

/// The version, and in parentheses the commit of the sources where they were a checkout, such as
/// "1.0.0 (0123456789ab)"; the version alone when they came as an archive.
extern const std::string_view kVersion;

}  // namespace mvsms::cli
