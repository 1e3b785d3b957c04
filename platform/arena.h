// Copies of the caller's bytes in a codec context's memory, for structures that outlive the call.
#pragma once

#include "outside/asn1rt/asn1_context.h"
#include "platform/api_guard.h"

namespace Zanthorel {
namespace Platform {

inline const OSOCTET* copyToArena(ASN1CTXT& arena, const void* bytes, std::size_t count) {
  const OSOCTET* copy = rtMemHeapCopy(&arena.heap, bytes, count);
  if (copy == nullptr) fail(E_OUTOFMEMORY);
  return copy;
}

template <typename T>
T* allocInArena(ASN1CTXT& arena) {
  T* item = rtAllocZ<T>(&arena);
  if (item == nullptr) fail(E_OUTOFMEMORY);
  return item;
}

}  // namespace Platform
}  // namespace Zanthorel
