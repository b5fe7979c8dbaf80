# 64-bit ARM, as many development machines have it, with Debian's cross compiler
# (g++-aarch64-linux-gnu) and, for running what was built, its user emulation (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(GPAL_SYSROOT /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${GPAL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# With addresses reserved, the emulator gives the place of an unloaded library away again, as the kernel
# does.
find_program(GPAL_QEMU_AARCH64 qemu-aarch64)
set(CMAKE_CROSSCOMPILING_EMULATOR "${GPAL_QEMU_AARCH64};-R;0x800000000")

# Interpreter and library path are the cross packages' own, so that programs run as they are.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${GPAL_SYSROOT}/lib/ld-linux-aarch64.so.1 -Wl,--disable-new-dtags,-rpath,${GPAL_SYSROOT}/lib")
