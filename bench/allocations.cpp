// The replaceable allocation operators, counting. All their other forms end up in these.
#include "bench/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::size_t> allocated = 0;
}

std::size_t mvsms::bench::AllocatedBytes() { return allocated; }

void* operator new(std::size_t size) {
  allocated.fetch_add(size, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
