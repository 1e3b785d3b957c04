// The length-query convention of CryptMsgGetParam and its kin: a NULL buffer asks for the size;
// a buffer that is too small fails with ERROR_MORE_DATA and the size needed; otherwise the data
// is copied and the size written is returned.
#pragma once

#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// True when the caller's buffer takes `needed` bytes. False after a size query, which has set
// `*size`. Throws ERROR_MORE_DATA, with `*size` set, when the buffer is too small.
bool outputFits(DWORD needed, const void* data, DWORD* size);

// Hands out `count` bytes at `bytes`.
void outputBytes(const void* bytes, DWORD count, void* data, DWORD* size);

// Hands out one DWORD.
void outputDword(DWORD value, void* data, DWORD* size);

}  // namespace Platform
}  // namespace Zanthorel
