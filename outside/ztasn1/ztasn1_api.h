#pragma once

#include "outside/ztlib/dll_export.h"

#ifdef ZTASN1_BUILD
#define ZTASN1_API ZT_DLL_EXPORT
#else
#define ZTASN1_API ZT_DLL_IMPORT
#endif
