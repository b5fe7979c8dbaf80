# Debian packages of what is installed, made by "cpack" in the build folder: one for each component.
# They take a build with GPAL_MULTIARCH, as the presets have it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The developers of gpal <gpal@lists.gpal.invalid>")
# Each package says by itself what it is.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development documentation tools)
if(GPAL_DEBUG_FILE)
    list(APPEND CPACK_COMPONENTS_ALL debug)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The revision of packages that are not Debian's own.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0gpal1)
set(CPACK_DEBIAN_PACKAGE_SOURCE gpal)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish.cmake)
set(CPACK_GPAL_STRIP ${CMAKE_STRIP})
set(CPACK_GPAL_SYSROOT ${GPAL_SYSROOT})
set(runtimePackage libgpal${PROJECT_VERSION_MAJOR})

# What the compiler's libraries are called and how new they must be can be looked up on the host only.
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE mips)
    set(compilerLibraries "libc6, libgcc-s1, libstdc++6")
else()
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
        ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform_common)
endif()
set(sameVersion "${runtimePackage} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtimePackage})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ${compilerLibraries})
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "platform abstraction layer of a network telephone - library
Threads, semaphores, event objects, timers, child processes, files,
UDP sockets and diagnostics behind small classes and C functions, for
the applications of an embedded Linux telephone.")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
     "libgpal ${PROJECT_VERSION_MAJOR} ${runtimePackage} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/debian/triggers ${PROJECT_BINARY_DIR}/debian/shlibs)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgpal-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${sameVersion})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libgpal-doc)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "platform abstraction layer of a network telephone - development files
Headers, and what CMake and pkg-config need, to build applications on
the layer.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME libgpal-doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION
    "platform abstraction layer of a network telephone - documentation
How the layer is built, tested and packaged, and what it promises when
calls of the system fail.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME gpal-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
string(JOIN ", " CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${sameVersion} ${compilerLibraries})
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
    "platform abstraction layer of a network telephone - tools
gpal-info shows a device's memory, limits, disks and devices in one
screen, and lists files of captured packets.")

set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME ${runtimePackage}-dbg)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS ${sameVersion})
set(CPACK_DEBIAN_DEBUG_DESCRIPTION
    "platform abstraction layer of a network telephone - debugging information
What gdb needs to show the layer's threads, semaphores and timers, and
what they wait for.")
set(CPACK_GPAL_READELF ${CMAKE_READELF})

include(CPack)
