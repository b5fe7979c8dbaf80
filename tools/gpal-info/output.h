/// \file
/// What goes to standard output and standard error.
#ifndef GPAL_INFO_OUTPUT_H
#define GPAL_INFO_OUTPUT_H

#include <string>

namespace gpalinfo
{

/// Prints "gpal-info: " and \p text on standard error, in a line.
void complain(const std::string& text);

/// \p text with a question mark for each control character: names of others must not steer the
/// terminal.
std::string printable(std::string text);

/// Whether standard output has taken all that was printed; complains if it has not.
bool outputIsWritten();

/// Drops what is printed on standard output while it lives: the layer's own lines, where they would
/// be in the way.
class Silence
{
public:
    Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence();

private:
    const int m_output;
};

} // namespace gpalinfo

#endif
