# The target "reference": the exported headers as HTML, in reference/html. Whatever is declared there
# and not documented is an error.
find_package(Doxygen COMPONENTS dot)
if(TARGET Doxygen::doxygen AND TARGET Doxygen::dot)
    configure_file(docs/reference/Doxyfile.in Doxyfile @ONLY)
    add_custom_target(reference
        COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile
        COMMENT "Making the reference from the exported headers")
endif()
