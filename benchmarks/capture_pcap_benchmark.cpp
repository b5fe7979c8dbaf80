/// \file
/// Capture files, the same job as the layer's done with libpcap: its dumper and reader, with the
/// headers around a payload and their checksum composed, or taken apart, here.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstring>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <pcap/pcap.h>
#include <sys/time.h>

#include "capture_files.h"

namespace
{

constexpr std::size_t ETHERNET = 14;
constexpr std::size_t HEADERS = ETHERNET + sizeof(iphdr) + sizeof(udphdr);

unsigned short checksumOf(const iphdr& header)
{
    unsigned short words[sizeof header / 2];
    std::memcpy(words, &header, sizeof words);
    unsigned int sum = 0;
    for (const unsigned short word : words) {
        sum += word;
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<unsigned short>(~((sum & 0xFFFF) + (sum >> 16)));
}

void compose(unsigned char* packet, const char* payload, unsigned short size)
{
    std::memset(packet, 0, HEADERS);
    packet[12] = 0x08;
    iphdr ip{};
    ip.version = 4;
    ip.ihl = 5;
    ip.tot_len = htons(static_cast<unsigned short>(size + sizeof(iphdr) + sizeof(udphdr)));
    ip.frag_off = htons(0x4000);
    ip.ttl = 64;
    ip.protocol = IPPROTO_UDP;
    ip.check = checksumOf(ip);
    udphdr udp{};
    udp.source = htons(5120);
    udp.dest = htons(5120);
    udp.len = htons(static_cast<unsigned short>(size + sizeof(udphdr)));
    std::memcpy(packet + ETHERNET, &ip, sizeof ip);
    std::memcpy(packet + ETHERNET + sizeof ip, &udp, sizeof udp);
    std::memcpy(packet + HEADERS, payload, size);
}

void writeByPcap(benchmark::State& state)
{
    captures::FileName file;
    char payload[captures::PAYLOAD] = "";
    benchmark::DoNotOptimize(payload);
    for (auto _ : state) {
        pcap_t* const handle = pcap_open_dead(DLT_EN10MB, 65535);
        pcap_dumper_t* const dumper = pcap_dump_open(handle, file.text());
        for (int i = 0; i < captures::RECORDS; ++i) {
            unsigned char packet[HEADERS + captures::PAYLOAD];
            compose(packet, payload, captures::PAYLOAD);
            pcap_pkthdr header{};
            gettimeofday(&header.ts, nullptr);
            header.caplen = sizeof packet;
            header.len = sizeof packet;
            pcap_dump(reinterpret_cast<unsigned char*>(dumper), &header, packet);
        }
        pcap_dump_close(dumper);
        pcap_close(handle);
    }
}
BENCHMARK(writeByPcap)->Name("captureWrite/pcap");

void readByPcap(benchmark::State& state)
{
    captures::FileName file;
    captures::fill(file);
    char payload[captures::PAYLOAD];
    for (auto _ : state) {
        char error[PCAP_ERRBUF_SIZE];
        pcap_t* const handle = pcap_open_offline(file.text(), error);
        pcap_pkthdr* header = nullptr;
        const unsigned char* packet = nullptr;
        while (pcap_next_ex(handle, &header, &packet) == 1) {
            if (header->caplen >= HEADERS && packet[ETHERNET + 9] == IPPROTO_UDP &&
                header->caplen - HEADERS <= sizeof payload) {
                std::memcpy(payload, packet + HEADERS, header->caplen - HEADERS);
                benchmark::DoNotOptimize(payload);
            }
        }
        pcap_close(handle);
    }
}
BENCHMARK(readByPcap)->Name("captureRead/pcap");

} // namespace
