#include "program_run.h"

#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// What is to be executed: the program, behind an emulator where it is another processor's. The
/// environment may name it, for a machine that has no build directory.
std::vector<std::string> commandLine(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    if (const char* named = std::getenv(PROGRAM_VARIABLE); named != nullptr) {
        words.emplace_back(named);
    } else {
        std::istringstream emulator(PROGRAM_EMULATOR);
        words.assign(std::istream_iterator<std::string>(emulator), {});
        words.emplace_back(PROGRAM);
    }
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

/// A new terminal: the side that the test reads, and the name of the program's side.
int openTerminal(std::string& name)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    EXPECT_GE(terminal, 0);
    EXPECT_EQ(grantpt(terminal), 0);
    EXPECT_EQ(unlockpt(terminal), 0);
    name = ptsname(terminal);
    return terminal;
}

void redirect(int descriptor, const std::string& path)
{
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_NOCTTY | O_TRUNC, 0644);
    if (file < 0 || dup2(file, descriptor) < 0) {
        _exit(126);
    }
}

} // namespace

WorkDirectory::WorkDirectory() : m_path(testing::TempDir() + "voice_callXXXXXX")
{
    EXPECT_NE(mkdtemp(m_path.data()), nullptr);
}

WorkDirectory::~WorkDirectory()
{
    if (DIR* directory = opendir(m_path.c_str())) {
        while (const dirent* entry = readdir(directory)) {
            unlink(path(entry->d_name).c_str());
        }
        closedir(directory);
    }
    rmdir(m_path.c_str());
}

std::string contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ProgramRun::ProgramRun(const WorkDirectory& directory, const std::vector<std::string>& arguments,
                       Errors errors, const std::vector<std::string>& before,
                       const std::string& output)
    : m_directory(directory)
{
    std::string errorPath = directory.path("stderr");
    if (errors == ERRORS_ON_TERMINAL) {
        m_terminal = openTerminal(errorPath);
    }
    std::vector<std::string> words = commandLine(arguments);
    words.insert(words.begin(), before.begin(), before.end());
    std::vector<char*> vector;
    for (std::string& word : words) {
        vector.push_back(word.data());
    }
    vector.push_back(nullptr);
    m_id = fork();
    if (m_id == 0) {
        if (chdir(directory.path().c_str()) != 0) {
            _exit(126);
        }
        redirect(STDOUT_FILENO, output.empty() ? directory.path("stdout") : output);
        redirect(STDERR_FILENO, errorPath);
        execvp(vector[0], vector.data());
        _exit(127);
    }
}

ProgramRun::~ProgramRun()
{
    if (m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    if (m_terminal >= 0) {
        close(m_terminal);
    }
}

int ProgramRun::wait()
{
    errors(); // a terminal that nobody reads fills up
    int status = 0;
    EXPECT_EQ(waitpid(m_id, &status, 0), m_id);
    m_id = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ProgramRun::errors()
{
    if (m_terminal < 0) {
        return contentsOf(m_directory.path("stderr"));
    }
    char block[4096];
    for (ssize_t got = 0; (got = read(m_terminal, block, sizeof(block))) > 0;) {
        m_terminalText.append(block, static_cast<std::size_t>(got));
    }
    return m_terminalText;
}
