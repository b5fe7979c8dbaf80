#include "tool_run.h"

#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temporary_directory.h"

namespace
{

/// What is to be executed: the tool, behind an emulator where it is another processor's. The
/// environment may name it, for a machine that has no build directory.
std::vector<std::string> commandLine(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    if (const char* named = std::getenv("GPAL_INFO_PROGRAM"); named != nullptr) {
        words.emplace_back(named);
    } else {
        std::istringstream emulator(GPAL_INFO_EMULATOR);
        words.assign(std::istream_iterator<std::string>(emulator), {});
        words.emplace_back(GPAL_INFO_PROGRAM);
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

void redirect(int descriptor, const std::string& path, int mode = O_WRONLY | O_CREAT)
{
    const int file = open(path.c_str(), mode, 0644);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(126);
    }
}

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
    std::vector<std::string> words = commandLine(arguments);
    std::vector<char*> vector;
    for (std::string& word : words) {
        vector.push_back(word.data());
    }
    vector.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        setEnvironment(around.environment);
        redirect(STDIN_FILENO, around.input, O_RDONLY);
        redirect(STDOUT_FILENO, around.output.empty() ? collected : around.output);
        redirect(STDERR_FILENO, files.path("errors"));
        if (chdir("/") == 0) {
            execv(vector[0], vector.data());
        }
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
            around.output.empty() ? support::contentOf(collected) : "",
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
