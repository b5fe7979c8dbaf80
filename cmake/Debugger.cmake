# What gdb knows of the layer (docs/debugging.md), and the library's debugging information.
option(GPAL_DEBUG_FILE
       "Build the library with debugging information, which goes into a file of its own beside it" OFF)

if(GPAL_DEBUG_FILE)
    target_compile_options(gpal PRIVATE -g)
    target_link_options(gpal PRIVATE -g)
    # gdb tells by the build id that the file belongs to the library, which takes no room in it.
    add_custom_command(TARGET gpal POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --only-keep-debug --compress-debug-sections
                $<TARGET_FILE:gpal> $<TARGET_FILE:gpal>.debug 2>/dev/null
        COMMAND ${CMAKE_OBJCOPY} --strip-debug $<TARGET_FILE:gpal>)
    install(FILES $<TARGET_FILE:gpal>.debug DESTINATION ${CMAKE_INSTALL_LIBDIR}
            COMPONENT development)
endif()

# gdb looks for a script of the library's name beside the library, and for one with the library's whole
# path below its own folder of scripts. In the build tree the package is where its sources are.
set(script libgpal.so.${PROJECT_VERSION}-gdb.py)
set(GPAL_GDB_PACKAGE ${PROJECT_SOURCE_DIR}/debugger)
configure_file(debugger/libgpal-gdb.py.in ${PROJECT_BINARY_DIR}/${script} @ONLY)

set(scripts ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH GPAL_GDB_PACKAGE
     ${CMAKE_INSTALL_PREFIX}/${scripts} ${CMAKE_INSTALL_FULL_DATADIR}/gpal/gdb)
configure_file(debugger/libgpal-gdb.py.in ${PROJECT_BINARY_DIR}/installed/${script} @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/installed/${script} DESTINATION ${scripts}
        COMPONENT development)
install(DIRECTORY debugger/gpal_gdb DESTINATION ${CMAKE_INSTALL_DATADIR}/gpal/gdb
        COMPONENT development PATTERN __pycache__ EXCLUDE)
