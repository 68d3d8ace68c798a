# 32-bit ARM with NEON, cross-compiled with Debian's toolchain; tests run under qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_FLAGS_INIT "-mfpu=neon -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-mfpu=neon -mfloat-abi=hard -Wno-psabi")
# The loader must be the multi-arch libc's own: the cross package's is another build of it, and a
# program that mixes the two dies at its first thread.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;/")
# Multi-arch packages land in /usr/lib/arm-linux-gnueabihf, with headers shared in /usr/include.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
