#include "receiver.h"

#include <array>

namespace voicecall
{

Receiver::Receiver(const IncomingStream& stream, MediaSocket& socket, FrameQueue& queue)
    : CallThread("receiver", GPAL_THREAD_PRIORITY_VOICE),
      m_stream(stream),
      m_socket(socket),
      m_queue(queue)
{
}

void Receiver::work()
{
    constexpr int LOOK_WHETHER_TO_STOP_MS = 50;
    std::array<std::uint8_t, 2048> packet{};
    while (!m_stopped) {
        NetworkAddress from;
        const int size =
            m_socket.receive(packet.data(), packet.size(), LOOK_WHETHER_TO_STOP_MS, from);
        if (size >= 0) {
            take(packet.data(), static_cast<std::size_t>(size), from);
        }
    }
}

void Receiver::take(const std::uint8_t* packet, std::size_t size, const NetworkAddress& from)
{
    Frame frame;
    switch (m_stream.look(packet, size, from, frame)) {
    case IncomingStream::FRAME:
        if (m_frames++ == 0) {
            m_speaker = from;
            m_begun.signal();
        }
        m_queue.put(frame);
        break;
    case IncomingStream::GOODBYE:
        m_goodbye = true;
        break;
    case IncomingStream::FOREIGN:
        ++m_foreign;
        break;
    }
}

} // namespace voicecall
