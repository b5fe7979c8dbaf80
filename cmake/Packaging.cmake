# Installation in components, find_package(gpal) and pkg-config, and taking it all away again.
include(CMakePackageConfigHelpers)

set(GPAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/gpal)

install(TARGETS gpal EXPORT gpalTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT runtime NAMELINK_COMPONENT development
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(GPAL_PLATFORM_COMMON)
    set(GPAL_PLATFORM_COMMON_LIBS -lPlatformCommon)
else()
    # Clients that use the constants find the stand-in where it is at run time too.
    install(TARGETS gpalPlatformCommon EXPORT gpalTargets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gpal COMPONENT runtime)
    target_link_options(gpalPlatformCommon INTERFACE
        $<INSTALL_INTERFACE:LINKER:-rpath,$<INSTALL_PREFIX>/${CMAKE_INSTALL_LIBDIR}/gpal>)
    set(GPAL_PLATFORM_COMMON_LIBS
        "-L\${libdir}/gpal -Wl,-rpath,\${libdir}/gpal -lPlatformCommon")
endif()
install(EXPORT gpalTargets NAMESPACE gpal:: DESTINATION ${GPAL_CMAKE_DIR} COMPONENT development)

configure_package_config_file(cmake/gpalConfig.cmake.in ${PROJECT_BINARY_DIR}/gpalConfig.cmake
                              INSTALL_DESTINATION ${GPAL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/gpalConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/gpalConfig.cmake ${PROJECT_BINARY_DIR}/gpalConfigVersion.cmake
        DESTINATION ${GPAL_CMAKE_DIR} COMPONENT development)

# The way from the .pc file back to the prefix, so that the installed tree can be moved.
file(RELATIVE_PATH GPAL_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/gpal.pc.in ${PROJECT_BINARY_DIR}/gpal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/gpal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
    # The documentation: the pages, the reference if it was made, and what "man" shows.
    include(Reference)
    install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
    install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation
            FILES_MATCHING PATTERN *.md PATTERN *.svg
            PATTERN diagrams EXCLUDE PATTERN man EXCLUDE PATTERN reference EXCLUDE)
    install(DIRECTORY examples/guide DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
            COMPONENT documentation FILES_MATCHING PATTERN *.cpp)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/html DESTINATION ${CMAKE_INSTALL_DOCDIR}
            COMPONENT documentation OPTIONAL)
    include(ManPages)

    add_custom_target(uninstall
        COMMAND ${CMAKE_COMMAND} -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
    include(DebianPackages)
endif()
