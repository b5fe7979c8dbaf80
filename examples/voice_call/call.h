/// \file
/// A call from this process to itself.
#ifndef VOICE_CALL_CALL_H
#define VOICE_CALL_CALL_H

#include <memory>

#include <gpal/Threader.h>

#include "call_result.h"
#include "frame_queue.h"
#include "receiver.h"
#include "recorder.h"
#include "sender.h"

namespace voicecall
{

/// One call: a thread that sends, one that receives, one that records, and for its last moment one
/// that waits for what is still under way. `TimerMonitor` must have been started before.
class Call
{
public:
    /// Takes two ports; throws `std::runtime_error` when there are none. \p codes must outlive the
    /// call, and so must \p capture, where what is sent is written unless it is null.
    explicit Call(const std::vector<std::uint8_t>& codes, packet_dump* capture = nullptr);

    /// Carries the call out and returns when all its threads have ended. Throws
    /// `std::runtime_error` when a thread could not be started. To be called once.
    CallResult run(const GoOn& goOn);

private:
    void talk(const GoOn& goOn);
    void drain();
    CallResult result() const;

    const std::unique_ptr<ThreaderIfc> m_threader;
    const RtpStream m_stream = RtpStream::atRandom();
    FrameQueue m_queue;
    MediaSocket m_near;
    MediaSocket m_far;
    Receiver m_receiver;
    Sender m_sender;
    Recorder m_recorder;
    bool m_hungUp = false;
    bool m_drained = false;
    ThreadFigures m_drainThread;
};

} // namespace voicecall

#endif
