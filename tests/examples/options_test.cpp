#include <getopt.h>
#include <gtest/gtest.h>
#include <vector>

#include "options.h"

namespace
{

voicecall::Options read(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "voice_call");
    std::vector<char*> vector;
    for (std::string& argument : arguments) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    optind = 0; // starts anew, whatever the call before left
    return voicecall::readOptions(static_cast<int>(arguments.size()), vector.data());
}

} // namespace

TEST(Options, defaultToARecordingOfTheSystem)
{
    const voicecall::Options options = read({});
    EXPECT_TRUE(options.valid);
    EXPECT_FALSE(options.help);
    EXPECT_EQ(options.input, "/usr/share/sounds/alsa/Front_Center.wav");
    EXPECT_EQ(options.output, "voice_call.wav");
}

TEST(Options, nameInputAndOutput)
{
    for (const auto& arguments : {std::vector<std::string>{"--output", "b.wav", "a.wav"},
                                  {"a.wav", "--output=b.wav"},
                                  {"--output=b.wav", "--", "a.wav"}}) {
        const voicecall::Options options = read(arguments);
        EXPECT_TRUE(options.valid);
        EXPECT_EQ(options.input, "a.wav");
        EXPECT_EQ(options.output, "b.wav");
    }
}

TEST(Options, askForACaptureAndForACrash)
{
    const voicecall::Options options = read({"--capture", "call.pcap", "--crash"});
    EXPECT_TRUE(options.valid);
    EXPECT_EQ(options.capture, "call.pcap");
    EXPECT_TRUE(options.crash);
    EXPECT_EQ(read({}).capture, "");
    EXPECT_FALSE(read({}).crash);
}

TEST(Options, areInvalidWhenUnknownIncompleteOrTooMany)
{
    EXPECT_FALSE(read({"--loud"}).valid);
    EXPECT_FALSE(read({"-x"}).valid);
    EXPECT_FALSE(read({"--capture"}).valid);
    EXPECT_FALSE(read({"--output"}).valid);
    EXPECT_FALSE(read({"--help=yes"}).valid);
    EXPECT_FALSE(read({"a.wav", "b.wav"}).valid);
}

TEST(Options, askForHelp)
{
    EXPECT_TRUE(read({"--help"}).help);
    EXPECT_TRUE(read({"--help"}).valid);
}
