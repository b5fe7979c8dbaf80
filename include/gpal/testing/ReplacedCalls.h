/// \file
/// The functions of the C library that the recorders of the system log and of shell commands put in
/// their own place. Not to be included by itself.
///
/// The program that includes this header defines these functions, so calls of the layer reach them
/// first. They are defined under names of their own that the linker sees as the C library's: the C
/// library's headers may have made macros or inline functions of those. They are weak, so that
/// several sources of a program may include it, and visible however the program is compiled.
#ifndef GPAL_TESTING_REPLACEDCALLS_H
#define GPAL_TESTING_REPLACEDCALLS_H

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace gpal::testing::detail
{

/// The C library's own function.
template <typename Function>
Function* original(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Ends the program if the dynamic linker binds the layer's calls to another function than this
/// program's, which would then do for real what is to be replaced.
inline void requireInForce(const char* name, const void* function)
{
    if (dlsym(RTLD_DEFAULT, name) != function) {
        std::fprintf(stderr,
                     "gpal/testing: %s() of this program is not the one that the layer calls. Link "
                     "the program itself with gpal, or with -rdynamic.\n",
                     name);
        std::abort();
    }
}

} // namespace gpal::testing::detail

#define GPAL_TESTING_REPLACES(name) __asm__(name) __attribute__((weak, used, visibility("default")))

#endif
