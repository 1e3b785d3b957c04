// The allocation hook: the bench binary's malloc, calloc and realloc take the place of the C
// library's for the whole process (shared libraries included), count, and hand over to glibc's
// own entry points. free needs no hook: the memory is still glibc's.
#include "bench/allocation_count.h"

#include <atomic>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
}

namespace {

std::atomic<std::uint64_t> allocations{0};

void count() {
  allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  count();
  return __libc_malloc(size);
}

void* calloc(std::size_t count_, std::size_t size) noexcept {
  count();
  return __libc_calloc(count_, size);
}

void* realloc(void* pointer, std::size_t size) noexcept {
  count();
  return __libc_realloc(pointer, size);
}

}  // extern "C"

std::uint64_t allocationsSoFar() {
  return allocations.load(std::memory_order_relaxed);
}
