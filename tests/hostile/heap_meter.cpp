// Under AddressSanitizer the sanitizer's allocation hooks report every allocation and release;
// elsewhere this program's malloc family takes the place of the C library's for the whole process
// (shared libraries included) and hands over to glibc's own entry points.
#include "tests/hostile/heap_meter.h"

#include <malloc.h>

#include <cerrno>

#include <atomic>

#if defined(__SANITIZE_ADDRESS__)
#define HEAP_METER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HEAP_METER_SANITIZER 1
#endif
#endif

namespace {

std::atomic<std::size_t> inUse{0};
std::atomic<std::size_t> peak{0};

void added(std::size_t bytes) {
  const std::size_t now = inUse.fetch_add(bytes, std::memory_order_relaxed) + bytes;
  std::size_t highest = peak.load(std::memory_order_relaxed);
  while (now > highest && !peak.compare_exchange_weak(highest, now, std::memory_order_relaxed)) {
  }
}

void removed(std::size_t bytes) {
  inUse.fetch_sub(bytes, std::memory_order_relaxed);
}

std::size_t startLevel = 0;

}  // namespace

#ifdef HEAP_METER_SANITIZER

// Visible to the sanitizer runtime, which calls them in place of its own empty ones.
#define HEAP_METER_HOOK extern "C" __attribute__((visibility("default")))

extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* pointer);

HEAP_METER_HOOK void __sanitizer_malloc_hook(const volatile void*, std::size_t size) {
  added(size);
}

HEAP_METER_HOOK void __sanitizer_free_hook(const volatile void* pointer) {
  removed(__sanitizer_get_allocated_size(pointer));
}

#else

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* pointer);
}

namespace {

// Counts by usable size, which allocation and release both know.
void* counted(void* pointer) {
  if (pointer != nullptr) added(malloc_usable_size(pointer));
  return pointer;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return counted(__libc_calloc(count, size));
}

void* realloc(void* pointer, std::size_t size) noexcept {
  const std::size_t before = pointer != nullptr ? malloc_usable_size(pointer) : 0;
  void* moved = __libc_realloc(pointer, size);
  if (moved == nullptr && size != 0) return nullptr;  // the old block stays
  removed(before);
  return counted(moved);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return counted(__libc_memalign(alignment, size));
}

int posix_memalign(void** result, std::size_t alignment, std::size_t size) noexcept {
  void* pointer = __libc_memalign(alignment, size);
  if (pointer == nullptr) return ENOMEM;
  *result = counted(pointer);
  return 0;
}

void free(void* pointer) noexcept {
  if (pointer == nullptr) return;
  removed(malloc_usable_size(pointer));
  __libc_free(pointer);
}

}  // extern "C"

#endif

namespace hostile_test {

HeapMeter::HeapMeter() {
  startLevel = inUse.load(std::memory_order_relaxed);
  peak.store(startLevel, std::memory_order_relaxed);
}

std::size_t HeapMeter::peakRise() const {
  return peak.load(std::memory_order_relaxed) - startLevel;
}

bool HeapMeter::available() {
  const HeapMeter meter;
  char* volatile probe = new char[4096];  // volatile: the optimiser may not leave it out
  delete[] probe;
  return meter.peakRise() >= 4096;
}

}  // namespace hostile_test
