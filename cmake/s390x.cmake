# Cross build for big-endian Linux (s390x); the programs run under qemu's user-mode emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(QVBASE_SYSROOT /usr/s390x-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${QVBASE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# QEMU_LD_PREFIX rather than -L: child processes inherit it, so an emulated test that starts
# another s390x program (through the kernel's binfmt_misc entry for qemu) finds its loader too.
set(CMAKE_CROSSCOMPILING_EMULATOR env QEMU_LD_PREFIX=${QVBASE_SYSROOT} qemu-s390x)
