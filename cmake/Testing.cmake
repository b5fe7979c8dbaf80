# Test doubles of the layer for applications' tests: find_package(gpal COMPONENTS testing), and
# gpal-testing for pkg-config. All of it is headers, so that it fits every compiler and GoogleTest;
# nothing of it is in the library, and GoogleTest is needed by who uses it only.

file(GLOB GPAL_TESTING_HEADERS CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/include/gpal/testing
     ${PROJECT_SOURCE_DIR}/include/gpal/testing/*.h)
list(TRANSFORM GPAL_TESTING_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/include/gpal/testing/
     OUTPUT_VARIABLE testingHeaderFiles)
add_library(gpalTesting INTERFACE)
add_library(gpal::testing ALIAS gpalTesting)
target_sources(gpalTesting INTERFACE FILE_SET HEADERS BASE_DIRS include FILES ${testingHeaderFiles})
target_link_libraries(gpalTesting INTERFACE gpal GTest::gmock ${CMAKE_DL_LIBS})

# Whoever links it has the guard compiled in and need not include it.
set(GPAL_TESTING_DIR ${CMAKE_INSTALL_DATADIR}/gpal/testing)
add_library(gpalTestingGuard INTERFACE)
add_library(gpal::testing_guard ALIAS gpalTestingGuard)
target_sources(gpalTestingGuard INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/testing/reboot_guard.cpp>
    $<INSTALL_INTERFACE:${GPAL_TESTING_DIR}/reboot_guard.cpp>)
target_link_libraries(gpalTestingGuard INTERFACE gpal ${CMAKE_DL_LIBS})

set_target_properties(gpalTesting PROPERTIES EXPORT_NAME testing)
set_target_properties(gpalTestingGuard PROPERTIES EXPORT_NAME testing_guard)
install(TARGETS gpalTesting gpalTestingGuard EXPORT gpalTestingTargets
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT gpalTestingTargets NAMESPACE gpal:: DESTINATION ${GPAL_CMAKE_DIR}
        COMPONENT development)
install(FILES testing/reboot_guard.cpp DESTINATION ${GPAL_TESTING_DIR} COMPONENT development)

configure_file(cmake/gpal-testing.pc.in ${PROJECT_BINARY_DIR}/gpal-testing.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/gpal-testing.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
