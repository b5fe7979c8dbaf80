/// \file
/// Lists the records of a capture of any content.
#include <cstdio>
#include <memory>

#include "capture_records.h"
#include "check.h"
#include "memory_file.h"

using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t RECORD_HEADER = 16;
    static const fuzz::MemoryFile file;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
        std::fopen(file.with(data, size).c_str(), "re"), std::fclose);
    gpalinfo::CaptureRecords records(stream.get());
    gpalinfo::CaptureRecord record;
    std::size_t count = 0;
    while (records.read(record)) {
        check(++count <= size / RECORD_HEADER);
        check(record.payloadSize < size && record.firstBytes.size() <= record.payloadSize);
        check(record.protocol != gpalinfo::CaptureRecord::OTHER || record.payloadSize == 0);
    }
    check(!records.read(record));
    return 0;
}
