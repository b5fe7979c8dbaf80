/// \file
/// The threads of a call: who sends, who receives, who records.
#ifndef VOICE_CALL_CALL_THREADS_H
#define VOICE_CALL_CALL_THREADS_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gpal/GPALThreadPriority.h>
#include <gpal/osTimerThread.h>
#include <gpal/packet_dump.h>
#include <gpal/Threadable.h>
#include <gpal/Threader.h>
#include <gpal/Wait.h>

#include "frame_queue.h"
#include "frame_ticker.h"
#include "media_socket.h"
#include "rtp.h"

namespace voicecall
{

/// The nice value that the kernel has for the calling thread.
int niceOfThisThread();

/// The process's timer monitor, which here also tells its nice value.
class TimerMonitor : public osTimerThread
{
public:
    void run() override;
    int nice() const { return m_nice; }

private:
    std::atomic<int> m_nice{0};
};

/// A thread of the call. An exception that escaped `work` would count as the failure of the whole
/// device, which the layer then reboots: nothing in there throws.
class CallThread : public Threadable
{
public:
    explicit CallThread(GPALThreadPriority level);

    /// Spawns the thread. Returns false when it does not run after a few seconds: the spawner's
    /// own result does not tell.
    bool start(ThreaderIfc& threader);
    /// Waits until `work` has returned; at once when it was never started.
    void join();

    /// Its nice value while it ran.
    int nice() const { return m_nice; }
    GPALThreadPriority level() const { return m_level; }

    void run() final;
    /// The layer asks for the level on the new thread and sets its nice value accordingly.
    int getThreadPriorityForPlatform() override { return m_level; }

private:
    virtual void work() = 0;

    const GPALThreadPriority m_level;
    std::atomic<int> m_nice{0};
    Wait m_started;
    bool m_running = false;
};

/// Sends one frame of the encoded audio at each tick.
class Sender : public CallThread
{
public:
    /// The last frame of \p codes is filled up with silence. What is sent also goes into
    /// \p capture, unless that is null.
    Sender(const RtpStream& stream, const std::vector<std::uint8_t>& codes,
           std::uint16_t destinationPort, packet_dump* capture = nullptr);

    int frames() const { return m_frames; }
    /// Ends the call at the next tick, from any thread.
    void hangUp() { m_hungUp = true; }
    /// Waits until the last frame is sent, for \p timeoutMs at most; returns whether it is.
    bool waitUntilDone(int timeoutMs) { return m_done.wait(timeoutMs) == 1; }

    int sent() const { return m_sent; }
    int failed() const { return m_failed; }
    int captured() const { return m_captured; }
    /// How late each tick was, in microseconds. To be asked for after `join`.
    const std::vector<int>& lateness() const { return m_lateness; }
    /// The port that it sends from.
    std::uint16_t port() const { return m_socket.port(); }

private:
    void work() override;
    void send(RtpPacket packet);
    Frame frame(int index) const;

    const RtpStream m_stream;
    const std::vector<std::uint8_t>& m_codes;
    const std::uint16_t m_destinationPort;
    packet_dump* const m_capture;
    const int m_frames;
    MediaSocket m_socket;
    FrameTicker m_ticker;
    Wait m_done;
    std::vector<int> m_lateness;
    std::atomic<bool> m_hungUp{false};
    std::atomic<int> m_sent{0};   ///< frames that got their tick
    std::atomic<int> m_failed{0}; ///< those of them that the network did not take
    std::atomic<int> m_captured{0};
};

/// Takes packets from the network and hands their frames over, so that it is back at the socket
/// before the next one comes.
class Receiver : public CallThread
{
public:
    Receiver(const RtpStream& stream, FrameQueue& queue);

    /// The port that it listens at.
    std::uint16_t port() const { return m_socket.port(); }
    const RtpStream& stream() const { return m_stream; }
    /// The only port from which packets are accepted; to be set before it starts.
    void acceptFrom(std::uint16_t port) { m_sourcePort = port; }
    void stop() { m_stopped = true; }

    int foreign() const { return m_foreign; } ///< packets that do not belong to the call

private:
    void work() override;

    const RtpStream m_stream;
    FrameQueue& m_queue;
    MediaSocket m_socket;
    std::uint16_t m_sourcePort = 0;
    std::atomic<bool> m_stopped{false};
    std::atomic<int> m_foreign{0};
};

/// Decodes the frames and puts each at its place, until the queue is closed.
class Recorder : public CallThread
{
public:
    Recorder(FrameQueue& queue, int frames);

    int received() const { return m_received; }     ///< different frames
    int reordered() const { return m_reordered; }   ///< that came after a later one
    int duplicates() const { return m_duplicates; } ///< that came once more

    /// Waits until \p frames frames are recorded; returns false if \p timeoutMs passed without a
    /// new one. For one thread at a time.
    bool waitForFrames(int frames, int timeoutMs);

    /// The audio of the first \p frames frames, silent where one is missing. After `join`.
    std::vector<std::int16_t> audio(int frames) const;

private:
    void work() override;
    void record(const Frame& frame);

    FrameQueue& m_queue;
    std::vector<std::int16_t> m_audio;
    std::vector<bool> m_present;
    int m_highest = -1;
    Wait m_progress;
    std::atomic<int> m_received{0};
    std::atomic<int> m_reordered{0};
    std::atomic<int> m_duplicates{0};
};

} // namespace voicecall

#endif
