/// \file
/// Capture files. "layer" is the layer, "raw" one fwrite or fread for each record, without
/// composing it or taking it apart; "pcap" (in a module of its own) the same job as the layer's
/// with libpcap.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <unistd.h>

#include <gpal/packet_dump.h>

#include "capture_files.h"

namespace captures
{

FileName::FileName() : m_name("/tmp/gpal-benchmark-XXXXXX")
{
    close(mkstemp(m_name.data()));
}

FileName::~FileName()
{
    unlink(m_name.c_str());
}

void fill(FileName& file)
{
    packet_dump dump(file.text());
    char payload[PAYLOAD] = "";
    for (int i = 0; i < RECORDS; ++i) {
        dump.write(payload, PAYLOAD, PACKET_DUMP_UDP);
    }
}

} // namespace captures

namespace
{

void writeByLayer(benchmark::State& state)
{
    captures::FileName file;
    for (auto _ : state) {
        captures::fill(file);
    }
}
BENCHMARK(writeByLayer)->Name("captureWrite/layer");

void writeRaw(benchmark::State& state)
{
    captures::FileName file;
    char record[captures::RECORD] = "";
    benchmark::DoNotOptimize(record);
    for (auto _ : state) {
        FILE* const stream = std::fopen(file.text(), "wb");
        for (int i = 0; i < captures::RECORDS; ++i) {
            std::fwrite(record, 1, sizeof record, stream);
        }
        std::fclose(stream);
    }
}
BENCHMARK(writeRaw)->Name("captureWrite/raw");

void readByLayer(benchmark::State& state)
{
    captures::FileName file;
    captures::fill(file);
    char payload[captures::PAYLOAD];
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    for (auto _ : state) {
        packet_dump dump(file.text());
        int records = 0;
        while (dump.read(payload, captures::PAYLOAD, &type) == captures::PAYLOAD) {
            benchmark::DoNotOptimize(payload);
            ++records;
        }
        if (records != captures::RECORDS) {
            state.SkipWithError("records are missing");
        }
    }
}
BENCHMARK(readByLayer)->Name("captureRead/layer");

void readRaw(benchmark::State& state)
{
    captures::FileName file;
    captures::fill(file);
    char record[captures::RECORD];
    for (auto _ : state) {
        FILE* const stream = std::fopen(file.text(), "rb");
        std::fseek(stream, 24, SEEK_SET);
        while (std::fread(record, 1, sizeof record, stream) == sizeof record) {
            benchmark::DoNotOptimize(record);
        }
        std::fclose(stream);
    }
}
BENCHMARK(readRaw)->Name("captureRead/raw");

} // namespace
