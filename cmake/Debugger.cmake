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
    install(FILES $<TARGET_FILE:gpal>.debug DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT debug)
endif()

# gdb looks for a script of the library's name beside the library, as in the build tree, and below its own
# folders of scripts for one with the library's whole path, which is known when it is installed.
set(GPAL_GDB_PACKAGE ${PROJECT_SOURCE_DIR}/debugger)
set(script libgpal.so.${PROJECT_VERSION}-gdb.py)
configure_file(debugger/libgpal-gdb.py.in ${PROJECT_BINARY_DIR}/${script} @ONLY)

install(DIRECTORY debugger/gpal_gdb DESTINATION ${CMAKE_INSTALL_DATADIR}/gpal/gdb
        COMPONENT development PATTERN __pycache__ EXCLUDE)
install(CODE "
    set(data \${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR})
    set(scripts \${data}/gdb/auto-load\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
    file(RELATIVE_PATH GPAL_GDB_PACKAGE \${scripts} \${data}/gpal/gdb)
    configure_file(${PROJECT_SOURCE_DIR}/debugger/libgpal-gdb.py.in
                   ${PROJECT_BINARY_DIR}/installed/${script} @ONLY)
    file(INSTALL ${PROJECT_BINARY_DIR}/installed/${script} DESTINATION \${scripts})"
    COMPONENT development)
