#include "call.h"

#include <stdexcept>

#include <gpal/TimedThread.h>

#include "semaphore_summary.h"

namespace voicecall
{
namespace
{

/// Waits until the last packets have arrived and are recorded, or no more come.
class Drain : public RunnerIfc
{
public:
    static constexpr int QUIET_MS = 200;

    Drain(Recorder& recorder, int frames) : m_recorder(recorder), m_frames(frames) {}

    void run() override
    {
        m_identity.take();
        m_complete = m_recorder.waitForFrames(m_frames, QUIET_MS);
    }

    bool complete() const { return m_complete; }
    ThreadFigures figures() const { return m_identity.figures("drain", GPAL_THREAD_PRIORITY_LOW); }

private:
    Recorder& m_recorder;
    const int m_frames;
    std::atomic<bool> m_complete{false};
    ThreadIdentity m_identity;
};

} // namespace

Call::Call(const std::vector<std::uint8_t>& codes, packet_dump* capture)
    : m_threader(ThreaderFactory().createNewThreader()),
      m_receiver(IncomingStream(m_stream, m_near.address()), m_far, m_queue),
      m_sender(m_stream, codes, m_near, m_far.address(), capture),
      m_recorder(m_queue, m_sender.frames())
{
}

CallResult Call::run(const GoOn& goOn)
{
    // Who listens is there before who speaks.
    const bool started = m_recorder.start(*m_threader) && m_receiver.start(*m_threader) &&
                         m_sender.start(*m_threader);
    if (started) {
        talk(goOn);
        drain();
    }
    m_receiver.stop();
    m_receiver.join();
    m_queue.close();
    m_recorder.join();
    if (!started) {
        throw std::runtime_error("cannot start a thread");
    }
    return result();
}

void Call::talk(const GoOn& goOn)
{
    constexpr int ASK_EVERY_MS = 100;
    do {
        if (!goOn({m_sender.frames(), m_sender.sent(), m_recorder.received()})) {
            m_hungUp = true;
            m_sender.hangUp();
        }
    } while (!m_sender.waitUntilDone(ASK_EVERY_MS));
    m_sender.join();
}

void Call::drain()
{
    // The client waits for its work for a limited time only. The work knows an end of its own too,
    // so deleting the timed thread, which joins it, does not take long.
    constexpr int AT_MOST_MS = 1000;
    Drain drain(m_recorder, m_sender.sent());
    TimedThreadFactory factory;
    TimedThreadIfc* const timed = factory.getNewTimedThread(&drain);
    const bool inTime = timed->runForAMaximumOf(AT_MOST_MS) == 1;
    factory.deleteTimedThread(timed);
    m_drained = inTime && drain.complete();
    m_drainThread = drain.figures();
}

CallResult Call::result() const
{
    CallResult result;
    result.end = m_hungUp ? CallEnd::HUNG_UP : CallEnd::COMPLETED;
    result.frames = m_sender.frames();
    result.sent = m_sender.sent();
    result.sendFailures = m_sender.failed();
    result.received = m_recorder.received();
    result.lost = result.sent - result.received;
    result.reordered = m_recorder.reordered();
    result.duplicates = m_recorder.duplicates();
    result.captured = m_sender.captured();
    result.foreign = m_receiver.foreign();
    result.drained = m_drained;
    result.lateness = m_sender.lateness();
    result.threads = {m_sender.figures(), m_receiver.figures(), m_recorder.figures(),
                      m_drainThread};
    result.semaphores = dumpOfSemaphores();
    result.audio = m_recorder.audio(0, result.sent);
    return result;
}

} // namespace voicecall
