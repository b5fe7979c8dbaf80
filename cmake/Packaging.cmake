# Installation, find_package(gpal) and pkg-config.
include(CMakePackageConfigHelpers)

set(GPAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/gpal)
set(installed gpal)
if(NOT GPAL_PLATFORM_COMMON)
    list(APPEND installed PlatformCommon)
endif()

install(TARGETS ${installed} EXPORT gpalTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT gpalTargets NAMESPACE gpal:: DESTINATION ${GPAL_CMAKE_DIR})

configure_package_config_file(cmake/gpalConfig.cmake.in ${PROJECT_BINARY_DIR}/gpalConfig.cmake
                              INSTALL_DESTINATION ${GPAL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/gpalConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/gpalConfig.cmake ${PROJECT_BINARY_DIR}/gpalConfigVersion.cmake
        DESTINATION ${GPAL_CMAKE_DIR})

# The way from the .pc file back to the prefix, so that the installed tree can be moved.
file(RELATIVE_PATH GPAL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/gpal.pc.in ${PROJECT_BINARY_DIR}/gpal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/gpal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
