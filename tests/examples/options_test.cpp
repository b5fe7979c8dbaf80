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
    EXPECT_EQ(options.complaint, "");
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
        EXPECT_EQ(options.complaint, "");
        EXPECT_EQ(options.input, "a.wav");
        EXPECT_EQ(options.output, "b.wav");
    }
}

TEST(Options, askForACaptureAndForACrash)
{
    const voicecall::Options options = read({"--capture", "call.pcap", "--crash"});
    EXPECT_EQ(options.complaint, "");
    EXPECT_EQ(options.capture, "call.pcap");
    EXPECT_TRUE(options.crash);
    EXPECT_EQ(read({}).capture, "");
    EXPECT_FALSE(read({}).crash);
}

TEST(Options, nameACallToOrFromAnotherMachine)
{
    EXPECT_FALSE(read({}).listen);
    EXPECT_EQ(read({"--listen"}).listen, 5004);
    EXPECT_EQ(read({"--listen", "6000"}).listen, 6000);
    EXPECT_EQ(read({"--listen=0", "6000"}).listen, 0);
    EXPECT_EQ(read({"--listen=0", "6000"}).input, "6000");
    EXPECT_EQ(read({"--listen", "a.wav"}).input, "a.wav");
    EXPECT_EQ(read({"--to", "[::1]:5006"}).to, "[::1]:5006");
    EXPECT_EQ(read({"--to", "phone", "--timeout", "3"}).timeoutS, 3);
    EXPECT_FALSE(read({"--to", "phone"}).timeoutS);
    EXPECT_TRUE(read({"--dump"}).dump);
}

TEST(Options, sayWhatIsWrongWithThem)
{
    EXPECT_EQ(read({"--loud"}).complaint, "unknown option --loud");
    EXPECT_EQ(read({"--dump", "-x"}).complaint, "unknown option -x");
    EXPECT_EQ(read({"--capture"}).complaint, "--capture needs a value");
    EXPECT_EQ(read({"--help=yes"}).complaint, "--help=yes: the option takes no value");
    EXPECT_EQ(read({"a.wav", "b.wav"}).complaint, "unexpected argument b.wav");
    EXPECT_EQ(read({"--listen=65536"}).complaint, "65536 is no port");
    EXPECT_EQ(read({"--listen=-1"}).complaint, "-1 is no port");
    EXPECT_EQ(read({"--listen=x"}).complaint, "x is no port");
    EXPECT_EQ(read({"--timeout", "0"}).complaint, "0 is no number of seconds from 1 to 3600");
    EXPECT_EQ(read({"--timeout", "99999999999"}).complaint,
              "99999999999 is no number of seconds from 1 to 3600");
    EXPECT_EQ(read({"--listen", "--to", "phone"}).complaint,
              "only one of --listen and --to goes at a time");
}

TEST(Options, askForHelp)
{
    EXPECT_TRUE(read({"--help"}).help);
    EXPECT_EQ(read({"--help"}).complaint, "");
    EXPECT_TRUE(read({"-h"}).help);
}
