// What of the state lies outside the registry on Linux: the modems, and the state of other users.
#pragma once

#include <string>

#include "backends/posix/store/line_store.h"
#include "cli/context.h"

namespace mvsms::cli {

/// The modems of this machine; changes belong to the transaction of WriteTogether.
posix::LineStore Lines(Context& context);

/// What `other`, a folder of all state, has beside the one in use, as in OtherState.
std::string StateBeside(const std::string& home, const std::string& other);

}  // namespace mvsms::cli
