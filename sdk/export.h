// Symbol export attributes of the libraries of this tree.
//
// Each library has its own API macro made of the two below: ZT_DLL_EXPORT while the library itself
// is being built, ZT_DLL_IMPORT for its users. Everything not marked stays hidden.
//   ZTLIB_API   the value types (libztlib)
//   ZTASN1_API  the BER runtime, the message codec and the ASN.1 object types (libztasn1)
//   ZTTSP_API   this library's classes, and in the Linux build the Windows functions it serves
#pragma once

#if defined(_WIN32)
#define ZT_DLL_EXPORT __declspec(dllexport)
#define ZT_DLL_IMPORT __declspec(dllimport)
#else
#define ZT_DLL_EXPORT __attribute__((visibility("default")))
#define ZT_DLL_IMPORT __attribute__((visibility("default")))
#endif

#ifdef ZTLIB_BUILD
#define ZTLIB_API ZT_DLL_EXPORT
#else
#define ZTLIB_API ZT_DLL_IMPORT
#endif

#ifdef ZTASN1_BUILD
#define ZTASN1_API ZT_DLL_EXPORT
#else
#define ZTASN1_API ZT_DLL_IMPORT
#endif

#ifdef ZTTSP_BUILD
#define ZTTSP_API ZT_DLL_EXPORT
#else
#define ZTTSP_API ZT_DLL_IMPORT
#endif
