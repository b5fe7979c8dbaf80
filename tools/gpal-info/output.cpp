#include "output.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace gpalinfo
{

void complain(const std::string& text)
{
    std::fprintf(stderr, "gpal-info: %s\n", printable(text).c_str());
}

std::string printable(std::string text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }, '?');
    return text;
}

bool outputIsWritten()
{
    // C libraries differ in what fflush returns after a failure; all note it in the stream.
    std::fflush(stdout);
    if (std::ferror(stdout) != 0) {
        complain("cannot write to standard output");
        return false;
    }
    return true;
}

Silence::Silence() : m_output(dup(STDOUT_FILENO))
{
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

Silence::~Silence()
{
    std::fflush(stdout);
    dup2(m_output, STDOUT_FILENO);
    close(m_output);
}

} // namespace gpalinfo
