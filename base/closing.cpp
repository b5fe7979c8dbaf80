#include "base/closing.h"

#include <stdio_ext.h>

#include "base/cancellation.h"
#include "base/errno_kept.h"

namespace
{

/// Where the standard library lets a buffer's own class, and no other, forget its content.
struct Buffer : std::filebuf {
    static void drop(std::filebuf& buffer) { (buffer.*&Buffer::setp)(nullptr, nullptr); }
};

} // namespace

namespace gpal::detail
{

void DropAndClose::operator()(std::filebuf* file) const
{
    const ErrnoKept ofTheCaller;
    const CancellationHeldOff untilClosed;
    Buffer::drop(*file);
    file->close();
}

void DropAndClose::operator()(std::FILE* file) const
{
    const ErrnoKept ofTheCaller;
    const CancellationHeldOff untilClosed;
    __fpurge(file);
    std::fclose(file);
}

} // namespace gpal::detail
