// The Windows cryptographic message, certificate and provider functions, for the Linux build.
//
// Code written for Windows compiles unchanged with this header in place of <windows.h> and
// <wincrypt.h>. Types and structures have their Windows x64 layouts; the functions behave as
// Windows documents them, and are exported from libzttsp.so.
#pragma once

#include "frame/export.h"
#include "platform/windef.h"
#include "platform/winerror.h"

extern "C" {

// The calling thread's last error, as Windows keeps it per thread.
ZTTSP_API DWORD WINAPI GetLastError(void);
ZTTSP_API void WINAPI SetLastError(DWORD error);

}  // extern "C"
