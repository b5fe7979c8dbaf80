# CPack runs this before it makes packages of the folders that their files were installed to. It adds
# what every Debian package carries, and takes out what only other places need.
set(here ${CMAKE_CURRENT_LIST_DIR})

# The newest version that CHANGELOG.md knows is the one that is packaged; its day is the package's.
file(STRINGS ${here}/../../CHANGELOG.md heading LIMIT_COUNT 1 REGEX "^## ")
string(REGEX MATCH "^## ${CPACK_PACKAGE_VERSION} [(]([-0-9]+)[)]$" matched "${heading}")
if(NOT matched)
    message(FATAL_ERROR "CHANGELOG.md begins with \"${heading}\", not with ${CPACK_PACKAGE_VERSION}.")
endif()
execute_process(COMMAND date -u -R -d ${CMAKE_MATCH_1} OUTPUT_VARIABLE date
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
    set(documents ${root}/share/doc/${package})

    file(COPY ${here}/copyright DESTINATION ${documents})
    configure_file(${here}/changelog.in ${documents}/changelog.Debian @ONLY)
    if(EXISTS ${here}/${package}.overrides)
        configure_file(${here}/${package}.overrides ${root}/share/lintian/overrides/${package} COPYONLY)
    endif()
    if(EXISTS ${root}/share/doc/gpal/html/index.html)
        configure_file(${here}/doc-base ${root}/share/doc-base/${package}.gpal COPYONLY)
    endif()
    file(GLOB_RECURSE pages ${root}/share/man/*.[1-9])
    execute_process(COMMAND gzip -9n ${documents}/changelog.Debian ${pages} COMMAND_ERROR_IS_FATAL ANY)

    # Debuggers look for it by the library's build id.
    file(GLOB_RECURSE information ${root}/lib/*.debug)
    if(information)
        execute_process(COMMAND ${CPACK_GPAL_READELF} -n ${information} OUTPUT_VARIABLE notes
                        COMMAND_ERROR_IS_FATAL ANY)
        string(REGEX MATCH "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)" id "${notes}")
        set(place ${root}/lib/debug/.build-id/${CMAKE_MATCH_1})
        cmake_path(GET information PARENT_PATH installed)
        file(MAKE_DIRECTORY ${place})
        file(RENAME ${information} ${place}/${CMAKE_MATCH_2}.debug)
        file(REMOVE_RECURSE ${installed})
    endif()

    # On the device and its like, the loader lies where it always does, and finds by itself what
    # packages put in its folders. The new name is padded with what ends names.
    file(GLOB programs ${root}/bin/*)
    foreach(program IN LISTS programs)
        file(RPATH_REMOVE FILE ${program})
        if(CPACK_GPAL_SYSROOT)
            string(REGEX REPLACE "." "\\\\x00" padding ${CPACK_GPAL_SYSROOT})
            execute_process(COMMAND sed -i "s|${CPACK_GPAL_SYSROOT}\\(/lib/ld.so.1\\)|\\1${padding}|" ${program}
                            COMMAND_ERROR_IS_FATAL ANY)
        endif()
    endforeach()
    file(GLOB_RECURSE libraries ${root}/lib/*.so ${root}/lib/*.so.*.*.*)
    foreach(binary IN LISTS programs libraries)
        if(NOT IS_SYMLINK ${binary})
            execute_process(COMMAND ${CPACK_GPAL_STRIP} --strip-unneeded --remove-section=.comment ${binary}
                            COMMAND_ERROR_IS_FATAL ANY)
        endif()
    endforeach()
endforeach()
