#include "wav_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace voicecall
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned FORMAT_PCM = 0x0001;
constexpr unsigned FORMAT_FLOAT = 0x0003;
constexpr unsigned FORMAT_EXTENSIBLE = 0xFFFE;
constexpr std::size_t RIFF_HEADER_SIZE = 12;
constexpr std::size_t CHUNK_HEADER_SIZE = 8;
constexpr std::size_t FORMAT_SIZE = 16;
constexpr std::size_t EXTENSIBLE_FORMAT_SIZE = 40;
constexpr std::size_t SUBFORMAT_AT = 24;
constexpr unsigned LOWEST_RATE = 4000;
constexpr unsigned HIGHEST_RATE = 192000;

/// Part of a file. Numbers in it are little-endian whatever the processor is.
struct Span {
    const std::uint8_t* data;
    std::size_t size;

    unsigned number16(std::size_t at) const { return data[at] | unsigned{data[at + 1]} << 8; }
    std::uint32_t number32(std::size_t at) const
    {
        return number16(at) | std::uint32_t{number16(at + 2)} << 16;
    }
    bool hasText(std::size_t at, const char* text) const
    {
        return std::memcmp(data + at, text, std::strlen(text)) == 0;
    }
    Span from(std::size_t start) const { return {data + start, size - start}; }
};

/// Steps over the chunks of \p chunks to the one called \p name and returns its contents; after it,
/// \p chunks starts behind that chunk.
Span findChunk(Span& chunks, const char* name)
{
    while (chunks.size >= CHUNK_HEADER_SIZE) {
        const bool found = chunks.hasText(0, name);
        const std::uint32_t length = chunks.number32(4);
        chunks = chunks.from(CHUNK_HEADER_SIZE);
        if (length > chunks.size) {
            throw WavError(
                found ? "is truncated: its \"" + std::string(name) + "\" chunk should have " +
                            std::to_string(length) + " bytes but only " +
                            std::to_string(chunks.size) + " are there"
                      : "is truncated inside a chunk before \"" + std::string(name) + "\"");
        }
        const Span contents{chunks.data, length};
        // A chunk of odd length is followed by a filler byte, which some writers forget at the end.
        chunks = chunks.from(std::min<std::size_t>(chunks.size, std::size_t{length} + length % 2));
        if (found) {
            return contents;
        }
    }
    throw WavError("has no \"" + std::string(name) + "\" chunk: it is truncated or damaged");
}

bool isPcm(const Span& format)
{
    // What follows the format's number in the GUID that every plain format shares.
    constexpr std::array<std::uint8_t, 14> REST_OF_GUID{0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                                        0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    const unsigned tag = format.number16(0);
    if (tag != FORMAT_EXTENSIBLE) {
        return tag == FORMAT_PCM;
    }
    return format.size >= EXTENSIBLE_FORMAT_SIZE && format.number16(SUBFORMAT_AT) == FORMAT_PCM &&
           std::equal(REST_OF_GUID.begin(), REST_OF_GUID.end(), format.data + SUBFORMAT_AT + 2);
}

void require(bool condition, const std::string& complaint)
{
    if (!condition) {
        throw WavError(complaint);
    }
}

void checkFormat(const Span& format)
{
    require(format.size >= FORMAT_SIZE, "has a \"fmt \" chunk that is too short");
    const unsigned tag = format.number16(0);
    require(isPcm(format), "is not PCM audio (format " + std::to_string(tag) +
                               (tag == FORMAT_FLOAT ? ", floating point)" : ")"));
    const unsigned channels = format.number16(2);
    require(channels == 1 || channels == 2,
            "has " + std::to_string(channels) + " channels, not one or two");
    const std::uint32_t rate = format.number32(4);
    require(rate >= LOWEST_RATE && rate <= HIGHEST_RATE,
            "has " + std::to_string(rate) + " samples a second, not 4000 to 192000");
    const unsigned bits = format.number16(14);
    require(bits == 16, "has " + std::to_string(bits) + " bits a sample, not 16");
    require(format.number16(12) == channels * 2, "contradicts itself in its \"fmt \" chunk");
}

class Writer
{
public:
    void text(const char* text) { m_bytes.insert(m_bytes.end(), text, text + std::strlen(text)); }
    void number16(unsigned number)
    {
        m_bytes.push_back(static_cast<std::uint8_t>(number & 0xFF));
        m_bytes.push_back(static_cast<std::uint8_t>(number >> 8 & 0xFF));
    }
    void number32(std::uint32_t number)
    {
        number16(number & 0xFFFF);
        number16(number >> 16);
    }
    Bytes take() { return std::move(m_bytes); }

private:
    Bytes m_bytes;
};

Bytes readWholeFile(const std::string& path)
{
    constexpr std::size_t LARGEST_FILE = std::size_t{64} << 20;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               std::fclose);
    if (!file) {
        throw WavError(std::strerror(errno));
    }
    Bytes bytes;
    std::array<std::uint8_t, 16384> block{};
    while (const std::size_t got = std::fread(block.data(), 1, block.size(), file.get())) {
        bytes.insert(bytes.end(), block.begin(), block.begin() + got);
        require(bytes.size() <= LARGEST_FILE, "is larger than 64 MiB");
    }
    if (std::ferror(file.get()) != 0) {
        throw WavError(std::strerror(errno));
    }
    return bytes;
}

} // namespace

WavAudio parseWav(const Bytes& bytes)
{
    const Span file{bytes.data(), bytes.size()};
    require(file.size != 0, "is empty");
    require(file.size >= RIFF_HEADER_SIZE && file.hasText(0, "RIFF") && file.hasText(8, "WAVE"),
            "is not a WAV file");
    // The length in the file's own header is not looked at: programs that write to a pipe can't
    // know it, and the chunks say all.
    Span chunks = file.from(RIFF_HEADER_SIZE);
    const Span format = findChunk(chunks, "fmt ");
    checkFormat(format);
    const Span data = findChunk(chunks, "data");
    require(data.size != 0, "holds no audio");
    WavAudio audio;
    audio.channels = format.number16(2);
    audio.sampleRate = format.number32(4);
    require(data.size % (std::size_t{audio.channels} * 2) == 0, "ends in the middle of a sample");
    audio.samples.resize(data.size / 2);
    for (std::size_t i = 0; i < audio.samples.size(); ++i) {
        audio.samples[i] = static_cast<std::int16_t>(data.number16(2 * i));
    }
    return audio;
}

Bytes formatWav(const WavAudio& audio)
{
    const auto dataSize = static_cast<std::uint32_t>(audio.samples.size() * 2);
    const unsigned blockSize = audio.channels * 2;
    Writer writer;
    writer.text("RIFF");
    writer.number32(
        static_cast<std::uint32_t>(4 + CHUNK_HEADER_SIZE + FORMAT_SIZE + CHUNK_HEADER_SIZE) +
        dataSize);
    writer.text("WAVE");
    writer.text("fmt ");
    writer.number32(FORMAT_SIZE);
    writer.number16(FORMAT_PCM);
    writer.number16(audio.channels);
    writer.number32(audio.sampleRate);
    writer.number32(audio.sampleRate * blockSize);
    writer.number16(blockSize);
    writer.number16(16);
    writer.text("data");
    writer.number32(dataSize);
    for (const std::int16_t sample : audio.samples) {
        writer.number16(static_cast<std::uint16_t>(sample));
    }
    return writer.take();
}

WavAudio readWavFile(const std::string& path)
{
    try {
        return parseWav(readWholeFile(path));
    } catch (const WavError& error) {
        throw WavError(path + ": " + error.what());
    }
}

WavOutput::WavOutput(std::string path)
    : m_path(std::move(path)), m_file(std::fopen(m_path.c_str(), "wbe"))
{
    if (!m_file) {
        throw WavError("cannot write " + m_path + ": " + std::strerror(errno));
    }
}

void WavOutput::write(const WavAudio& audio)
{
    const Bytes bytes = formatWav(audio);
    // What did not fit on the disk may show only in flushing, and then perhaps only in the stream's
    // state.
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) == bytes.size() &&
                         std::fflush(m_file.get()) == 0 && std::ferror(m_file.get()) == 0;
    const int writeError = errno;
    const bool closed = std::fclose(m_file.release()) == 0;
    if (!written || !closed) {
        throw WavError("cannot write " + m_path + ": " +
                       std::strerror(written ? errno : writeError));
    }
}

} // namespace voicecall
