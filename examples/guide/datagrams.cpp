#include <arpa/inet.h>
#include <cstdio>

#include <gpal/gpal.h>

constexpr unsigned int PORT = 20123;

/// Prints what arrives. A read waits without limit, and closing the socket would not wake it: the
/// thread is cancelled, and joined before the socket goes.
class Reader : public Threadable
{
public:
    bool open() { return m_socket.open(PORT, ADDRESS_FAMILY_IPV4, "guide", "127.0.0.1") >= 0; }

    void run() override
    {
        while (true) {
            char datagram[1500];
            unsigned int address = 0; // network order
            unsigned short port = 0;  // a plain number
            const int length = m_socket.read(datagram, sizeof datagram, address, port);
            if (length >= 0) {
                std::printf("%d bytes: %.*s\n", length, length, datagram);
                m_received.signal();
            }
        }
    }

    Wait m_received;

private:
    UDPSocket m_socket;
};

int main()
{
    Reader reader;
    if (!reader.open()) {
        std::perror("cannot open the port");
        return 1;
    }
    Threader threader;
    unsigned long thread = 0;
    threader.spawn(&thread, &reader, "", GPAL_THREAD_PRIORITY_NORMAL, 0);

    UDPSocket sender; // the first write opens it
    char ring[] = "ring";
    sender.write(ring, 4, inet_addr("127.0.0.1"), PORT);
    const bool received = reader.m_received.wait(1000) == 1;

    threader.destroy(thread);
    reader.waitForThreadCompletion();
    return received ? 0 : 1;
}
