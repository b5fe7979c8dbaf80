/// \file
/// What a person sees of the call.
#ifndef VOICE_CALL_REPORT_H
#define VOICE_CALL_REPORT_H

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "call_result.h"
#include "semaphore_summary.h"

namespace voicecall
{

/// A line on standard error that shows how far the call is, rewritten in place. Silent unless
/// standard error is a terminal. Takes the line away in the end.
class ProgressLine
{
public:
    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine();

    void show(const CallProgress& progress) const;

private:
    const bool m_isTerminal;
};

/// Such a line, without what moves the cursor.
std::string progressText(const CallProgress& progress);

/// The value below or at which \p percent per cent of \p values are; 0 when there are none.
int percentile(std::vector<int> values, int percent);

/// What the report says beside the call's own figures.
struct ReportFacts {
    std::string input;
    unsigned inputRate;
    unsigned inputChannels;
    std::string output;
    std::string capture; ///< "" when none was wanted
    std::size_t samplesWritten;
    /// Whether the recording equals what was encoded and decoded, sample for sample; nothing where
    /// that is not known.
    std::optional<bool> asEncoded;
    int timeoutS; ///< how long the other side may say nothing
    SemaphoreSummary semaphores;
};

/// Writes the report, which fits a screen of 24 lines with 80 characters, unless a path is long.
void writeReport(std::ostream& out, const ReportFacts& facts, const CallResult& call);

} // namespace voicecall

#endif
