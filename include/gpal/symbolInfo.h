/// \file
/// Readable names for code addresses and for mangled names.
#ifndef GPAL_SYMBOLINFO_H
#define GPAL_SYMBOLINFO_H

#include <string>

#include <gpal/export.h>

/// Symbol helpers; stateless, callable from any thread, no cancellation points.
class GPAL_API symbolInfo
{
public:
    /// The name of the nearest exported symbol at or below \p address, mangled as it stands in the
    /// dynamic symbol table (see `dladdr(3)`); "" when the address lies in no loaded object or no
    /// symbol covers it.
    static std::string getSymbol(const void* address);

    /// Replaces \p name by its demangled form (Itanium C++ ABI). A text that is not a mangled name
    /// is left as it is. Returns \p name.
    static std::string& demangleSymbol(std::string& name);
};

#endif
