#include "outside/asn1rt/asn1_context.h"

#include <cstdint>
#include <cstdlib>

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

const char* asn1StatusText(int status) noexcept {
  switch (status) {
    case ASN_OK:
      return "success";
    case ASN_E_ENDOFBUF:
      return "input ends inside an element";
    case ASN_E_INVLEN:
      return "invalid length";
    case ASN_E_BADTAG:
      return "unexpected or malformed tag";
    case ASN_E_INVOBJID:
      return "invalid object identifier";
    case ASN_E_BADVALUE:
      return "malformed value";
    case ASN_E_RANGE:
      return "integer out of range";
    case ASN_E_TOODEEP:
      return "nesting too deep";
    case ASN_E_NOMEM:
      return "out of codec memory";
    case ASN_E_EXTRA:
      return "unexpected bytes after the value";
    case ASN_E_INVPARAM:
      return "value cannot be encoded";
    default:
      return "unknown codec error";
  }
}
