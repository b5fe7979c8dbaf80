#include <gpal/packet_dump.h>

#include <string>

#include <gpal/CriticalSection.h>
#include <gpal/Semaphore.h>

#include "base/cancellation.h"
#include "network/CaptureReader.h"
#include "network/CaptureWriter.h"

using namespace gpal::detail;

struct packet_dump::Implementation {
    explicit Implementation(const char* file) : name(file != nullptr ? file : "") {}

    bool isUnopened() const { return writer == nullptr && reader == nullptr; }

    std::string name;
    Semaphore lock{1, 1, false}; ///< for one record
    /// The first call makes one of them. Nothing else changes these two, so they are looked at
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
    if (dump.isUnopened()) {
        // NOLINTNEXTLINE(modernize-make-unique): a temporary and its clean-up take more code
        dump.writer.reset(new CaptureWriter(dump.name.c_str()));
    }
    if (dump.writer == nullptr) {
        return -1;
    }
    const CriticalSection oneRecord(dump.lock);
    return dump.writer->write(payload, length, type);
}

int packet_dump::read(char* buffer, int size, t_packet_dump_type* type)
{
    if (buffer == nullptr || type == nullptr) {
        return -1;
    }
    const CancellationHeldOff untilRead;
    Implementation& dump = *m_implementation;
    if (dump.isUnopened()) {
        // NOLINTNEXTLINE(modernize-make-unique): a temporary and its clean-up take more code
        dump.reader.reset(new CaptureReader(dump.name.c_str()));
    }
    if (dump.reader == nullptr) {
        return -1;
    }
    const CriticalSection oneRecord(dump.lock);
    return dump.reader->read(buffer, size, *type);
}
