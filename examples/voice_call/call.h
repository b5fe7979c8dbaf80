/// \file
/// A call from this process to itself.
#ifndef VOICE_CALL_CALL_H
#define VOICE_CALL_CALL_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gpal/Threader.h>

#include "call_threads.h"
#include "frame_queue.h"

namespace voicecall
{

/// How far a call is.
struct CallProgress {
    int frames;
    int sent;
    int received;
};

struct ThreadFigures {
    std::string name;
    std::string level;
    int wantedNice;
    int nice;
};

/// What a call did.
struct CallResult {
    int frames = 0; ///< that the audio has
    int sent = 0;
    int sendFailures = 0;
    int received = 0;
    int reordered = 0;
    int duplicates = 0;
    int captured = 0;
    int foreign = 0;
    bool drained = false;      ///< all that was sent had arrived within the time for it
    std::vector<int> lateness; ///< of each tick, in microseconds
    std::vector<ThreadFigures> threads;
    std::vector<std::int16_t> audio; ///< of the frames that were sent; a lost one is silent

    int lost() const { return sent - received; }
};

/// One call: a thread that sends, one that receives, one that records, and for its last moment one
/// that waits for what is still under way. `TimerMonitor` must have been started before.
class Call
{
public:
    /// Takes two ports; throws `std::runtime_error` when there are none. \p codes must outlive the
    /// call, and so must \p capture, where what is sent is written unless it is null.
    explicit Call(const std::vector<std::uint8_t>& codes, packet_dump* capture = nullptr);

    /// Carries the call out and returns when all its threads have ended. \p goOn is asked ten times
    /// a second; with false the call is hung up. Throws `std::runtime_error` when a thread could
    /// not be started. To be called once.
    CallResult run(const std::function<bool(const CallProgress&)>& goOn);

private:
    void talk(const std::function<bool(const CallProgress&)>& goOn);
    void drain();
    CallResult result() const;
    ThreadFigures figures(const char* name, const CallThread& thread) const;

    const std::unique_ptr<ThreaderIfc> m_threader;
    FrameQueue m_queue;
    Receiver m_receiver;
    Sender m_sender;
    Recorder m_recorder;
    bool m_drained = false;
    int m_drainNice = 0;
};

/// Nice value that the layer wants for a level.
int wantedNice(GPALThreadPriority level);

/// "VOICE" for `GPAL_THREAD_PRIORITY_VOICE` and so on.
std::string nameOfLevel(GPALThreadPriority level);

} // namespace voicecall

#endif
