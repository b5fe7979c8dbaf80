/// \file
/// The two sides of a call between machines.
#ifndef GPAL_TESTS_EXAMPLES_REMOTE_SIDE_H
#define GPAL_TESTS_EXAMPLES_REMOTE_SIDE_H

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "program_run.h"
#include "recordings.h"

#include "support/observed.h"

/// A side of a call: the program with a recording of its own, in a directory of its own.
class RemoteSide
{
public:
    /// \p before is a command that runs the program, if there is one.
    explicit RemoteSide(const voicecall::WavAudio& recording, std::vector<std::string> before = {})
        : m_recording(recording), m_before(std::move(before))
    {
        recordings::writeBytes(m_directory.path("in.wav"), voicecall::formatWav(recording));
    }

    void start(std::vector<std::string> arguments,
               ProgramRun::Errors errors = ProgramRun::ERRORS_IN_FILE)
    {
        arguments.insert(arguments.end(), {"in.wav", "--output", "out.wav"});
        m_run = std::make_unique<ProgramRun>(m_directory, arguments, errors, m_before);
    }

    /// Starts the program as the side that is called; returns its port.
    int listen(const std::vector<std::string>& arguments = {"--listen=0"})
    {
        // A terminal shows how much was heard.
        start(arguments, ProgramRun::ERRORS_ON_TERMINAL);
        EXPECT_TRUE(support::eventually([this] { return output().find(".\n") != output().npos; }));
        return recordings::figure(output(), "UDP port ");
    }

    /// Waits until the side that is called has heard the other.
    bool hasHeard()
    {
        return support::eventually(
            [this] { return recordings::figure(errors(), "received ") > 0; });
    }

    pid_t id() const { return m_run->id(); }
    int wait() { return m_run->wait(); }
    std::string output() const { return m_run->output(); }
    std::string errors() { return m_run->errors(); }
    int figure(const std::string& label) const { return recordings::figure(output(), label); }
    std::string path(const std::string& name) const { return m_directory.path(name); }

    /// What it sent, as it arrives if nothing is lost.
    std::vector<std::int16_t> sent() const { return recordings::asEncodedAndDecoded(m_recording); }
    /// What it heard.
    std::vector<std::int16_t> heard() const
    {
        return voicecall::readWavFile(m_directory.path("out.wav")).samples;
    }

private:
    support::TemporaryDirectory m_directory;
    const voicecall::WavAudio m_recording;
    const std::vector<std::string> m_before;
    std::unique_ptr<ProgramRun> m_run;
};

#endif
