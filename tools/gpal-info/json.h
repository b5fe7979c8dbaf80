/// \file
/// Output for scripts.
#ifndef GPAL_INFO_JSON_H
#define GPAL_INFO_JSON_H

#include <string>

namespace gpalinfo
{

/// Prints one JSON value (RFC 8259) on standard output piece by piece, with a line end after it.
/// Whoever calls it sees to it that what is opened is closed again, and that members have names.
class Json
{
public:
    Json& open(char bracket); ///< '{' or '['
    Json& close(char bracket);
    Json& name(const char* member);

    /// Bytes that are no UTF-8, as names of files may have them, come out as U+FFFD.
    Json& text(const std::string& value);
    Json& number(long long value);
    /// A number that is in decimal notation already.
    Json& decimal(const std::string& value);
    Json& null();

private:
    void begin();

    int m_depth = 0;
    bool m_first = true;
};

} // namespace gpalinfo

#endif
