#include "platform/param_output.h"

#include <cstring>

#include "platform/api_guard.h"

namespace Zanthorel {
namespace Platform {

bool outputFits(DWORD needed, const void* data, DWORD* size) {
  const DWORD available = *size;
  *size = needed;
  if (data == nullptr) return false;
  if (available < needed) fail(static_cast<HRESULT>(ERROR_MORE_DATA));
  return true;
}

void outputBytes(const void* bytes, DWORD count, void* data, DWORD* size) {
  if (outputFits(count, data, size) && count != 0) std::memcpy(data, bytes, count);
}

void outputDword(DWORD value, void* data, DWORD* size) {
  outputBytes(&value, sizeof value, data, size);
}

}  // namespace Platform
}  // namespace Zanthorel
