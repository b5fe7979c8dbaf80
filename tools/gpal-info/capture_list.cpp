#include "capture_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "capture_records.h"
#include "json.h"
#include "output.h"

namespace gpalinfo
{
namespace
{

constexpr std::size_t SHOWN_BYTES = 7;

struct Summary {
    int records = 0;
    long long bytes = 0; ///< of UDP payload
};

const char* nameOf(CaptureRecord::Protocol protocol)
{
    return protocol == CaptureRecord::UDP   ? "UDP"
           : protocol == CaptureRecord::TCP ? "TCP"
                                            : "other";
}

/// A part of the record's time, in UTC: \p format is that of strftime.
std::string timeOf(const CaptureRecord& record, const char* format)
{
    const auto seconds = static_cast<std::time_t>(record.seconds);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32] = "";
    std::strftime(text, sizeof text, format, &parts);
    return text;
}

std::string microsecondsOf(const CaptureRecord& record)
{
    char text[16];
    std::snprintf(text, sizeof text, ".%06u", static_cast<unsigned>(record.microseconds));
    return text;
}

void printLine(int number, const CaptureRecord& record)
{
    std::printf("%6d  %s%s  %s", number, timeOf(record, "%H:%M:%S").c_str(),
                microsecondsOf(record).c_str(), nameOf(record.protocol));
    if (record.protocol != CaptureRecord::OTHER) {
        std::printf(" %5u > %-5u %5zu bytes ", record.sourcePort, record.destinationPort,
                    record.payloadSize);
    }
    for (std::size_t i = 0; i < std::min(record.firstBytes.size(), SHOWN_BYTES); ++i) {
        std::printf(" %02x", static_cast<unsigned>(record.firstBytes[i]));
    }
    std::printf("%s\n", record.payloadSize > SHOWN_BYTES ? " ..." : "");
}

Summary printLines(CaptureRecords& records)
{
    Summary summary;
    CaptureRecord record;
    std::string day;
    while (records.read(record)) {
        if (const std::string today = timeOf(record, "%Y-%m-%d"); today != day) {
            day = today;
            std::printf("%s (UTC)\n", day.c_str());
        }
        printLine(++summary.records, record);
        summary.bytes +=
            record.protocol == CaptureRecord::UDP ? static_cast<long long>(record.payloadSize) : 0;
    }
    return summary;
}

void printAsJson(CaptureRecords& records)
{
    Json json;
    json.open('{').name("records").open('[');
    CaptureRecord record;
    while (records.read(record)) {
        json.open('{').name("time").text(timeOf(record, "%Y-%m-%dT%H:%M:%S") +
                                         microsecondsOf(record) + "Z");
        json.name("protocol").text(nameOf(record.protocol));
        if (record.protocol != CaptureRecord::OTHER) {
            json.name("source_port").number(record.sourcePort);
            json.name("destination_port").number(record.destinationPort);
            json.name("payload_bytes").number(static_cast<long long>(record.payloadSize));
        }
        json.close('}');
    }
    json.close(']').name("complete");
    json.decimal(records.complaint().empty() ? "true" : "false").close('}');
}

} // namespace

bool printCapture(const std::string& file, bool json)
{
    const std::string name = file == "-" ? "standard input" : file;
    std::FILE* const stream = file == "-" ? stdin : std::fopen(file.c_str(), "rbe");
    if (stream == nullptr) {
        complain(name + ": " + std::strerror(errno));
        return false;
    }
    CaptureRecords records(stream);
    if (json) {
        printAsJson(records);
    } else {
        const bool isCapture = records.complaint().empty();
        const Summary summary = printLines(records);
        if (isCapture) {
            std::printf("%d records, %lld bytes of UDP payload\n", summary.records, summary.bytes);
        }
    }
    std::fclose(stream);
    if (!records.complaint().empty()) {
        std::fflush(stdout); // so that it comes last on a terminal
        complain(name + ": " + records.complaint());
    }
    return records.complaint().empty();
}

} // namespace gpalinfo
