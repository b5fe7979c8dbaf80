#include <cstdio>
#include <string>

#include <gpal/gpal.h>

int main()
{
    char file[] = "calls.pcap";
    {
        packet_dump capture(file);
        char payload[] = "REGISTER sip:example";
        capture.write(payload, sizeof payload - 1, PACKET_DUMP_UDP);
    } // what was written last reaches the file here

    packet_dump captured(file); // an object writes or reads, never both
    char payload[1500];
    t_packet_dump_type type = PACKET_DUMP_OTHER;
    const int length = captured.read(payload, sizeof payload, &type);
    if (length > 0) {
        std::printf("Captured: %s\n",
                    std::string(payload, static_cast<std::size_t>(length)).c_str());
    }
}
