// This system keeps no pages.
#include "tests/backends/contract_queue.h"

namespace mvsms {

std::vector<NamedQueue> SystemQueues() { return {}; }

}  // namespace mvsms
