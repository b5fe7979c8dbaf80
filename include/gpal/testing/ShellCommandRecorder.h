/// \file
/// Records the commands that are given to the shell. The program that includes this header has a
/// `system` of its own, and "reboot" no longer reboots; see `ShellCommandRecorder` and
/// `RebootGuard.h`.
#ifndef GPAL_TESTING_SHELLCOMMANDRECORDER_H
#define GPAL_TESTING_SHELLCOMMANDRECORDER_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <gpal/testing/ReplacedCalls.h>
#include <gpal/testing/SystemLogRecorder.h>

namespace gpal::testing
{

namespace detail
{

struct Shell {
    std::mutex mutex;
    std::vector<std::string>* recorded = nullptr; ///< null if no recorder lives
    int result = 0;                               ///< of recorded commands
};

/// Never destroyed: commands may come until the process has ended.
inline Shell& shell()
{
    static auto& made = *new Shell;
    return made;
}

inline void refuseReboot()
{
    const std::lock_guard<std::mutex> guard(systemLog().mutex);
    std::fprintf(stderr,
                 "gpal/testing: the layer would reboot this machine now. Its last emergency "
                 "message was: %s\n",
                 systemLog().lastEmergency.c_str());
    std::abort();
}

inline int runCommand(const char* command)
{
    {
        const std::lock_guard<std::mutex> guard(shell().mutex);
        if (shell().recorded != nullptr) {
            shell().recorded->emplace_back(command == nullptr ? "" : command);
            return shell().result;
        }
    }
    if (command != nullptr && std::strcmp(command, "reboot") == 0) {
        refuseReboot();
    }
    return original<int(const char*)>("system")(command);
}

} // namespace detail

extern "C" {

int gpalTestingSystem(const char* command) GPAL_TESTING_REPLACES("system");

// NOLINTNEXTLINE(misc-definitions-in-headers): weak
int gpalTestingSystem(const char* command)
{
    return detail::runCommand(command);
}
}

/// While it lives, commands given to `system` are remembered in place of being run, "reboot"
/// included. There is one at a time; commands may come from any thread. Without one they are run,
/// all but "reboot", which ends the program.
class ShellCommandRecorder
{
public:
    ShellCommandRecorder()
    {
        detail::requireInForce("system", reinterpret_cast<const void*>(&gpalTestingSystem));
        record(&m_commands);
    }
    ShellCommandRecorder(const ShellCommandRecorder&) = delete;
    ShellCommandRecorder& operator=(const ShellCommandRecorder&) = delete;
    ~ShellCommandRecorder() { record(nullptr); }

    /// Sets what `system` returns from now on, a wait status: `exitCode << 8` for a command that
    /// ended by itself. 0 unless set.
    void result(int status)
    {
        const std::lock_guard<std::mutex> guard(detail::shell().mutex);
        detail::shell().result = status;
    }

    /// The commands so far, in order.
    std::vector<std::string> commands() const
    {
        const std::lock_guard<std::mutex> guard(detail::shell().mutex);
        return m_commands;
    }

private:
    static void record(std::vector<std::string>* commands)
    {
        const std::lock_guard<std::mutex> guard(detail::shell().mutex);
        detail::shell().recorded = commands;
        detail::shell().result = 0;
    }

    std::vector<std::string> m_commands;
};

} // namespace gpal::testing

#endif
