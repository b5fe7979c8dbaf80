#include "json.h"

#include <cstdlib>
#include <gpal/packet_dump.h>
#include <gtest/gtest.h>

#include "support/observed.h"
#include "support/temporary_directory.h"
#include "tool_run.h"

namespace
{

std::string textAsJson(const std::string& text)
{
    const support::Captured output(1);
    gpalinfo::Json().text(text);
    return output.text();
}

/// What the tool prints for scripts, read by somebody else's program.
class GpalInfoJson : public testing::Test
{
protected:
    void SetUp() override
    {
        if (std::system("command -v python3 >/dev/null") != 0) {
            GTEST_SKIP() << "no python3 to check JSON with";
        }
    }

    static void expectJson(const std::vector<std::string>& arguments, int status = 0)
    {
        Surroundings user;
        user.environment = {"MIRTA_USER_DISK=/"};
        const ToolRun run = runTool(arguments, user);
        EXPECT_EQ(run.status, status);
        EXPECT_TRUE(isJson(run.output)) << run.output;
    }
};

} // namespace

TEST(Json, escapesWhatMayNotStandInAText)
{
    EXPECT_EQ(textAsJson("a \"b\" \\c/\n\x7f"), R"("a \"b\" \\c/\u000a\u007f")");
    EXPECT_EQ(textAsJson(""), "\"\"");
}

TEST(Json, replacesBytesThatAreNoUtf8)
{
    EXPECT_EQ(textAsJson("\u00e4\u20ac\U0001f600"), "\"\u00e4\u20ac\U0001f600\"");
    for (const char* bad : {"\x80", "\xff", "\xc3", "\xc1", "\xf5"}) {
        EXPECT_EQ(textAsJson(std::string("<") + bad + ">"), R"("<\ufffd>")");
    }
    EXPECT_EQ(textAsJson("\xed\xa0\x80"), R"("\ufffd\ufffd\ufffd")") << "half of a pair";
    EXPECT_EQ(textAsJson("\xe0\x80\x80"), R"("\ufffd\ufffd\ufffd")") << "too long";
}

TEST(Json, separatesMembersAndElements)
{
    const support::Captured output(1);
    gpalinfo::Json json;
    json.open('{').name("a").open('[').number(1).number(-5000000000).null().close(']');
    json.name("b").open('{').close('}').name("c").text("x").close('}');
    EXPECT_EQ(output.text(), "{\"a\":[1,-5000000000,null],\"b\":{},\"c\":\"x\"}\n");
}

TEST_F(GpalInfoJson, isValidInTheOverview)
{
    expectJson({"--json"});
    expectJson({"--json", "--disk", "/nowhere/\"at\"/\xff/all"});
}

TEST_F(GpalInfoJson, isValidForThreads)
{
    expectJson({"--process", "1", "--json"});
}

TEST_F(GpalInfoJson, isValidForACaptureThoughItBeCutShort)
{
    const support::TemporaryDirectory directory;
    std::string path = directory.path("capture.pcap");
    {
        packet_dump dump(path.data());
        char text[] = "0123456789";
        dump.write(text, 3, PACKET_DUMP_UDP);
        dump.write(text, 10, PACKET_DUMP_TCP_FORWARD);
    }
    expectJson({"--capture", path, "--json"});
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1);
    expectJson({"--capture", path, "--json"}, 1);
    expectJson({"--capture", directory.file("text", "no capture"), "--json"}, 1);
}
