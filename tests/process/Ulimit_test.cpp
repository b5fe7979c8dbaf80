// Resource limits of this program in the units of the shell.
#include <gpal/Ulimit.h>

#include <climits>
#include <gtest/gtest.h>
#include <iostream>
#include <type_traits>

#include "support/soft_limit.h"

namespace
{

struct Row {
    char option;
    int resource;
    rlim_t factor;
};

const Row ROWS[] = {{'t', RLIMIT_CPU, 1},        {'f', RLIMIT_FSIZE, 512}, {'d', RLIMIT_DATA, 1024},
                    {'s', RLIMIT_STACK, 1024},   {'c', RLIMIT_CORE, 512},  {'m', RLIMIT_RSS, 1024},
                    {'l', RLIMIT_MEMLOCK, 1024}, {'p', RLIMIT_NPROC, 1},   {'n', RLIMIT_NOFILE, 1},
                    {'v', RLIMIT_AS, 1024},      {'w', RLIMIT_LOCKS, 1}};

/// The answer while the soft limit of \p row has that value; empty where the machine does not let
/// this program have it.
std::string answerAt(const Row& row, rlim_t value)
{
    std::string text = "no answer at all, and long enough to have its place already";
    bool known = false;
    bool set = false;
    {
        // Nothing is allocated meanwhile: the limits of memory are among those that are set.
        const support::SoftLimit limit(row.resource, value);
        set = limit.isSet();
        known = Ulimit().getulimit(row.option, text);
    }
    EXPECT_TRUE(known) << row.option;
    if (!set) {
        std::cout << "not looked at: this machine does not take limit " << row.option << " = "
                  << value << "\n";
    }
    return set ? text : "";
}

} // namespace

TEST(Ulimit, reportsEverySoftLimitInItsUnit)
{
    for (const Row& row : ROWS) {
        const std::string answer = answerAt(row, 777 * row.factor);
        if (!answer.empty()) {
            EXPECT_EQ("777", answer) << row.option;
        }
    }
}

TEST(Ulimit, roundsDown)
{
    for (const Row& row : ROWS) {
        const std::string answer = answerAt(row, 778 * row.factor - 1);
        if (!answer.empty()) {
            EXPECT_EQ("777", answer) << row.option;
        }
    }
}

TEST(Ulimit, reportsNoLimitInAWord)
{
    int allowed = 0;
    for (const Row& row : ROWS) {
        const std::string answer = answerAt(row, RLIM_INFINITY);
        if (!answer.empty()) {
            EXPECT_EQ("unlimited", answer) << row.option;
            ++allowed;
        }
    }
    if (allowed == 0) {
        GTEST_SKIP() << "the machine limits everything";
    }
}

TEST(Ulimit, reportsWhatTheShellWould)
{
    EXPECT_EQ("2048", answerAt({'f', RLIMIT_FSIZE, 512}, 1048576));
    const std::string files = answerAt({'n', RLIMIT_NOFILE, 1}, 1024);
    EXPECT_TRUE(files == "1024" || files.empty()) << files;
}

TEST(Ulimit, knowsNoOtherLetters)
{
    for (int letter = CHAR_MIN; letter <= CHAR_MAX; ++letter) {
        const char option = static_cast<char>(letter);
        if (option != '\0' && std::string("tfdscmlpnvw").find(option) != std::string::npos) {
            continue;
        }
        std::string text = "as it was";
        EXPECT_FALSE(Ulimit().getulimit(option, text)) << letter;
        EXPECT_EQ("as it was", text) << letter;
    }
}

TEST(Ulimit, reportsTheSoftLimitOnly)
{
    const Ulimit::limits record{"label", RLIMIT_NOFILE, 10, 'x'};
    rlimit limit{};
    limit.rlim_cur = 1239;
    limit.rlim_max = RLIM_INFINITY;
    std::string text;
    Ulimit().getlimit(&limit, &record, text);
    EXPECT_EQ("123", text);
    limit = {RLIM_INFINITY, 5};
    Ulimit().getlimit(&limit, &record, text);
    EXPECT_EQ("unlimited", text);
    limit = {RLIM_INFINITY - 1, 5};
    Ulimit().getlimit(&limit, &record, text);
    EXPECT_EQ(std::to_string((RLIM_INFINITY - 1) / 10), text) << "unsigned";
    limit = {0, 5};
    Ulimit().getlimit(&limit, &record, text);
    EXPECT_EQ("0", text);
}

TEST(Ulimit, leavesTheTextAloneWithoutALimitOrARecord)
{
    const Ulimit::limits record{"label", RLIMIT_NOFILE, 10, 'x'};
    const rlimit limit{1, 2};
    std::string text = "as it was";
    Ulimit().getlimit(nullptr, &record, text);
    Ulimit().getlimit(&limit, nullptr, text);
    EXPECT_EQ("as it was", text);
}

TEST(Ulimit, canBeDerivedFromAndDeletedThroughItsBase)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<Ulimit>);
    Ulimit* const ulimit = new Ulimit;
    delete ulimit;
}
