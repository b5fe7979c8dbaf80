#include "call.h"

#include <stdexcept>

#include <gpal/ProcessManager.h>
#include <gpal/TimedThread.h>

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
        m_nice = niceOfThisThread();
        m_complete = m_recorder.waitForFrames(m_frames, QUIET_MS);
    }

    bool complete() const { return m_complete; }
    int nice() const { return m_nice; }

private:
    Recorder& m_recorder;
    const int m_frames;
    std::atomic<bool> m_complete{false};
    std::atomic<int> m_nice{0};
};

} // namespace

Call::Call(const std::vector<std::uint8_t>& codes, packet_dump* capture)
    : m_threader(ThreaderFactory().createNewThreader()),
      m_receiver(RtpStream::atRandom(), m_queue),
      m_sender(m_receiver.stream(), codes, m_receiver.port(), capture),
      m_recorder(m_queue, m_sender.frames())
{
    m_receiver.acceptFrom(m_sender.port());
}

CallResult Call::run(const std::function<bool(const CallProgress&)>& goOn)
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

void Call::talk(const std::function<bool(const CallProgress&)>& goOn)
{
    constexpr int ASK_EVERY_MS = 100;
    do {
        if (!goOn({m_sender.frames(), m_sender.sent(), m_recorder.received()})) {
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
    m_drainNice = drain.nice();
}

CallResult Call::result() const
{
    CallResult result;
    result.frames = m_sender.frames();
    result.sent = m_sender.sent();
    result.sendFailures = m_sender.failed();
    result.received = m_recorder.received();
    result.reordered = m_recorder.reordered();
    result.duplicates = m_recorder.duplicates();
    result.captured = m_sender.captured();
    result.foreign = m_receiver.foreign();
    result.drained = m_drained;
    result.lateness = m_sender.lateness();
    result.threads = {figures("sender", m_sender), figures("receiver", m_receiver),
                      figures("recorder", m_recorder),
                      ThreadFigures{"drain", nameOfLevel(GPAL_THREAD_PRIORITY_LOW),
                                    wantedNice(GPAL_THREAD_PRIORITY_LOW), m_drainNice}};
    result.audio = m_recorder.audio(result.sent);
    return result;
}

ThreadFigures Call::figures(const char* name, const CallThread& thread) const
{
    return {name, nameOfLevel(thread.level()), wantedNice(thread.level()), thread.nice()};
}

int wantedNice(GPALThreadPriority level)
{
    return ProcessManagement::manager()->calculatePriority(level);
}

std::string nameOfLevel(GPALThreadPriority level)
{
    switch (level) {
    case GPAL_THREAD_PRIORITY_LOW:
        return "LOW";
    case GPAL_THREAD_PRIORITY_NORMAL:
        return "NORMAL";
    case GPAL_THREAD_PRIORITY_HIGH:
        return "HIGH";
    case GPAL_THREAD_PRIORITY_TIMER:
        return "TIMER";
    case GPAL_THREAD_PRIORITY_VOICE:
        return "VOICE";
    }
    return "?";
}

} // namespace voicecall
