/// \file
/// Telling the packets of the call from all others.
#ifndef VOICE_CALL_INCOMING_STREAM_H
#define VOICE_CALL_INCOMING_STREAM_H

#include <optional>

#include "network_address.h"
#include "rtp.h"

namespace voicecall
{

/// The audio that comes in. For one thread.
class IncomingStream
{
public:
    enum Kind { FRAME, GOODBYE, FOREIGN };

    /// Both sides know the stream, and the only address that it comes from.
    IncomingStream(const RtpStream& stream, const NetworkAddress& from);

    /// The first audio that is heard tells what the stream is like. It comes from any port of
    /// \p host, from any host when that is none.
    explicit IncomingStream(const NetworkAddress& host);

    /// What a packet is; of a frame, \p frame takes the content.
    Kind look(const std::uint8_t* packet, std::size_t size, const NetworkAddress& from,
              Frame& frame);

    /// Who speaks; none before that was heard.
    const NetworkAddress& speaker() const { return m_speaker; }

private:
    bool begins(const std::uint8_t* packet, std::size_t size, const NetworkAddress& from);

    std::optional<RtpStream> m_stream;
    NetworkAddress m_host;
    NetworkAddress m_speaker;
    int m_expected = 0;
};

} // namespace voicecall

#endif
