/// \file
/// Resource limits of the calling process, in the units of the shell's `ulimit`.
#ifndef GPAL_ULIMIT_H
#define GPAL_ULIMIT_H

#include <string>
#include <sys/resource.h>

#include <gpal/export.h>

/// Reports soft limits. Stateless, callable from any thread, no cancellation points.
class GPAL_API Ulimit
{
public:
    /// One limit that can be asked for.
    struct limits {
        const char* label; ///< descriptive only; null ends a table
        int resource;      ///< as `getrlimit(2)` takes it
        int factor;        ///< bytes, seconds or pieces to one unit of the report
        char option;       ///< letter by which callers ask, as for `ulimit`
    };

    virtual ~Ulimit();

    /// Stores the soft limit that the shell's `ulimit -<option>` shows as decimal text, or
    /// "unlimited": t CPU seconds, f file size in 512-byte blocks, d data, s stack, m memory, l
    /// locked memory and v virtual memory in kilobytes, c core file size in 512-byte blocks, p
    /// processes, n open files, w locks. Returns false, with \p out as it was, for any other
    /// letter.
    bool getulimit(char option, std::string& out);

    /// Stores the soft limit of \p limit, divided by the factor of \p record and rounded down, as
    /// decimal text; "unlimited" for `RLIM_INFINITY`. With a null pointer, or the factor 0, \p out
    /// stays as it was; a factor below 0 divides as the unsigned number that it stands for.
    void getlimit(const rlimit* limit, const limits* record, std::string& out);
};

#endif
