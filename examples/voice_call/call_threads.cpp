#include "call_threads.h"

#include <algorithm>
#include <sys/resource.h>

#include "g711.h"

namespace voicecall
{

int niceOfThisThread()
{
    // On Linux, id 0 is the calling thread and not its whole process.
    return getpriority(PRIO_PROCESS, 0);
}

void TimerMonitor::run()
{
    m_nice = niceOfThisThread();
    osTimerThread::run();
}

CallThread::CallThread(GPALThreadPriority level) : m_level(level) {}

bool CallThread::start(ThreaderIfc& threader)
{
    constexpr int LONG_ENOUGH_MS = 5000;
    // Name and level are for threads without a body of their own; here the layer asks the body.
    unsigned long thread = 0;
    threader.spawn(&thread, this, "", m_level, 0);
    m_running = m_started.wait(LONG_ENOUGH_MS) == 1;
    return m_running;
}

void CallThread::join()
{
    if (m_running) {
        waitForThreadCompletion();
        m_running = false;
    }
}

void CallThread::run()
{
    m_nice = niceOfThisThread(); // the layer set it before it called run
    m_started.signal();
    work();
}

Sender::Sender(const RtpStream& stream, const std::vector<std::uint8_t>& codes,
               std::uint16_t destinationPort, packet_dump* capture)
    : CallThread(GPAL_THREAD_PRIORITY_VOICE),
      m_stream(stream),
      m_codes(codes),
      m_destinationPort(destinationPort),
      m_capture(capture),
      m_frames(static_cast<int>((codes.size() + FRAME_SAMPLES - 1) / FRAME_SAMPLES))
{
    m_lateness.reserve(static_cast<std::size_t>(m_frames));
}

Frame Sender::frame(int index) const
{
    const std::size_t start = static_cast<std::size_t>(index) * FRAME_SAMPLES;
    const std::size_t end = std::min(start + FRAME_SAMPLES, m_codes.size());
    Frame made;
    made.index = index;
    made.payload.fill(MU_LAW_SILENCE);
    std::copy_n(m_codes.data() + start, end - start, made.payload.begin());
    return made;
}

void Sender::work()
{
    m_ticker.start(m_frames);
    for (int index = 0; index < m_frames; ++index) {
        const int late = m_ticker.waitForTick();
        if (m_hungUp) {
            break;
        }
        m_lateness.push_back(late);
        send(toPacket(m_stream, frame(index)));
    }
    m_done.signal();
}

void Sender::send(RtpPacket packet)
{
    if (!m_socket.send(packet.data(), packet.size(), m_destinationPort)) {
        ++m_failed;
    }
    ++m_sent;
    const auto size = static_cast<int>(packet.size());
    if (m_capture != nullptr &&
        m_capture->write(reinterpret_cast<char*>(packet.data()), size, PACKET_DUMP_UDP) == size) {
        ++m_captured;
    }
}

Receiver::Receiver(const RtpStream& stream, FrameQueue& queue)
    : CallThread(GPAL_THREAD_PRIORITY_VOICE), m_stream(stream), m_queue(queue)
{
}

void Receiver::work()
{
    constexpr int LOOK_WHETHER_TO_STOP_MS = 50;
    std::array<std::uint8_t, 2048> packet{};
    Frame frame;
    int expected = 0;
    while (!m_stopped) {
        std::uint16_t fromPort = 0;
        const int size =
            m_socket.receive(packet.data(), packet.size(), LOOK_WHETHER_TO_STOP_MS, fromPort);
        if (size < 0) {
            continue;
        }
        if (fromPort == m_sourcePort &&
            fromPacket(m_stream, packet.data(), static_cast<std::size_t>(size), expected, frame)) {
            expected = std::max(expected, frame.index + 1);
            m_queue.put(frame);
        } else {
            ++m_foreign;
        }
    }
}

Recorder::Recorder(FrameQueue& queue, int frames)
    : CallThread(GPAL_THREAD_PRIORITY_NORMAL),
      m_queue(queue),
      m_audio(static_cast<std::size_t>(frames) * FRAME_SAMPLES),
      m_present(static_cast<std::size_t>(frames))
{
}

void Recorder::work()
{
    Frame frame;
    while (m_queue.take(frame)) {
        record(frame);
        m_progress.signal();
    }
}

void Recorder::record(const Frame& frame)
{
    const auto index = static_cast<std::size_t>(frame.index);
    if (index >= m_present.size()) {
        return;
    }
    if (m_present[index]) {
        ++m_duplicates;
        return;
    }
    m_present[index] = true;
    if (frame.index < m_highest) {
        ++m_reordered;
    }
    m_highest = std::max(m_highest, frame.index);
    std::transform(frame.payload.begin(), frame.payload.end(),
                   m_audio.begin() + static_cast<std::ptrdiff_t>(index * FRAME_SAMPLES),
                   [](std::uint8_t code) { return muLawDecode(code); });
    ++m_received;
}

bool Recorder::waitForFrames(int frames, int timeoutMs)
{
    while (m_received < frames) {
        if (m_progress.wait(timeoutMs) == 0) {
            return m_received >= frames;
        }
    }
    return true;
}

std::vector<std::int16_t> Recorder::audio(int frames) const
{
    const auto samples = static_cast<std::size_t>(frames) * FRAME_SAMPLES;
    return {m_audio.data(), m_audio.data() + samples};
}

} // namespace voicecall
