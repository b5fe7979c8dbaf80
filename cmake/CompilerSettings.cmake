# How everything in this tree is compiled.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()

# File sizes have 64 bits on every processor, for clients too. It is asked for only where it is not so
# by itself: asking also makes the C library's file functions go by other names. time_t stays the
# platform's plain one.
include(CheckTypeSize)
check_type_size(off_t GPAL_OFF_T LANGUAGE CXX)
if(GPAL_OFF_T LESS 8)
    set(GPAL_FILE_OFFSETS _FILE_OFFSET_BITS=64)
    set(GPAL_FILE_OFFSETS_FLAG -D${GPAL_FILE_OFFSETS})
endif()
add_compile_options(-Wall -Wextra -Wshadow -Wconversion
                    "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>")
if(GPAL_WARNINGS_AS_ERRORS)
    add_compile_options(-Werror)
endif()
# Calls between the library's own functions are direct; those to the C library are not affected.
add_compile_options(-fno-semantic-interposition)

# Libraries are mapped in two pieces and not in four: they load quicker, and are smaller.
string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,-z,noseparate-code")

# Where clang's run-time libraries are.
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                    OUTPUT_VARIABLE GPAL_RUNTIME_DIR OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
if(GPAL_SANITIZE)
    add_compile_options(-fsanitize=${GPAL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${GPAL_SANITIZE})
    # AddressSanitizer does not see the C library unwind the stack of a cancelled thread: what it keeps
    # between the variables of the frames that are gone looks like an overflow to the clean-up code
    # that uses their place next. Code that is cancelled goes without its checks of the stack.
    if(GPAL_SANITIZE MATCHES address)
        if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
            set(GPAL_CANCELLED_CODE_OPTIONS -mllvm -asan-stack=0)
        else()
            set(GPAL_CANCELLED_CODE_OPTIONS --param=asan-stack=0)
        endif()
    endif()
    # The tests put functions in place of the C library's and pass calls on to the next one: that has
    # to be the sanitizer's, which therefore is a library of its own, as gcc has it.
    if(GPAL_RUNTIME_DIR)
        add_link_options(-shared-libsan LINKER:-rpath,${GPAL_RUNTIME_DIR})
    endif()
endif()
# The fuzzers are steered by what the library's code tells them that it runs.
if(GPAL_BUILD_FUZZERS)
    set(GPAL_FUZZED_CODE_OPTIONS -fsanitize=fuzzer-no-link)
endif()
# What the tests run is counted in a build that is optimised a little: the hardened functions of the C
# library take that, and branches are still those of the sources as long as none is copied to elsewhere.
# Threads count at the same time. The layer ignores some results on purpose.
if(GPAL_COVERAGE)
    set(GPAL_COUNTED_CODE_OPTIONS --coverage -fprofile-update=atomic -O1 -fno-inline)
    set(GPAL_HARDENED_CODE_OPTIONS -D_FORTIFY_SOURCE=3 -Wno-unused-result)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
