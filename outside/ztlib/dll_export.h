// Symbol export attributes shared by the libraries of this tree.
//
// Each library defines its own API macro from these two: ZT_DLL_EXPORT while the library itself is
// being built, ZT_DLL_IMPORT for its users. Everything not marked stays hidden.
#pragma once

#if defined(_WIN32)
#define ZT_DLL_EXPORT __declspec(dllexport)
#define ZT_DLL_IMPORT __declspec(dllimport)
#else
#define ZT_DLL_EXPORT __attribute__((visibility("default")))
#define ZT_DLL_IMPORT __attribute__((visibility("default")))
#endif
