#include <gpal/Watchdog.h>

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <string>
#include <sys/inotify.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "fabricated_proc.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/plain_thread.h"
#include "support/private_mounts.h"
#include "support/temporary_directory.h"

namespace
{

using testing::ElementsAre;

const char* const CONTROL_FILE = "/proc/driver/ifx_wdt";

/// How many writes this process has made, as the kernel counts them; -1 where it does not.
class WriteCount
{
public:
    WriteCount() : m_file(open("/proc/self/io", O_RDONLY | O_CLOEXEC)) {}
    WriteCount(const WriteCount&) = delete;
    WriteCount& operator=(const WriteCount&) = delete;
    ~WriteCount() { close(m_file); }

    long now() const
    {
        char text[1024] = "";
        const std::string key = "syscw: ";
        static_cast<void>(pread(m_file, text, sizeof text - 1, 0));
        const std::string all = text;
        const std::size_t at = all.find(key);
        return at == std::string::npos ? -1 : std::stol(all.substr(at + key.size()));
    }

private:
    int m_file;
};

/// Watches how a file is opened and closed.
class OpenedAndClosed
{
public:
    explicit OpenedAndClosed(const std::string& file) : m_queue(inotify_init1(IN_NONBLOCK))
    {
        EXPECT_NE(inotify_add_watch(m_queue, file.c_str(), IN_OPEN | IN_CLOSE), -1);
    }
    OpenedAndClosed(const OpenedAndClosed&) = delete;
    OpenedAndClosed& operator=(const OpenedAndClosed&) = delete;
    ~OpenedAndClosed() { close(m_queue); }

    /// What happened since the last look.
    std::vector<std::string> events()
    {
        alignas(inotify_event) char block[1024];
        std::vector<std::string> found;
        const ssize_t size = read(m_queue, block, sizeof block);
        for (ssize_t at = 0; at < size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(block + at);
            found.emplace_back((event->mask & IN_OPEN) != 0          ? "opened"
                               : (event->mask & IN_CLOSE_WRITE) != 0 ? "closed after writing"
                                                                     : "closed");
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        return found;
    }

private:
    int m_queue;
};

const std::map<std::string, void (Watchdog::*)()> COMMANDS = {
    {"stop monitor\n", &Watchdog::stopWatchdogMonitor},
    {"start monitor\n", &Watchdog::startWatchdogMonitor},
    {"kick watchdog\n", &Watchdog::kickWatchdog}};

} // namespace

TEST(Watchdog, hasNoStateAndNothingVirtual)
{
    EXPECT_TRUE(std::is_empty_v<Watchdog>);
    EXPECT_FALSE(std::is_polymorphic_v<Watchdog>);
}

TEST(Watchdog, tellsTheDriverItsCommands)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    for (const auto& [text, command] : COMMANDS) {
        proc.file("driver/ifx_wdt", "something longer from before");
        (Watchdog().*command)();
        EXPECT_EQ(support::contentOf(CONTROL_FILE), text);
    }
}

TEST(Watchdog, eachCommandIsOneOpeningAndOneClosing)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.file("driver/ifx_wdt", "");
    OpenedAndClosed driver(CONTROL_FILE);
    Watchdog watchdog;
    EXPECT_THAT(driver.events(), ElementsAre());
    for (const auto& [text, command] : COMMANDS) {
        (watchdog.*command)();
        EXPECT_THAT(driver.events(), ElementsAre("opened", "closed after writing")) << text;
    }
}

TEST(Watchdog, eachCommandReachesTheDriverAsOneWrite)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const WriteCount writes;
    if (writes.now() == -1) {
        GTEST_SKIP() << "the kernel does not count this process's writes";
    }
    const FabricatedProc proc;
    proc.file("driver/ifx_wdt", "");
    Watchdog watchdog;
    for (const auto& [text, command] : COMMANDS) {
        const long before = writes.now();
        (watchdog.*command)();
        EXPECT_EQ(writes.now() - before, 1) << text;
    }
}

TEST(Watchdog, eachCommandGoesThroughTheCLibrarysFunctionForTexts)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.file("driver/ifx_wdt", "");
    std::vector<std::string> written;
    const support::Replacement puts(support::calls::fputs, [&](const char* text, std::FILE*) {
        written.emplace_back(text);
        return 0;
    });
    for (const auto& [text, command] : COMMANDS) {
        written.clear();
        (Watchdog().*command)();
        EXPECT_THAT(written, ElementsAre(text));
    }
}

TEST(Watchdog, comesAndGoesWithoutTellingTheDriver)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.file("driver/ifx_wdt", "");
    OpenedAndClosed driver(CONTROL_FILE);
    { // The constructor and the destructor are functions of the library, with nothing to do.
        const Watchdog watchdog;
        static_cast<void>(watchdog);
    }
    EXPECT_THAT(driver.events(), ElementsAre());
}

TEST(Watchdog, withoutDriverTheCommandsDoNothingAndSayNothing)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    const support::RecordedLog log;
    const support::Captured output(STDOUT_FILENO);
    const support::Captured errors(STDERR_FILENO);
    for (const auto& [text, command] : COMMANDS) {
        (Watchdog().*command)();
    }
    EXPECT_FALSE(support::exists(CONTROL_FILE));
    std::filesystem::create_directories(CONTROL_FILE); // what is there can't be written to
    for (const auto& [text, command] : COMMANDS) {
        (Watchdog().*command)();
    }
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(log.lines().empty());
}

TEST(Watchdog, threadThatIsCancelledFinishesItsCommand)
{
    GPAL_IN_PRIVATE_NAMESPACES();
    const FabricatedProc proc;
    proc.file("driver/ifx_wdt", "");
    OpenedAndClosed driver(CONTROL_FILE);
    support::PlainThread thread([] {
        pthread_cancel(pthread_self());
        Watchdog().kickWatchdog();
        pthread_testcancel();
    });
    thread.join();
    EXPECT_TRUE(thread.wasCancelled());
    EXPECT_EQ(support::contentOf(CONTROL_FILE), "kick watchdog\n");
    EXPECT_THAT(driver.events(), ElementsAre("opened", "closed after writing", "opened", "closed"));
}
