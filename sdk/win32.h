// The Windows base and cryptographic declarations: the real SDK headers on Windows, the stand-ins
// beside this header on Linux, whose functions the platform layer (platform/) serves.
#pragma once

#ifdef _WIN32
#include <windows.h>

// After <windows.h>, whose base types it needs.
#include <wincrypt.h>
#else
#include "sdk/wincrypt.h"
#endif
