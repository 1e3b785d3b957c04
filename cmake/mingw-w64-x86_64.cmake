# Cross build of the 64-bit Windows DLL with Debian's mingw-w64 (posix threads flavour, so that
# std::thread works in the tests). The GCC runtime and winpthreads are linked statically: the
# DLLs and test programs then need nothing but Windows' own DLLs, also in a fresh Wine prefix.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZTTSP_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ZTTSP_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZTTSP_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZTTSP_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZTTSP_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
