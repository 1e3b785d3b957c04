// HRESULT and the error codes: the Windows SDK's, or on Linux the stand-ins beside this header.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include "sdk/winerror.h"
#endif
