# The device as it is: its processor, and a small C library with one of two threads libraries
# (GPAL_DEVICE_THREADS), native or linuxthreads. device/runtime makes both with what is theirs of the
# compiler's run-time libraries; the compiler is Debian's for this processor (g++-mips-linux-gnu).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)

set(GPAL_DEVICE_THREADS native CACHE STRING "The device's threads library: native or linuxthreads")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES GPAL_DEVICE_THREADS)
if(DEFINED ENV{GPAL_DEVICE_CACHE})
    set(cache $ENV{GPAL_DEVICE_CACHE})
elseif(DEFINED ENV{XDG_CACHE_HOME})
    set(cache $ENV{XDG_CACHE_HOME}/gpal-device)
else()
    set(cache $ENV{HOME}/.cache/gpal-device)
endif()
set(GPAL_DEVICE_RUNTIME ${cache}/runtime-${GPAL_DEVICE_THREADS})
if(NOT EXISTS ${GPAL_DEVICE_RUNTIME}/compiler.specs)
    message(FATAL_ERROR "There is no ${GPAL_DEVICE_RUNTIME}: device/runtime ${GPAL_DEVICE_THREADS} makes it.")
endif()

# The specs tell the compiler where everything is.
set(CMAKE_C_COMPILER mips-linux-gnu-gcc -specs=${GPAL_DEVICE_RUNTIME}/compiler.specs)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++ -specs=${GPAL_DEVICE_RUNTIME}/compiler.specs)
set(CMAKE_FIND_ROOT_PATH ${GPAL_DEVICE_RUNTIME})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs run on the device. The emulator is for listing their tests.
find_program(GPAL_QEMU_MIPS qemu-mips)
set(CMAKE_CROSSCOMPILING_EMULATOR "${GPAL_QEMU_MIPS};-R;0x30000000;-L;${GPAL_DEVICE_RUNTIME}")

include(${CMAKE_CURRENT_LIST_DIR}/mips-code.cmake)
# The loader knows the place of what it has loaded in DT_RPATH only.
set(CMAKE_EXE_LINKER_FLAGS_INIT "${GPAL_WALKABLE_PROGRAM} -Wl,--disable-new-dtags")
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,--disable-new-dtags")
