// The checks of the C functions' arguments, each failing with the HRESULT the header documents
// and a message naming the argument.
#pragma once

#include <cstddef>
#include <cstdint>

#include "capi/call.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"

namespace Zanthorel {
namespace CApi {

// An out-parameter: ZTTSP_E_POINTER when null; cleared before anything else is done.
template <class T>
T& outArgument(T* out, const char* name) {
  if (out == nullptr) fail(ZTTSP_E_POINTER, std::string(name) + " is null");
  *out = T();
  return *out;
}

// Bytes that must be there: ZTTSP_E_POINTER for null, ZTTSP_E_INVALIDARG for none or more than
// a blob holds.
CBlob bytesArgument(const std::uint8_t* data, std::size_t length, const char* name);
// Bytes that may be left out with (NULL, 0).
CBlob optionalBytesArgument(const std::uint8_t* data, std::size_t length, const char* name);
// Text that must be there: ZTTSP_E_POINTER for null, ZTTSP_E_INVALIDARG for "".
const char* textArgument(const char* text, const char* name);
// A dotted object identifier: ZTTSP_E_INVALIDARG for text that is none.
const char* oidArgument(const char* text, const char* name);
// One complete encoded element, as an attribute value: ZTTSP_E_INVALIDARG for other bytes.
CBlob elementArgument(const std::uint8_t* data, std::size_t length, const char* name);
// A time of the years 1 to 9999, which GeneralizedTime can write: ZTTSP_E_INVALIDARG for others
// and for nanoseconds above 999999999.
CDateTime timeArgument(std::int64_t seconds, std::uint32_t nanoseconds);

}  // namespace CApi
}  // namespace Zanthorel
