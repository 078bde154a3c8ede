// This system has no hub.
#include "tests/backends/contract_hub.h"

namespace mvsms {

std::vector<NamedHub> SystemHubs() { return {}; }

}  // namespace mvsms
