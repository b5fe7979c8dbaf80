/// \file
/// The layer's version. It is stated here only: the build, the packages and the library's file name
/// take it from here.
#ifndef GPAL_VERSION_H
#define GPAL_VERSION_H

/// Another major version is another interface, and another name of the library for the loader.
#define GPAL_VERSION_MAJOR 1
/// A higher minor version has more; clients of a lower one run with it unchanged.
#define GPAL_VERSION_MINOR 0
/// A higher patch version does the same better.
#define GPAL_VERSION_PATCH 0

/// A number as a text; for GPAL_VERSION_STRING only.
#define GPAL_VERSION_TEXT_OF(number) #number
/// Three numbers as a text; for GPAL_VERSION_STRING only.
#define GPAL_VERSION_TEXT(major, minor, patch)                                                     \
    GPAL_VERSION_TEXT_OF(major) "." GPAL_VERSION_TEXT_OF(minor) "." GPAL_VERSION_TEXT_OF(patch)

/// The version of these headers as a text: "1.0.0".
#define GPAL_VERSION_STRING                                                                        \
    GPAL_VERSION_TEXT(GPAL_VERSION_MAJOR, GPAL_VERSION_MINOR, GPAL_VERSION_PATCH)

#endif
