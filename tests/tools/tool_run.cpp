#include "tool_run.h"

#include <cstdlib>
#include <fcntl.h>
#include <sstream>
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

ToolRun runTool(const std::vector<std::string>& arguments, const Surroundings& around)
{
    const support::TemporaryDirectory files;
    const std::string collected = files.path("output");
    const pid_t child = support::startProgram(
        support::commandLine(GPAL_INFO_PROGRAM, GPAL_INFO_EMULATOR, "GPAL_INFO_PROGRAM", arguments),
        [&] {
            setEnvironment(around.environment);
            support::redirect(STDIN_FILENO, around.input, O_RDONLY);
            support::redirect(STDOUT_FILENO, around.output.empty() ? collected : around.output);
            support::redirect(STDERR_FILENO, files.path("errors"));
            if (chdir("/") != 0) {
                _exit(126);
            }
        });
    const int status = support::waitForExit(child);
    return {status, around.output.empty() ? support::contentOf(collected) : "",
            support::contentOf(files.path("errors"))};
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string complaints(const ToolRun& run)
{
    std::string text;
    for (const std::string& line : linesOf(run.errors)) {
        text += line.rfind("==", 0) == 0 ? "" : line + "\n";
    }
    return text;
}

bool isJson(const std::string& text)
{
    const support::TemporaryDirectory directory;
    const std::string file = directory.file("text", text);
    return std::system(("python3 -m json.tool " + file + " >/dev/null 2>&1").c_str()) == 0;
}
