# The man pages. A page of several functions is found under the name of each.
file(GLOB pages CONFIGURE_DEPENDS docs/man/*.[13])
foreach(page IN LISTS pages)
    cmake_path(GET page FILENAME file)
    cmake_path(GET page STEM title)
    string(REGEX MATCH "[13]$" section ${file})
    if(section EQUAL 1)
        set(component tools)
    else()
        set(component development)
    endif()
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})

    # What stands between .SH NAME and the dash.
    file(READ ${page} text)
    string(REGEX MATCH "\\.SH NAME\n([a-zA-Z0-9_, \n-]*) [\\]-" names "${text}")
    string(REGEX MATCHALL "[a-zA-Z0-9_-]+" names "${CMAKE_MATCH_1}")
    list(REMOVE_ITEM names ${title})
    foreach(name IN LISTS names)
        file(CONFIGURE OUTPUT man/${name}.${section} CONTENT ".so man${section}/${file}\n" @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/man/${name}.${section}
                DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
    endforeach()
endforeach()
