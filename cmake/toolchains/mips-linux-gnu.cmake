# The device's processor, 32-bit big-endian MIPS (o32), with Debian's cross compiler
# (g++-mips-linux-gnu) and, for running what was built, its user emulation (qemu-user).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
set(GPAL_SYSROOT /usr/mips-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${GPAL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The emulator lays shared libraries out downwards from the end of the addresses it reserves: they
# come to lie where a walk through the stack takes them for code, as on the device.
find_program(GPAL_QEMU_MIPS qemu-mips)
set(CMAKE_CROSSCOMPILING_EMULATOR "${GPAL_QEMU_MIPS};-R;0x30000000")

include(${CMAKE_CURRENT_LIST_DIR}/mips-code.cmake)

# Interpreter and library path are the cross packages' own, so that programs run as they are. The path serves what a
# program itself needs, so that names the compiler's library too, which some need through the layer only.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "${GPAL_WALKABLE_PROGRAM} -Wl,--dynamic-linker=${GPAL_SYSROOT}/lib/ld.so.1 -Wl,--disable-new-dtags,-rpath,${GPAL_SYSROOT}/lib")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,--push-state,--no-as-needed,-lgcc_s,--pop-state")
