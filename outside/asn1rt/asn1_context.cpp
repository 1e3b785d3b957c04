#include "outside/asn1rt/asn1_context.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

struct OSMemBlock {
  OSMemBlock* next;
};

namespace {

constexpr std::size_t kAlign = 8;
constexpr std::size_t kMinBlockBytes = 8192;

std::size_t alignUp(std::size_t n) {
  return (n + kAlign - 1) & ~(kAlign - 1);
}

}  // namespace

OSMemHeap::~OSMemHeap() {
  while (blocks != nullptr) {
    OSMemBlock* next = blocks->next;
    std::free(blocks);
    blocks = next;
  }
}

void* rtMemHeapAlloc(OSMemHeap* heap, std::size_t nbytes) noexcept {
  const std::size_t size = alignUp(nbytes);
  if (size < nbytes) return nullptr;  // overflow
  if (heap->limit != 0 && (size > heap->limit || heap->allocated > heap->limit - size))
    return nullptr;
  if (static_cast<std::size_t>(heap->blockEnd - heap->cursor) < size) {
    // Blocks grow with what has been handed out, so that a heap takes O(log n) mallocs.
    const std::size_t header = alignUp(sizeof(OSMemBlock));
    std::size_t blockBytes = heap->allocated > kMinBlockBytes ? heap->allocated : kMinBlockBytes;
    if (blockBytes < size) blockBytes = size;
    if (blockBytes > SIZE_MAX - header) return nullptr;
    auto* block = static_cast<OSMemBlock*>(std::malloc(header + blockBytes));
    if (block == nullptr) return nullptr;
    block->next = heap->blocks;
    heap->blocks = block;
    heap->cursor = reinterpret_cast<unsigned char*>(block) + header;
    heap->blockEnd = heap->cursor + blockBytes;
  }
  void* p = heap->cursor;
  heap->cursor += size;
  heap->allocated += size;
  return p;
}

OSOCTET* rtMemHeapCopy(OSMemHeap* heap, const void* bytes, std::size_t count) noexcept {
  auto* copy = static_cast<OSOCTET*>(rtMemHeapAlloc(heap, count));
  if (copy != nullptr && count != 0) std::memcpy(copy, bytes, count);
  return copy;
}
