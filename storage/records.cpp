#include <gpal/Storage.h>

#include <cstring>
#include <unistd.h>

#include "base/cancellation.h"
#include "base/closing.h"
#include "base/walkable.h"
#include "cancelled.h"

using gpal::detail::cancellably;
using gpal::detail::DestroyedIfCancelled;

namespace
{

constexpr std::ios_base::openmode EMPTYING =
    std::ios_base::out | std::ios_base::trunc | std::ios_base::binary;

/// Takes a stream away, with what is not written yet, unless what it was needed for gets done.
class GoneUnlessDone
{
public:
    explicit GoneUnlessDone(std::fstream*& stream) : m_stream(stream) {}
    GoneUnlessDone(const GoneUnlessDone&) = delete;
    GoneUnlessDone& operator=(const GoneUnlessDone&) = delete;
    ~GoneUnlessDone()
    {
        if (!m_isDone) {
            gpal::detail::DropAndClose()(m_stream->rdbuf());
            delete m_stream;
            m_stream = nullptr;
        }
    }

    void done() { m_isDone = true; }

private:
    std::fstream*& m_stream;
    bool m_isDone = false;
};

/// Works with a stream, which is taken away when the thread is cancelled meanwhile, and returns how
/// that went.
template <typename Work>
auto workWith(std::fstream*& stream, Work work)
{
    GoneUnlessDone working(stream);
    const DestroyedIfCancelled whenCancelled(working);
    const auto result = cancellably(work);
    working.done();
    return result;
}

/// Gives a mode that is changed for a while its value back.
struct ModeRestored {
    explicit ModeRestored(std::ios_base::openmode& mode) : m_mode(mode), m_value(mode) {}
    ModeRestored(const ModeRestored&) = delete;
    ModeRestored& operator=(const ModeRestored&) = delete;
    ~ModeRestored() { m_mode = m_value; }

    std::ios_base::openmode& m_mode;
    std::ios_base::openmode m_value;
};

} // namespace

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
    if (m_stream != nullptr) {
        const GoneUnlessDone inAnyCase(m_stream);
        const DestroyedIfCancelled whenCancelled(inAnyCase);
        cancellably([this] { return m_stream->rdbuf()->pubsync(); });
    }
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
    if (m_fileName == nullptr || !workWith(m_stream, [&] {
            return m_stream->rdbuf()->open(m_fileName, openMode) != nullptr;
        })) {
        m_stream->setstate(std::ios_base::failbit);
    }
    // A stream that could not be opened before still says so now: only the call after this one
    // starts with a new stream.
    return m_stream->good();
}

int Storage::store(char const* /*key*/, char* data, int length)
{
    if (data == nullptr || length < 0 || !openStorage(eAccessWrite)) {
        return 0;
    }
    const bool written =
        workWith(m_stream, [&] { return m_stream->write(data, length) && m_stream->put('\n'); });
    return written ? length : 0;
}

int Storage::retrieve(char const* /*key*/, char* buffer)
{
    constexpr std::streamsize BUFFER_SIZE = 1024;
    if (buffer == nullptr || !openStorage(eAccessRead) ||
        !workWith(m_stream, [&] { return !m_stream->getline(buffer, BUFFER_SIZE).fail(); })) {
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
    if (data == nullptr || length < 0 || !openStorage(eAccessWrite)) {
        return 0;
    }
    const bool written = workWith(m_stream, [&] { return !m_stream->write(data, length).fail(); });
    return written ? length : 0;
}

int Storage::readBinary(char* buffer, int length)
{
    const bool read = buffer != nullptr && length >= 0 && openStorage(eAccessRead) &&
                      workWith(m_stream, [&] { return !m_stream->read(buffer, length).fail(); });
    return read ? length : 0;
}

int Storage::clear()
{
    shutdown();
    ModeRestored afterwards(m_writeMode);
    const DestroyedIfCancelled whenCancelled(afterwards);
    m_writeMode = EMPTYING;
    if (!openStorage(eAccessWrite)) {
        afterwards.m_value = EMPTYING; // nothing is appended to a file that could not be emptied
        return 0;
    }
    shutdown();
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
