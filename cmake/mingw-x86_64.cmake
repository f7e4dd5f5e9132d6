# Cross build for 64-bit Windows with mingw-w64 (posix thread model, needed for std::thread).
# Windows x86_64 is LLP64: long stays 32 bits while pointers and sizes are 64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Test programs run under Wine's 64-bit loader in a 64-bit prefix that belongs to the build tree.
# The `wine` script prefers the 32-bit loader, which some hosts cannot execute at all.
set(CMAKE_CROSSCOMPILING_EMULATOR
  env WINEPREFIX=${CMAKE_BINARY_DIR}/wineprefix WINEARCH=win64 WINEDEBUG=-all /usr/lib/wine/wine64)
