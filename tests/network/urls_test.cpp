#include <gpal/NetworkUtils.h>

#include <map>

#include <gtest/gtest.h>

namespace
{

using Cut = void (*)(std::string&);
/// What a function leaves of each of some URLs.
using Cuts = std::map<std::string, std::string>;

void expectCuts(Cut cut, const Cuts& expected)
{
    for (const auto& [url, left] : expected) {
        std::string text = url;
        cut(text);
        EXPECT_EQ(text, left) << "of '" << url << "'";
    }
}

} // namespace

TEST(Url, constantsAreWhatClientsCompareWith)
{
    EXPECT_EQ(NetworkUtils::URL_ELEM_NOT_FOUND, "-1");
    EXPECT_EQ(NetworkUtils::HTTPS_DEFAULT_PORT, "443");
}

TEST(Url, losesItsProtocolThroughTheFirstDoubleSlash)
{
    expectCuts(NetworkUtils::removeURLProtocol, {{"sip://pbx", "pbx"},
                                                 {"file:///etc", "/etc"},
                                                 {"//pbx//a", "pbx//a"},
                                                 {"pbx/a", "pbx/a"},
                                                 {"//", ""},
                                                 {"/", "/"},
                                                 {"", ""}});
}

TEST(Url, losesItsUserThroughTheFirstAt)
{
    expectCuts(NetworkUtils::removeURLUserAndPass, {{"user:pw@pbx", "pbx"},
                                                    {"a@b@c", "b@c"},
                                                    {"@pbx", "pbx"},
                                                    {"pbx@", ""},
                                                    {"@", ""},
                                                    {"pbx", "pbx"},
                                                    {"", ""}});
}

TEST(Url, losesItsQueryFromTheFirstQuestionMark)
{
    expectCuts(NetworkUtils::removeURLQueryString, {{"pbx?x=1", "pbx"},
                                                    {"pbx?x=1?y=2", "pbx"},
                                                    {"?x", ""},
                                                    {"pbx?", "pbx"},
                                                    {"pbx", "pbx"},
                                                    {"", ""}});
}

TEST(Url, losesItsPathFromTheFirstSlash)
{
    expectCuts(NetworkUtils::removeURLPath, {{"pbx/a/b", "pbx"},
                                             {"pbx/", "pbx"},
                                             {"/a", ""},
                                             {"sip://pbx", "sip:"},
                                             {"pbx", "pbx"},
                                             {"", ""}});
}

TEST(Url, pathKeepsItsLeadingSlash)
{
    expectCuts(NetworkUtils::getURLPath, {{"sip://user:pw@pbx:5060/a/b?x=1", "/a/b"},
                                          {"pbx/a", "/a"},
                                          {"file:///etc", "/etc"},
                                          {"pbx//a//", "//"},
                                          {"sip://pbx//", "//"}});
}

TEST(Url, pathIsAbsentWithoutASlashOrWithNothingBehindIt)
{
    expectCuts(NetworkUtils::getURLPath, {{"host/", "-1"},
                                          {"host?q=/x", "-1"},
                                          {"host/?q=/x", "-1"},
                                          {"host", "-1"},
                                          {"sip://host", "-1"},
                                          {"/", "-1"},
                                          {"", "-1"}});
}

TEST(Url, hostStandsBetweenUserAndPort)
{
    expectCuts(NetworkUtils::getURLHost, {{"sip://user:pw@pbx:5060/a/b?x=1", "pbx"},
                                          {"pbx", "pbx"},
                                          {"pbx:", "pbx"},
                                          {"pbx?x=1", "pbx"},
                                          {"pbx/a:b", "pbx"},
                                          {"192.0.2.1:80:81", "192.0.2.1"}});
}

TEST(Url, hostInBracketsIsAnIPv6Address)
{
    expectCuts(NetworkUtils::getURLHost, {{"[2001:db8::1]:5061", "2001:db8::1"},
                                          {"sips://u@[2001:db8::1]/a", "2001:db8::1"},
                                          {"[a]b]", "a"},
                                          {"[]", "-1"},
                                          {"[2001:db8::1", "-1"},
                                          {"[", "-1"},
                                          {"a[b]", "a[b]"}});
}

TEST(Url, hostWithoutBracketsEndsAtTheFirstColon)
{
    expectCuts(NetworkUtils::getURLHost, {{"2001:db8::1", "2001"}});
}

TEST(Url, hostIsAbsentWhereNothingIsLeft)
{
    expectCuts(NetworkUtils::getURLHost, {{"", "-1"},
                                          {":80", "-1"},
                                          {"::1", "-1"},
                                          {"/a", "-1"},
                                          {"sip://", "-1"},
                                          {"u@", "-1"},
                                          {"?x", "-1"}});
}

TEST(Url, portStandsBehindTheHost)
{
    expectCuts(NetworkUtils::getURLPort, {{"sip://user:pw@pbx:5060/a/b?x=1", "5060"},
                                          {"pbx:sip", "sip"},
                                          {":80", "80"},
                                          {"pbx:80:81", "80:81"},
                                          {"[2001:db8::1]:5061", "5061"},
                                          {"[a]b]:1", "1"},
                                          {"[]x:1", "1"},
                                          {"[::1", ":1"},
                                          {"a[b:1]:2", "1]:2"}});
}

TEST(Url, portIsAbsentWithoutAColonOrWithNothingBehindIt)
{
    expectCuts(NetworkUtils::getURLPort, {{"scheme://pbx/", "-1"},
                                          {"https://pbx/a", "-1"},
                                          {"pbx:", "-1"},
                                          {"pbx/a:80", "-1"},
                                          {"pbx?a:80", "-1"},
                                          {"[2001:db8::1]", "-1"},
                                          {"[2001:db8::1]:", "-1"},
                                          {"", "-1"}});
}

TEST(Url, isCutInTheOrderProtocolUserQueryPath)
{
    // The user is cut before the query, the query before the path.
    const std::string url = "sip://pbx/a?to=x@other:80/b//c@d?e";
    std::string text = url;
    NetworkUtils::getURLHost(text);
    EXPECT_EQ(text, "other");
    text = url;
    NetworkUtils::getURLPort(text);
    EXPECT_EQ(text, "80");
    text = url;
    NetworkUtils::getURLPath(text);
    EXPECT_EQ(text, "/b//c@d");
    // The protocol is cut before the user.
    text = "user@a://b@pbx";
    NetworkUtils::getURLHost(text);
    EXPECT_EQ(text, "pbx");
    text = "a?b//c@pbx/d";
    NetworkUtils::getURLPath(text);
    EXPECT_EQ(text, "/d");
}
