// HRESULT and the error codes, from the Windows SDK or, on Linux, from the platform layer.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/winerror.h"
#endif
