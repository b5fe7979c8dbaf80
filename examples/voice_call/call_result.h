/// \file
/// How far a call is, and what came of it.
#ifndef VOICE_CALL_CALL_RESULT_H
#define VOICE_CALL_CALL_RESULT_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "call_thread.h"

namespace voicecall
{

struct CallProgress {
    int frames;
    int sent;
    int received;
};

/// Is asked ten times a second whether to go on with the call; with false it is hung up.
using GoOn = std::function<bool(const CallProgress&)>;

/// How a call ended.
enum class CallEnd { COMPLETED, HUNG_UP, OTHER_HUNG_UP, NOBODY_ANSWERED, FELL_SILENT };

struct CallResult {
    CallEnd end = CallEnd::COMPLETED;
    std::string otherSide; ///< its address; "" in a call of this process to itself
    int frames = 0;        ///< that the audio has
    int sent = 0;
    int sendFailures = 0;
    int received = 0;
    int lost = 0;
    int reordered = 0;
    int late = 0;
    int duplicates = 0;
    int captured = 0;
    int foreign = 0;
    bool drained = true;       ///< all that was sent to itself had arrived within the time for it
    std::vector<int> lateness; ///< of each tick, in microseconds
    std::vector<ThreadFigures> threads;
    std::string semaphores; ///< the dump of all that were alive when the call had just ended
    std::vector<std::int16_t> audio; ///< what arrived; a frame that did not is silent
};

} // namespace voicecall

#endif
