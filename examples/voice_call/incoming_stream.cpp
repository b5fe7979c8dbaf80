#include "incoming_stream.h"

#include <algorithm>

namespace voicecall
{

IncomingStream::IncomingStream(const RtpStream& stream, const NetworkAddress& from)
    : m_stream(stream), m_speaker(from)
{
}

IncomingStream::IncomingStream(const NetworkAddress& host) : m_host(host) {}

IncomingStream::Kind IncomingStream::look(const std::uint8_t* packet, std::size_t size,
                                          const NetworkAddress& from, Frame& frame)
{
    if (!m_stream && !begins(packet, size, from)) {
        return FOREIGN;
    }
    // Goodbyes may come from a port of their own; they name the source.
    if (from.isSameHost(m_speaker) && isGoodbye(packet, size, m_stream->source)) {
        return GOODBYE;
    }
    if (!(from == m_speaker) || !fromPacket(*m_stream, packet, size, m_expected, frame)) {
        return FOREIGN;
    }
    m_expected = std::max(m_expected, frame.index + 1);
    return FRAME;
}

/// Whether this is the first packet of the stream; if so, from now on that is known.
bool IncomingStream::begins(const std::uint8_t* packet, std::size_t size,
                            const NetworkAddress& from)
{
    constexpr int AT_MOST_BEFORE = 50; // a second: what was sent before and comes later
    const bool isAwaited = m_host.family() == AF_UNSPEC || from.isSameHost(m_host);
    RtpStream stream;
    if (!isAwaited || !learnStream(packet, size, AT_MOST_BEFORE, stream)) {
        return false;
    }
    m_stream = stream;
    m_speaker = from;
    m_expected = AT_MOST_BEFORE;
    return true;
}

} // namespace voicecall
