/// \file
/// A call between two machines.
#ifndef VOICE_CALL_REMOTE_CALL_H
#define VOICE_CALL_REMOTE_CALL_H

#include <chrono>
#include <memory>

#include <gpal/Threader.h>

#include "call_result.h"
#include "frame_queue.h"
#include "receiver.h"
#include "recorder.h"
#include "sender.h"

namespace voicecall
{

/// One side of a call: it sends its audio and records that of the other side, over one socket.
///
/// The side that calls speaks at once; the one that listens answers whoever speaks to it first. The
/// call is over when a side hangs up, which it tells the other, or hears nothing for too long. The
/// caller hangs up when it has sent all its audio and the other side has become quiet, so that both
/// are heard to the end. `TimerMonitor` must have been started before.
class RemoteCall
{
public:
    /// Goes over \p socket. This and \p codes must outlive the call, and so must \p capture, where
    /// what is sent is written unless it is null.
    RemoteCall(const std::vector<std::uint8_t>& codes, MediaSocket& socket, packet_dump* capture);

    /// Calls \p otherSide and returns when the call is over and all its threads have ended. Nobody
    /// has answered, or the other side has fallen silent, when nothing is heard for \p timeoutMs.
    /// Throws `std::runtime_error` when a thread can't be had. This or `answer` is to be called,
    /// once.
    CallResult to(const NetworkAddress& otherSide, int timeoutMs, const GoOn& goOn);

    /// Waits until somebody calls, for \p callerTimeoutMs (-1: without limit), and is like `to`
    /// then.
    CallResult answer(int callerTimeoutMs, int timeoutMs, const GoOn& goOn);

private:
    using Clock = std::chrono::steady_clock;

    void start(const IncomingStream& stream);
    bool waitForCaller(int timeoutMs, const GoOn& goOn);
    void talk(const NetworkAddress& otherSide, int timeoutMs, const GoOn& goOn);
    void sayGoodbye();
    CallEnd converse(int timeoutMs, const GoOn& goOn);
    bool isFinished(Clock::duration quiet);
    void finish();
    CallResult result() const;
    bool asked(const GoOn& goOn) const;

    const std::unique_ptr<ThreaderIfc> m_threader;
    const std::vector<std::uint8_t>& m_codes;
    MediaSocket& m_socket;
    packet_dump* const m_capture;
    const RtpStream m_stream = RtpStream::atRandom();
    FrameQueue m_queue;
    Recorder m_recorder;
    std::unique_ptr<Receiver> m_receiver;
    std::unique_ptr<Sender>
        m_sender; ///< there from the moment at which it is known whom to speak to
    NetworkAddress m_otherSide;
    CallEnd m_end = CallEnd::NOBODY_ANSWERED;
    bool m_isCaller = false;
    bool m_allSent = false;
};

} // namespace voicecall

#endif
