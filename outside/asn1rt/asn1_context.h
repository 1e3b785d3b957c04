// ASN1CTXT: the codec context, an arena for what decoding and structure filling allocate, and the
// first error that the runtime met.
//
// Arena memory is 8-byte aligned, never freed one by one and released with the context. The first
// kInlineBytes come from the context itself, so small messages are handled without malloc.
#pragma once

#include <cstddef>
#include <new>

#include "outside/asn1rt/asn1_status.h"
#include "outside/asn1rt/asn1_types.h"
#include "sdk/export.h"

struct OSMemBlock;

struct ZTASN1_API OSMemHeap {
  static constexpr std::size_t kInlineBytes = 1024;

  OSMemHeap() noexcept = default;
  OSMemHeap(const OSMemHeap&) = delete;
  OSMemHeap& operator=(const OSMemHeap&) = delete;
  ~OSMemHeap();

  // Upper bound on the bytes this heap hands out; 0 means no bound. Used to bound what hostile
  // input can make the codec allocate, and by tests to make allocation fail.
  std::size_t limit = 0;
  std::size_t allocated = 0;

  alignas(8) unsigned char inlineBlock[kInlineBytes];
  unsigned char* cursor = inlineBlock;
  unsigned char* blockEnd = inlineBlock + kInlineBytes;
  OSMemBlock* blocks = nullptr;  // malloc'd blocks, newest first
};

// Memory from the heap of a context; null when none can be had. A request for zero bytes gives a
// valid pointer to no bytes.
ZTASN1_API void* rtMemHeapAlloc(OSMemHeap* heap, std::size_t nbytes) noexcept;
// A copy of `count` bytes in the heap of a context; null when there is no memory.
ZTASN1_API OSOCTET* rtMemHeapCopy(OSMemHeap* heap, const void* bytes, std::size_t count) noexcept;

struct ZTASN1_API ASN1CTXT {
  // Deepest nesting of constructed encodings that decoding accepts. Real time-stamp messages
  // nest less than 20 deep (certificates included); the cap keeps hostile input from exhausting
  // the stack.
  static constexpr unsigned kDefaultMaxDepth = 64;

  OSMemHeap heap;
  unsigned maxDepth = kDefaultMaxDepth;
  int status = ASN_OK;          // first failure, if any
  std::size_t errorOffset = 0;  // where in the input it was met (decoding only)

  // Records `code` unless an earlier failure is recorded; always returns false, so that parse
  // steps can `return ctxt->fail(...)`.
  bool fail(int code, std::size_t offset = 0) noexcept {
    if (status == ASN_OK) {
      status = code;
      errorOffset = offset;
    }
    return false;
  }
};

// Typed allocation of a value-initialised (zeroed) T in the context's heap; null when none.
template <class T>
T* rtAllocZ(ASN1CTXT* ctxt) noexcept {
  void* p = rtMemHeapAlloc(&ctxt->heap, sizeof(T));
  return p ? new (p) T() : nullptr;
}
