#include <gpal/packet_dump.h>

#include <atomic>
#include <string>

#include <gpal/Semaphore.h>

#include "base/cancellation.h"
#include "base/locked.h"
#include "network/CaptureReader.h"
#include "network/CaptureWriter.h"

using namespace gpal::detail;

struct packet_dump::Implementation {
    explicit Implementation(const char* file) : name(file != nullptr ? file : "") {}

    /// Makes \p direction, one of the two below, if this is the first call.
    template <typename Direction>
    void openOnce(std::unique_ptr<Direction>& direction)
    {
        if (opened) {
            return;
        }
        locked(opening, [&] {
            if (!opened) {
                // NOLINTNEXTLINE(modernize-make-unique): a temporary takes more code
                direction.reset(new Direction(name.c_str()));
                opened = true;
            }
        });
    }

    /// Runs \p body, which throws nothing, with the lock held, while cancellation is held off.
    template <typename Body>
    int oneRecord(Body body)
    {
        lock.take(-1);
        const int result = body();
        lock.give();
        return result;
    }

    std::string name;
    Semaphore lock{1, 1, false}; ///< for one record
    pthread_mutex_t opening = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> opened{false};
    /// Of these the first call makes one, and nothing changes them later. They are looked at
    /// without the lock: the wrong function fails at once, whatever the other one waits for.
    std::unique_ptr<CaptureWriter> writer;
    std::unique_ptr<CaptureReader> reader;
};

packet_dump::packet_dump(char* file) : m_implementation(std::make_unique<Implementation>(file)) {}

packet_dump::~packet_dump()
{
    const CancellationHeldOff untilClosed;
    m_implementation.reset();
}

int packet_dump::write(char* payload, int length, t_packet_dump_type type)
{
    if (payload == nullptr || length < 0) {
        return -1;
    }
    const CancellationHeldOff untilWritten;
    Implementation& dump = *m_implementation;
    dump.openOnce(dump.writer);
    if (dump.writer == nullptr) {
        return -1;
    }
    return dump.oneRecord([&] { return dump.writer->write(payload, length, type); });
}

int packet_dump::read(char* buffer, int size, t_packet_dump_type* type)
{
    if (buffer == nullptr || type == nullptr) {
        return -1;
    }
    const CancellationHeldOff untilRead;
    Implementation& dump = *m_implementation;
    dump.openOnce(dump.reader);
    if (dump.reader == nullptr) {
        return -1;
    }
    return dump.oneRecord([&] { return dump.reader->read(buffer, size, *type); });
}
