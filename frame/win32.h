// The Windows cryptographic functions: the real SDK headers on Windows, the platform layer's
// stand-ins on Linux.
#pragma once

#ifdef _WIN32
#include <windows.h>

// After <windows.h>, whose base types it needs.
#include <wincrypt.h>
#else
#include "platform/wincrypt.h"
#endif
