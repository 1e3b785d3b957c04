#include "sdk/wincrypt.h"

namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}

DWORD WINAPI GetLastError(void) {
  return lastError;
}

void WINAPI SetLastError(DWORD error) {
  lastError = error;
}
