// ZTTSP_API marks what the library exports: its classes, and on Linux the platform functions.
#pragma once

#include "outside/ztlib/dll_export.h"

#ifdef ZTTSP_BUILD
#define ZTTSP_API ZT_DLL_EXPORT
#else
#define ZTTSP_API ZT_DLL_IMPORT
#endif
