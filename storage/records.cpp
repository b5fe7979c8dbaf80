#include <gpal/Storage.h>

#include <cstring>
#include <unistd.h>

#include "base/cancellation.h"
#include "base/walkable.h"

StorageInterface::~StorageInterface() = default;

Storage::Storage()
    : m_accessMode(eAccessRead), m_stream(nullptr), m_readMode{}, m_writeMode{}, m_fileName(nullptr)
{
}

Storage::~Storage()
{
    const gpal::detail::CancellationHeldOff untilClosed;
    Storage::shutdown();
}

int Storage::init(char const* name, std::ios_base::openmode readMode,
                  std::ios_base::openmode writeMode)
{
    m_fileName = name;
    m_readMode = readMode;
    m_writeMode = writeMode;
    return 1;
}

GPAL_WALKABLE void Storage::shutdown()
{
    delete m_stream; // closes the file
    m_stream = nullptr;
}

bool Storage::openStorage(eAccessMode mode)
{
    if (m_stream != nullptr && m_stream->is_open()) {
        if (m_stream->good() && m_accessMode == mode) {
            return true;
        }
        shutdown();
    }
    m_accessMode = mode;
    if (m_stream == nullptr) {
        m_stream = new std::fstream;
    }
    const auto openMode = mode == eAccessWrite ? m_writeMode : m_readMode;
    if (m_fileName == nullptr || m_stream->rdbuf()->open(m_fileName, openMode) == nullptr) {
        m_stream->setstate(std::ios_base::failbit);
    }
    // A stream that could not be opened before still says so now: only the call after this one
    // starts with a new stream.
    return m_stream->good();
}

int Storage::store(char const* /*key*/, char* data, int length)
{
    const bool written = data != nullptr && openStorage(eAccessWrite) &&
                         m_stream->write(data, length) && m_stream->put('\n');
    return written ? length : 0;
}

int Storage::retrieve(char const* /*key*/, char* buffer)
{
    constexpr std::streamsize BUFFER_SIZE = 1024;
    if (buffer == nullptr || !openStorage(eAccessRead) || !m_stream->getline(buffer, BUFFER_SIZE)) {
        return 0;
    }
    const std::size_t length = std::strlen(buffer);
    if (m_stream->eof() && length != 0) {
        m_stream->clear(); // a last line without line feed leaves the stream usable
    }
    return static_cast<int>(length);
}

int Storage::writeBinary(char* data, int length)
{
    const bool written =
        data != nullptr && openStorage(eAccessWrite) && m_stream->write(data, length);
    return written ? length : 0;
}

int Storage::readBinary(char* buffer, int length)
{
    const bool read =
        buffer != nullptr && openStorage(eAccessRead) && m_stream->read(buffer, length);
    return read ? length : 0;
}

int Storage::clear()
{
    const std::ios_base::openmode usualMode = m_writeMode;
    shutdown();
    m_writeMode = std::ios_base::out | std::ios_base::trunc | std::ios_base::binary;
    if (!openStorage(eAccessWrite)) {
        return 0; // with the mode left: nothing is appended to a file that could not be emptied
    }
    shutdown();
    m_writeMode = usualMode;
    return 1;
}

bool Storage::storageExists()
{
    return true;
}

int Storage::storageType()
{
    return 1;
}

int Storage::findTag(char* /*tag*/)
{
    return 1;
}

void Storage::synchronizeStorage()
{
    sync();
}
