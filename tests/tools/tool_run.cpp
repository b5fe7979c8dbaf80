#include "tool_run.h"

#include <cstdlib>
#include <unistd.h>

#include "support/programs.h"
#include "support/temporary_directory.h"

namespace
{

void setEnvironment(std::vector<std::string> variables)
{
    for (const char* name :
         {"MIRTA_VOLATILE_LOCATION", "MIRTA_PERSISTENT_LOCATION", "MIRTA_USER_DISK",
          "MIRTA_USER_DISK_RESERVED", "MIRTA_USER_DISK_RESERVED_WORKINGMEMORY"}) {
        unsetenv(name);
    }
    for (const std::string& variable : variables) {
        const std::size_t sign = variable.find('=');
        setenv(variable.substr(0, sign).c_str(), variable.substr(sign + 1).c_str(), 1);
    }
}

} // namespace

ToolRun runTool(const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment, const std::string& directory)
{
    const support::TemporaryDirectory files;
    const pid_t child = support::startProgram(
        support::commandLine(GPAL_INFO_PROGRAM, GPAL_INFO_EMULATOR, "GPAL_INFO_PROGRAM", arguments),
        [&] {
            setEnvironment(environment);
            support::redirect(STDOUT_FILENO, files.path("output"));
            support::redirect(STDERR_FILENO, files.path("errors"));
            if (chdir(directory.c_str()) != 0) {
                _exit(126);
            }
        });
    const int status = support::waitForExit(child);
    return {status, support::contentOf(files.path("output")),
            support::contentOf(files.path("errors"))};
}
