// How much memory a program has, for tests of what must not grow.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
// The header that declares it is not where every compiler finds it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__)
#include <malloc.h>
#endif

namespace mvsms::test {

/// Bytes of the heap in use; always 0 where nobody counts them.
inline std::size_t HeapInUse() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#elif defined(__GLIBC__)
  return mallinfo2().uordblks;
#else
  return 0;
#endif
}

}  // namespace mvsms::test
