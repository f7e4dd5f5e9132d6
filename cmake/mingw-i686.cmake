# Cross build for 32-bit Windows with mingw-w64 (posix thread model, needed for std::thread).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Test programs run under Wine in a prefix that belongs to the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR
  env WINEPREFIX=${CMAKE_BINARY_DIR}/wineprefix WINEARCH=win32 WINEDEBUG=-all wine)
# SSE2 arithmetic, as on x86_64: x87 extended precision would round differently from the
# Linux build, and numbers written to files must come out the same on both.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
