/// \file
/// How record files are opened.
#ifndef GPAL_TESTS_STORAGE_RECORD_MODES_H
#define GPAL_TESTS_STORAGE_RECORD_MODES_H

#include <ios>

constexpr auto APPEND = std::ios_base::out | std::ios_base::app | std::ios_base::binary;

#endif
