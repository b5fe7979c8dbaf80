#include <cstdio>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wav_file.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using voicecall::formatWav;
using voicecall::parseWav;
using voicecall::WavAudio;
using voicecall::WavError;
using Bytes = std::vector<std::uint8_t>;

namespace
{

const WavAudio STEREO{44100, 2, {1, -1, 32767, -32768, 256, -256}};

Bytes chunk(const std::string& name, const Bytes& contents)
{
    Bytes bytes(name.begin(), name.end());
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(contents.size() >> shift & 0xFF));
    }
    bytes.insert(bytes.end(), contents.begin(), contents.end());
    if (contents.size() % 2 != 0) {
        bytes.push_back(0);
    }
    return bytes;
}

Bytes wavOf(const std::vector<Bytes>& chunks)
{
    Bytes contents{'W', 'A', 'V', 'E'};
    for (const Bytes& each : chunks) {
        contents.insert(contents.end(), each.begin(), each.end());
    }
    return chunk("RIFF", contents);
}

/// Contents of a "fmt " chunk: PCM, mono, 8000 Hz, 16 bits.
Bytes plainFormat()
{
    return {1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16, 0};
}

Bytes changed(Bytes format, std::size_t at, const Bytes& bytes)
{
    std::copy(bytes.begin(), bytes.end(), format.begin() + static_cast<std::ptrdiff_t>(at));
    return format;
}

Bytes extensibleFormat()
{
    Bytes format = changed(plainFormat(), 0, {0xFE, 0xFF});
    const Bytes extension{22, 0, 16,   0,    4,    0,    0,    0,    1,    0,    0,    0,
                          0,  0, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    format.insert(format.end(), extension.begin(), extension.end());
    return format;
}

/// What is wrong with a file; "" when nothing is.
std::string complaintAbout(const Bytes& bytes)
{
    try {
        parseWav(bytes);
        return "";
    } catch (const WavError& error) {
        return error.what();
    }
}

std::string complaintAboutFormat(const Bytes& format)
{
    return complaintAbout(wavOf({chunk("fmt ", format), chunk("data", {1, 0})}));
}

std::string pathFor(const std::string& name)
{
    return testing::TempDir() + name +
           std::to_string(std::hash<std::string>()(
               testing::UnitTest::GetInstance()->current_test_info()->name()));
}

void writeFile(const std::string& path, const Bytes& bytes)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
}

} // namespace

TEST(WavFile, readsWhatItWrote)
{
    const WavAudio read = parseWav(formatWav(STEREO));
    EXPECT_EQ(read.sampleRate, 44100U);
    EXPECT_EQ(read.channels, 2U);
    EXPECT_EQ(read.samples, STEREO.samples);
}

TEST(WavFile, writesTheCanonicalHeaderAndLittleEndianSamples)
{
    EXPECT_THAT(formatWav({8000, 1, {0x1234, -2}}),
                ElementsAre('R', 'I', 'F', 'F', 40, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ',
                            16, 0, 0, 0, 1, 0, 1, 0, 0x40, 0x1F, 0, 0, 0x80, 0x3E, 0, 0, 2, 0, 16,
                            0, 'd', 'a', 't', 'a', 4, 0, 0, 0, 0x34, 0x12, 0xFE, 0xFF));
}

TEST(WavFile, writesAWellFormedFileWithoutAudio)
{
    const Bytes bytes = formatWav({8000, 1, {}});
    EXPECT_EQ(bytes.size(), 44U);
    EXPECT_EQ(complaintAbout(bytes), "holds no audio");
}

TEST(WavFile, stepsOverOtherChunksAndTheirFillerBytes)
{
    const Bytes bytes =
        wavOf({chunk("LIST", {1, 2, 3}), chunk("fmt ", plainFormat()), chunk("fact", {9}),
               chunk("data", {0x34, 0x12}), chunk("LIST", {1, 2})});
    EXPECT_THAT(parseWav(bytes).samples, ElementsAre(0x1234));
}

TEST(WavFile, doesNotMindWhatFollowsTheAudio)
{
    Bytes bytes = wavOf({chunk("fmt ", plainFormat()), chunk("data", {0x34, 0x12})});
    for (const std::uint8_t extra : Bytes{'L', 'I', 'S'}) {
        bytes.push_back(extra);
    }
    EXPECT_THAT(parseWav(bytes).samples, ElementsAre(0x1234));
}

TEST(WavFile, doesNotMindAFileLengthThatAPipeCouldNotKnow)
{
    for (const std::uint8_t byte : Bytes{0x00, 0xFF}) {
        const Bytes bytes = changed(
            wavOf({chunk("fmt ", plainFormat()), chunk("data", {0x34, 0x12})}), 4, Bytes(4, byte));
        EXPECT_THAT(parseWav(bytes).samples, ElementsAre(0x1234));
    }
}

TEST(WavFile, readsTheExtensibleFormatWithPcmInIt)
{
    EXPECT_EQ(complaintAboutFormat(extensibleFormat()), "");
}

TEST(WavFile, refusesTheExtensibleFormatWithAnythingElseInIt)
{
    EXPECT_THAT(complaintAboutFormat(changed(extensibleFormat(), 24, {3})), HasSubstr("not PCM"));
    EXPECT_THAT(complaintAboutFormat(changed(extensibleFormat(), 39, {0x72})),
                HasSubstr("not PCM"));
    Bytes cut = extensibleFormat();
    cut.resize(38);
    EXPECT_THAT(complaintAboutFormat(cut), HasSubstr("not PCM"));
}

TEST(WavFile, refusesAFileThatIsCutShortAnywhere)
{
    const Bytes whole = formatWav(STEREO);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const auto end = whole.begin() + static_cast<std::ptrdiff_t>(size);
        EXPECT_NE(complaintAbout(Bytes(whole.begin(), end)), "") << size;
    }
}

TEST(WavFile, saysWhatIsMissingOfATruncatedFile)
{
    Bytes bytes = formatWav(STEREO);
    bytes.pop_back();
    EXPECT_EQ(complaintAbout(bytes),
              "is truncated: its \"data\" chunk should have 12 bytes but only 11 are there");
    bytes.resize(36);
    EXPECT_EQ(complaintAbout(bytes), "has no \"data\" chunk: it is truncated or damaged");
    bytes.resize(30);
    EXPECT_THAT(complaintAbout(bytes), StartsWith("is truncated: its \"fmt \" chunk"));
    EXPECT_EQ(complaintAbout({}), "is empty");
}

TEST(WavFile, believesNoLengthThatLeadsOutOfTheFile)
{
    const Bytes whole = formatWav(STEREO);
    for (const std::size_t lengthAt : {std::size_t{16}, std::size_t{40}}) {
        for (const Bytes& length : {Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0xFE, 0xFF, 0xFF, 0xFF},
                                    Bytes{0, 0, 0, 0x80}, Bytes{0xFF, 0xFF, 0xFF, 0x7F}}) {
            EXPECT_THAT(complaintAbout(changed(whole, lengthAt, length)), HasSubstr("truncated"));
        }
    }
    Bytes before = wavOf({chunk("LIST", {1, 2}), chunk("fmt ", plainFormat())});
    EXPECT_EQ(complaintAbout(changed(before, 16, {0xFF, 0xFF, 0xFF, 0xFF})),
              "is truncated inside a chunk before \"fmt \"");
}

TEST(WavFile, refusesWhatIsNoWavFile)
{
    EXPECT_EQ(complaintAbout(Bytes(100, 'x')), "is not a WAV file");
    EXPECT_EQ(complaintAbout(changed(formatWav(STEREO), 0, {'R', 'I', 'F', 'X'})),
              "is not a WAV file");
    EXPECT_EQ(complaintAbout(changed(formatWav(STEREO), 8, {'A', 'V', 'I', ' '})),
              "is not a WAV file");
}

TEST(WavFile, refusesFormatsOtherThanSixteenBitPcm)
{
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 0, {3})),
              "is not PCM audio (format 3, floating point)");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 0, {7})), "is not PCM audio (format 7)");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 12, {1, 0, 8})),
              "has 8 bits a sample, not 16");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 12, {3, 0, 24})),
              "has 24 bits a sample, not 16");
}

TEST(WavFile, refusesAbsurdFigures)
{
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 2, {0})),
              "has 0 channels, not one or two");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 2, {0xFF, 0xFF})),
              "has 65535 channels, not one or two");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 4, {0, 0})),
              "has 0 samples a second, not 4000 to 192000");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 4, {0xFF, 0xFF, 0xFF, 0xFF})),
              "has 4294967295 samples a second, not 4000 to 192000");
    EXPECT_EQ(complaintAboutFormat(changed(plainFormat(), 12, {4})),
              "contradicts itself in its \"fmt \" chunk");
    EXPECT_EQ(complaintAboutFormat({1, 0, 1, 0}), "has a \"fmt \" chunk that is too short");
}

TEST(WavFile, refusesHalfASample)
{
    EXPECT_EQ(complaintAbout(wavOf({chunk("fmt ", plainFormat()), chunk("data", {1, 2, 3})})),
              "ends in the middle of a sample");
    const Bytes stereo = changed(changed(plainFormat(), 2, {2}), 12, {4});
    EXPECT_EQ(complaintAbout(wavOf({chunk("fmt ", stereo), chunk("data", {1, 2})})),
              "ends in the middle of a sample");
}

TEST(WavFile, survivesAnyByteChanged)
{
    const Bytes whole = formatWav(STEREO);
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const std::uint8_t byte : Bytes{0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            complaintAbout(changed(whole, at, {byte}));
        }
    }
}

TEST(WavFile, namesTheFileThatCanNotBeRead)
{
    const std::string path = pathFor("none");
    const auto complaint = [](const std::string& file) -> std::string {
        try {
            voicecall::readWavFile(file);
            return "";
        } catch (const WavError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(complaint(path), path + ": No such file or directory");
    EXPECT_EQ(complaint("/"), "/: Is a directory");
    writeFile(path, Bytes(100, 'x'));
    EXPECT_EQ(complaint(path), path + ": is not a WAV file");
    std::remove(path.c_str());
    EXPECT_EQ(complaint("/dev/zero"), "/dev/zero: is larger than 64 MiB");
}

TEST(WavFile, goesThroughTheDisk)
{
    const std::string path = pathFor("through");
    voicecall::WavOutput(path).write(STEREO);
    EXPECT_EQ(voicecall::readWavFile(path).samples, STEREO.samples);
    std::remove(path.c_str());
}

TEST(WavFile, findsOutAtOnceThatAPathCanNotBeWritten)
{
    try {
        const voicecall::WavOutput output("/no such directory/out.wav");
        FAIL() << "opened " << output.path();
    } catch (const WavError& error) {
        EXPECT_STREQ(error.what(),
                     "cannot write /no such directory/out.wav: No such file or directory");
    }
}

TEST(WavFile, saysThatTheDiskIsFull)
{
    for (const std::size_t samples : {std::size_t{1}, std::size_t{100000}}) {
        voicecall::WavOutput output("/dev/full");
        try {
            output.write({8000, 1, std::vector<std::int16_t>(samples)});
            ADD_FAILURE() << "wrote " << samples;
        } catch (const WavError& error) {
            EXPECT_STREQ(error.what(), "cannot write /dev/full: No space left on device");
        }
    }
}
