// How the lock of loading libraries is asked for, and what becomes of its failures.

#include <gpal/Dll.h>

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <initializer_list>
#include <locale>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/ipc_calls.h"
#include "support/observed.h"
#include "support/private_mounts.h"

namespace
{

namespace calls = support::calls;
using support::Captured;
using support::Replacement;
using support::SemaphoreArgument;
using testing::ElementsAre;
using testing::IsNull;
using testing::NotNull;

std::string failureLine(int error)
{
    return "semgctl error: " + std::to_string(error) + ", " + std::strerror(error) + "\n";
}

/// Replaces all calls around the loading of a library, and writes them down.
class RecordedCalls
{
public:
    std::vector<std::string> events;

    // What the calls answer, by errno; 0 for success.
    int creating = 0;
    int opening = 0;
    int setting = 0;
    std::vector<int> operating; ///< one after the other; success when there is none left

private:
    static constexpr int ID = 4711;

    static int answer(int error, int result)
    {
        errno = error != 0 ? error : errno;
        return error != 0 ? -1 : result;
    }

    void add(const std::string& call, std::initializer_list<long> arguments)
    {
        std::string text = call;
        for (const long argument : arguments) {
            text += " " + std::to_string(argument);
        }
        events.push_back(text);
    }

    Replacement<int(key_t, int, int)> m_semget{
        calls::semget, [this](key_t key, int count, int flags) {
            const bool creates = (flags & IPC_CREAT) != 0;
            const bool exclusively = (flags & IPC_EXCL) != 0;
            add(creates ? exclusively ? "create" : "create or open" : "open",
                {key, count, flags & ~(IPC_CREAT | IPC_EXCL)});
            return answer(creates ? creating : opening, ID);
        }};
    Replacement<int(int, int, int, SemaphoreArgument)> m_semctl{
        calls::semctl, [this](int id, int number, int command, SemaphoreArgument argument) {
            add(command == SETVAL ? "set" : "control", {id, number, argument.value});
            return answer(setting, 0);
        }};
    Replacement<int(int, sembuf*, size_t)> m_semop{
        calls::semop, [this](int id, sembuf* operation, size_t count) {
            add(operation->sem_flg == SEM_UNDO ? "change" : "change for good",
                {id, static_cast<long>(count), operation->sem_num, operation->sem_op});
            int error = 0;
            if (!operating.empty()) {
                error = operating.front();
                operating.erase(operating.begin());
            }
            return answer(error, 0);
        }};
    Replacement<void*(const char*, int)> m_dlopen{calls::dlopen,
                                                  [this](const char* library, int flags) {
                                                      events.emplace_back("load");
                                                      return calls::dlopen.original(library, flags);
                                                  }};
};

const char* const CREATE = "create 666 1 438"; // 0666
const char* const OPEN = "open 666 1 438";
const char* const SET = "set 4711 0 1";
const char* const TAKE = "change 4711 1 0 -1";
const char* const GIVE = "change 4711 1 0 1";

class LoadLockCalls : public testing::Test
{
protected:
    void SetUp() override { GPAL_IN_PRIVATE_NAMESPACES(); }
};

} // namespace

TEST_F(LoadLockCalls, isTakenInThisOrderByTheProcessThatMakesIt)
{
    RecordedCalls recorded;
    const Dll dll(LIBRARY_BASE);
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, "load", GIVE));
}

TEST_F(LoadLockCalls, isTakenInThisOrderByTheProcessThatFindsIt)
{
    RecordedCalls recorded;
    recorded.creating = EEXIST;
    const Captured output(STDOUT_FILENO);
    const Dll dll(LIBRARY_BASE);
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, OPEN, TAKE, "load", GIVE));
    EXPECT_EQ(output.text(), "");
}

TEST_F(LoadLockCalls, isNotTouchedBySymbolsNorByUnloading)
{
    RecordedCalls recorded;
    {
        Dll dll(LIBRARY_BASE);
        recorded.events.clear();
        dll.symbol("answer");
        dll.symbol("question");
    }
    EXPECT_THAT(recorded.events, ElementsAre());
}

TEST_F(LoadLockCalls, thatCannotBeOpenedIsReportedOnStandardOutputAndDoneWithout)
{
    RecordedCalls recorded;
    recorded.creating = EEXIST;
    recorded.opening = EACCES;
    recorded.operating = {EINVAL};
    const Captured output(STDOUT_FILENO);
    const Captured errors(STDERR_FILENO);
    Dll dll(LIBRARY_BASE);
    EXPECT_EQ(output.text(), failureLine(EACCES));
    EXPECT_EQ(errors.text(), "");
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, OPEN, "change -1 1 0 -1", "load"));
    EXPECT_THAT(dll.symbol("answer"), NotNull());
    EXPECT_THAT(dll.error(), IsNull());
}

TEST_F(LoadLockCalls, whoseValueCannotBeSetIsReportedOnStandardOutputAndTakenAllTheSame)
{
    RecordedCalls recorded;
    recorded.setting = EPERM;
    const Captured output(STDOUT_FILENO);
    const Dll dll(LIBRARY_BASE);
    EXPECT_EQ(output.text(), failureLine(EPERM));
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, "load", GIVE));
}

TEST_F(LoadLockCalls, failureIsReportedInPlainDigitsWhateverTheClientsLocale)
{
    class Grouping : public std::numpunct<char>
    {
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    RecordedCalls recorded;
    recorded.creating = EEXIST;
    recorded.opening = ENOSYS; // a number of more than one digit
    const Captured output(STDOUT_FILENO);
    const Dll dll(LIBRARY_BASE);
    std::locale::global(before);
    EXPECT_EQ(output.text(), failureLine(ENOSYS));
}

TEST_F(LoadLockCalls, isWaitedForThroughInterruptions)
{
    RecordedCalls recorded;
    recorded.operating = {EINTR, EINTR, 0};
    const Dll dll(LIBRARY_BASE);
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, TAKE, TAKE, "load", GIVE));
}

TEST_F(LoadLockCalls, isGivenBackThroughInterruptions)
{
    RecordedCalls recorded;
    recorded.operating = {0, EINTR, EINTR, 0};
    const Dll dll(LIBRARY_BASE);
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, "load", GIVE, GIVE, GIVE));
}

TEST_F(LoadLockCalls, thatCannotBeTakenIsDoneWithoutAndNotGivenBack)
{
    for (const int error : {EIDRM, EINVAL, EACCES, ENOSPC}) {
        RecordedCalls recorded;
        recorded.operating = {error};
        const Captured output(STDOUT_FILENO);
        Dll dll(LIBRARY_BASE);
        EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, "load"));
        EXPECT_THAT(dll.error(), IsNull());
        EXPECT_EQ(output.text(), "");
    }
}

TEST_F(LoadLockCalls, thatCannotBeGivenBackIsLeft)
{
    RecordedCalls recorded;
    recorded.operating = {0, EIDRM};
    Dll dll(LIBRARY_BASE);
    EXPECT_THAT(recorded.events, ElementsAre(CREATE, SET, TAKE, "load", GIVE));
    EXPECT_THAT(dll.error(), IsNull());
}
