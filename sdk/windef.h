// The Windows base types, with their Windows x64 sizes, for the Linux build.
//
// Windows is LLP64: DWORD, LONG and BOOL are 32 bits wide there, pointers and ULONG_PTR 64.
// DWORD is therefore uint32_t here (never unsigned long), so that every structure that the
// CryptoAPI declarations build from these types has the Windows layout.
#pragma once

#ifdef _WIN32
#error "sdk/windef.h stands in for the Windows headers on Linux; include sdk/win32.h instead"
#endif

#include <cstddef>
#include <cstdint>

typedef std::uint8_t BYTE;
typedef BYTE* PBYTE;
typedef std::uint16_t WORD;
typedef std::uint32_t DWORD;
typedef DWORD* PDWORD;
typedef std::int32_t LONG;
typedef std::int32_t BOOL;
typedef std::int32_t HRESULT;
typedef std::uintptr_t ULONG_PTR;
typedef char CHAR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef void* HMODULE;
typedef HMODULE HINSTANCE;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#ifndef WINAPI
#define WINAPI
#endif
