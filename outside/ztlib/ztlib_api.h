#pragma once

#include "outside/ztlib/dll_export.h"

#ifdef ZTLIB_BUILD
#define ZTLIB_API ZT_DLL_EXPORT
#else
#define ZTLIB_API ZT_DLL_IMPORT
#endif
