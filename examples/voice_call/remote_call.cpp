#include "remote_call.h"

#include <climits>
#include <stdexcept>

#include "semaphore_summary.h"

namespace voicecall
{
namespace
{

using std::chrono::milliseconds;

constexpr int LONGEST = 10 * 60 * 1000 / FRAME_MS; ///< frames that are recorded: ten minutes
constexpr int ASK_EVERY_MS = 100;
/// Who says nothing for so long has nothing more to say.
constexpr int QUIET_MS = 500;
/// What was said before a goodbye comes no later than this after it.
constexpr int LAST_FRAMES_MS = 200;

} // namespace

RemoteCall::RemoteCall(const std::vector<std::uint8_t>& codes, MediaSocket& socket,
                       packet_dump* capture)
    : m_threader(ThreaderFactory().createNewThreader()),
      m_codes(codes),
      m_socket(socket),
      m_capture(capture),
      m_recorder(m_queue, LONGEST)
{
}

CallResult RemoteCall::to(const NetworkAddress& otherSide, int timeoutMs, const GoOn& goOn)
{
    m_isCaller = true;
    start(IncomingStream(otherSide));
    talk(otherSide, timeoutMs, goOn);
    finish();
    return result();
}

CallResult RemoteCall::answer(int callerTimeoutMs, int timeoutMs, const GoOn& goOn)
{
    start(IncomingStream(NetworkAddress()));
    if (waitForCaller(callerTimeoutMs, goOn)) {
        talk(m_receiver->speaker(), timeoutMs, goOn);
    }
    finish();
    return result();
}

void RemoteCall::start(const IncomingStream& stream)
{
    m_receiver = std::make_unique<Receiver>(stream, m_socket, m_queue);
    if (!m_recorder.start(*m_threader) || !m_receiver->start(*m_threader)) {
        finish();
        throw std::runtime_error("cannot start a thread");
    }
}

bool RemoteCall::waitForCaller(int timeoutMs, const GoOn& goOn)
{
    const Clock::time_point start = Clock::now();
    while (!m_receiver->waitForSpeaker(ASK_EVERY_MS)) {
        if (!asked(goOn)) {
            m_end = CallEnd::HUNG_UP;
            return false;
        }
        if (timeoutMs >= 0 && Clock::now() - start >= milliseconds(timeoutMs)) {
            return false;
        }
    }
    return true;
}

void RemoteCall::talk(const NetworkAddress& otherSide, int timeoutMs, const GoOn& goOn)
{
    m_otherSide = otherSide;
    m_sender = std::make_unique<Sender>(m_stream, m_codes, m_socket, otherSide, m_capture);
    if (!m_sender->start(*m_threader)) {
        finish();
        throw std::runtime_error("cannot start a thread");
    }
    m_end = converse(timeoutMs, goOn);
    m_sender->hangUp();
    m_sender->join();
    sayGoodbye();
    if (m_end == CallEnd::OTHER_HUNG_UP) {
        m_recorder.waitForFrames(INT_MAX, LAST_FRAMES_MS);
    }
}

void RemoteCall::sayGoodbye()
{
    constexpr int TIMES = 3; // one may be lost
    const std::vector<std::uint8_t> packet = goodbye(m_stream.source);
    for (int i = 0; i < TIMES; ++i) {
        m_socket.send(packet.data(), packet.size(), m_otherSide);
    }
}

/// Until a side hangs up, or this one has waited for too long.
CallEnd RemoteCall::converse(int timeoutMs, const GoOn& goOn)
{
    constexpr int LOOK_EVERY_MS = 20;
    int heard = 0;
    Clock::time_point lastHeard = Clock::now();
    Clock::time_point lastAsked = lastHeard;
    while (true) {
        if (m_allSent) {
            m_recorder.waitForFrames(m_recorder.received() + 1, LOOK_EVERY_MS);
        } else {
            m_allSent = m_sender->waitUntilDone(LOOK_EVERY_MS);
        }
        const Clock::time_point now = Clock::now();
        if (m_receiver->frames() != heard) {
            heard = m_receiver->frames();
            lastHeard = now;
        }
        if (m_receiver->saidGoodbye()) {
            return CallEnd::OTHER_HUNG_UP;
        }
        if (isFinished(now - lastHeard)) {
            return CallEnd::COMPLETED;
        }
        if (now - lastHeard >= milliseconds(timeoutMs)) {
            return heard == 0 ? CallEnd::NOBODY_ANSWERED : CallEnd::FELL_SILENT;
        }
        if (now - lastAsked >= milliseconds(ASK_EVERY_MS)) {
            lastAsked = now;
            if (!asked(goOn)) {
                return CallEnd::HUNG_UP;
            }
        }
    }
}

/// Whether the caller has nothing more to say, nor the other side after \p quiet.
bool RemoteCall::isFinished(Clock::duration quiet)
{
    return m_isCaller && m_allSent && m_receiver->frames() > 0 && quiet >= milliseconds(QUIET_MS);
}

/// Ends the threads that are still there.
void RemoteCall::finish()
{
    m_receiver->stop();
    m_receiver->join();
    m_queue.close();
    m_recorder.join();
}

CallResult RemoteCall::result() const
{
    CallResult result;
    result.end = m_end;
    result.otherSide = m_otherSide.text();
    result.frames = static_cast<int>((m_codes.size() + FRAME_SAMPLES - 1) / FRAME_SAMPLES);
    if (m_sender) {
        result.sent = m_sender->sent();
        result.sendFailures = m_sender->failed();
        result.captured = m_sender->captured();
        result.lateness = m_sender->lateness();
        result.threads.push_back(m_sender->figures());
    }
    result.received = m_recorder.received();
    result.lost = m_recorder.lost();
    result.reordered = m_recorder.reordered();
    result.late = m_recorder.late();
    result.duplicates = m_recorder.duplicates();
    result.foreign = m_receiver->foreign();
    result.threads.push_back(m_receiver->figures());
    result.threads.push_back(m_recorder.figures());
    result.semaphores = dumpOfSemaphores();
    if (m_recorder.first() >= 0) {
        result.audio =
            m_recorder.audio(m_recorder.first(), m_recorder.last() - m_recorder.first() + 1);
    }
    return result;
}

bool RemoteCall::asked(const GoOn& goOn) const
{
    const int frames = static_cast<int>((m_codes.size() + FRAME_SAMPLES - 1) / FRAME_SAMPLES);
    return goOn({frames, m_sender ? m_sender->sent() : 0, m_recorder.received()});
}

} // namespace voicecall
