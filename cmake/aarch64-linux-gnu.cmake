# Cross build for 64-bit Arm Linux with Debian's cross toolchain; tests run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# The :arm64 packages (liblog, zlib) pull in Debian's multiarch arm64 C library.
# When it is there, qemu must use it as the program's loader: mixing the cross
# sysroot's loader (-L) with the multiarch libc makes pthread_create spin
# forever. The sysroot is only the fallback for machines without it.
if(EXISTS /lib/ld-linux-aarch64.so.1)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
endif()
