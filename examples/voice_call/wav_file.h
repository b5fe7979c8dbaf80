/// \file
/// WAV files with 16-bit PCM audio: reading, writing.
#ifndef VOICE_CALL_WAV_FILE_H
#define VOICE_CALL_WAV_FILE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace voicecall
{

/// What keeps a file from being used, as one line that a person can read.
class WavError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct WavAudio {
    unsigned sampleRate = 0;
    unsigned channels = 0;             ///< 1 or 2
    std::vector<std::int16_t> samples; ///< left and right alternate when there are two channels
};

/// The audio in the bytes of a WAV file. No length in it is believed before it was compared with
/// what is there. Throws `WavError`, with a text that goes on after the file's name, unless there
/// is at least one sample of 16-bit PCM, mono or stereo, at 4,000 to 192,000 Hz.
WavAudio parseWav(const std::vector<std::uint8_t>& bytes);

/// The bytes of a WAV file with this audio.
std::vector<std::uint8_t> formatWav(const WavAudio& audio);

/// Reads a file. Throws `WavError` with the file's name in its text.
WavAudio readWavFile(const std::string& path);

/// A WAV file to be written. It is opened first, so that a path that can't be written is found out
/// before the audio is there.
class WavOutput
{
public:
    /// Creates or empties the file. Throws `WavError` if that fails.
    explicit WavOutput(std::string path);

    /// Writes the whole file and closes it. Throws `WavError` if not all could be written.
    void write(const WavAudio& audio);

    const std::string& path() const { return m_path; }

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string m_path;
    std::unique_ptr<std::FILE, Close> m_file;
};

} // namespace voicecall

#endif
