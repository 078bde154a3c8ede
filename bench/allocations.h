// How much a piece of code asks the heap for: a look at memory that is given back at once, which
// the size of the process does not show.
#pragma once

#include <cstddef>

namespace mvsms::bench {

/// Bytes that operator new has given out since the program's start, on all threads.
std::size_t AllocatedBytes();

}  // namespace mvsms::bench
