// The Windows cryptographic functions: the real SDK headers on Windows, the platform layer's
// stand-ins on Linux.
#pragma once

#ifdef _WIN32
#include <wincrypt.h>
#include <windows.h>
#else
#include "platform/wincrypt.h"
#endif
