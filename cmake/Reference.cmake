# The target "reference": the exported headers as HTML, in html/. Whatever is declared there
# and not documented is an error.
find_package(Doxygen QUIET COMPONENTS dot)
if(TARGET Doxygen::doxygen AND TARGET Doxygen::dot)
    configure_file(docs/reference/Doxyfile.in Doxyfile @ONLY)
    set(diagrams diagrams)
    set(drawDiagrams "")
    foreach(name folders locks thread_life timer_life)
        list(APPEND drawDiagrams COMMAND Doxygen::dot -Tsvg -o ${diagrams}/${name}.svg
             ${PROJECT_SOURCE_DIR}/docs/diagrams/${name}.dot)
    endforeach()
    add_custom_target(reference
        COMMAND ${CMAKE_COMMAND} -E make_directory ${diagrams}
        ${drawDiagrams}
        COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
        COMMENT "Making the reference from the exported headers"
        VERBATIM)
endif()
