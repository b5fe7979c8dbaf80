/// \file
/// The device's memory.
#ifndef GPAL_MEMORYINFORMATION_H
#define GPAL_MEMORYINFORMATION_H

#include <string>

#include <gpal/export.h>

/// Reads the kernel's "/proc/meminfo", anew with each call. A key that is missing there counts as
/// 0. Callable from any thread, and no cancellation points, save for `getAllMemoryInfo`.
class GPAL_API MemoryInformation
{
public:
    virtual ~MemoryInformation();

    /// The whole memory in kB (1,024 bytes), or -1 when the file can't be opened.
    int getTotalMemory();

    /// Free memory and page cache together, in MiB (unlike the above; each rounded down), or -1
    /// when the file can't be opened.
    int getFreeMemory();

    /// Puts a summary in one line, without line end, into \p text. Returns false, with \p text as
    /// it was, when the file can't be opened.
    bool getGenericMemoryInfo(std::string& text);

    /// Runs the device's `top` once and appends nothing else: its output goes into \p file, which
    /// is made (mode 0644) or overwritten from its start, without being truncated.
    ///
    /// Standard output and standard error of the calling process stay redirected to \p file. Meant
    /// for a process that ends soon after.
    ///
    /// \return false when \p file can't be opened, the output not be redirected, or `top` not be
    ///         started
    ///
    /// A cancellation point, at first while standard output is flushed, then while it waits until
    /// `top` has ended; the output is redirected then.
    bool getAllMemoryInfo(const std::string& file);
};

#endif
