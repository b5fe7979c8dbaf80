#include <gpal/FileHandle.h>

#include <gpal/syslogger.h>

#include "base/cancellation.h"
#include "base/closing.h"
#include "cancelled.h"

FileHandle::FileHandle(std::string path, std::ios_base::openmode mode) : m_path(std::move(path))
{
    gpal::detail::cancellably([this, mode] { open(m_path, mode); });
}

FileHandle::~FileHandle()
{
    const gpal::detail::CancellationHeldOff untilClosed;
    if (bad()) {
        gpal::detail::DropAndClose()(rdbuf()); // to write once more could block for ever
    }
    rdbuf()->close(); // the stream's own would throw where the client has asked it to
}

bool FileHandle::isOpen()
{
    if (is_open() && !fail()) {
        return true;
    }
    syslogger_error("file \"%s\" couldn't be opened\n", m_path.c_str());
    return false;
}
