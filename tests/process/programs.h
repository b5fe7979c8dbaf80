/// \file
/// Programs that the tests let the layer start.
#ifndef GPAL_TESTS_PROCESS_PROGRAMS_H
#define GPAL_TESTS_PROCESS_PROGRAMS_H

#include <exception>
#include <fstream>
#include <initializer_list>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gpal/Process.h>

/// Texts as a program gets its arguments and its environment: a vector that ends in a null pointer.
class TextVector
{
public:
    TextVector(std::initializer_list<std::string> texts) : m_texts(texts)
    {
        for (std::string& text : m_texts) {
            m_pointers.push_back(text.data());
        }
        m_pointers.push_back(nullptr);
    }
    TextVector(const TextVector&) = delete;
    TextVector& operator=(const TextVector&) = delete;

    int count() const { return static_cast<int>(m_texts.size()); }
    char** get() { return m_pointers.data(); }

private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_pointers;
};

/// Starts a program with this program's environment.
inline int start(ProcessIfc& process, std::initializer_list<std::string> arguments)
{
    TextVector argv(arguments);
    return process.start(argv.count(), argv.get(), environ, nullptr);
}

/// Starts a shell that runs \p commands; the other arguments are its $1, $2 ...
inline int startShell(ProcessIfc& process, const std::string& commands,
                      const std::string& first = "")
{
    return start(process, {"/bin/sh", "-c", commands, "sh", first});
}

/// Writes a program file of that mode and returns its path.
inline std::string writeProgram(const std::string& path, const std::string& content, mode_t mode)
{
    std::ofstream(path) << content;
    chmod(path.c_str(), mode);
    return path;
}

/// The message with which \p action fails.
template <typename Action>
std::string failureOf(Action action)
{
    try {
        action();
    } catch (const std::exception&) {
        return "a standard exception";
    } catch (const GPALProcessException& failure) {
        return failure.message();
    }
    return "no failure";
}

/// Ends and reaps a child, so that its object goes without waiting for anything.
inline void finish(ProcessIfc& process)
{
    process.destroy();
    process.waitForExit();
}

/// Reaps what other tests left, for a test that looks at all children.
inline void reapAll()
{
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

#endif
