#include "json.h"

#include <cstdio>

namespace gpalinfo
{
namespace
{

/// How many bytes the UTF-8 sequence at \p at has; 0 if there is none.
std::size_t sequenceAt(const std::string& text, std::size_t at)
{
    const auto byte = [&](std::size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
    };
    const unsigned first = byte(0);
    const std::size_t size = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    // Longer than need be, a half of a UTF-16 pair, or beyond the last character.
    const bool isWrong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                         (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    return isWrong ? 0 : size;
}

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = sequenceAt(text, at);
        const auto letter = static_cast<unsigned char>(text[at]);
        if (size == 0) {
            result += "\\ufffd";
        } else if (letter < 0x20 || letter == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(letter));
            result += escaped;
        } else {
            result += letter == '"' || letter == '\\' ? "\\" : "";
            result.append(text, at, size);
        }
        at += size == 0 ? 1 : size;
    }
    return result + '"';
}

} // namespace

Json& Json::open(char bracket)
{
    begin();
    std::putchar(bracket);
    ++m_depth;
    m_first = true;
    return *this;
}

Json& Json::close(char bracket)
{
    std::putchar(bracket);
    m_first = false;
    if (--m_depth == 0) {
        std::putchar('\n');
    }
    return *this;
}

Json& Json::name(const char* member)
{
    begin();
    std::printf("\"%s\":", member);
    m_first = true; // what follows is the member's value
    return *this;
}

Json& Json::text(const std::string& value)
{
    return decimal(quoted(value));
}

Json& Json::number(long long value)
{
    return decimal(std::to_string(value));
}

Json& Json::decimal(const std::string& value)
{
    begin();
    std::fputs(value.c_str(), stdout);
    return *this;
}

Json& Json::null()
{
    return decimal("null");
}

void Json::begin()
{
    if (!m_first) {
        std::putchar(',');
    }
    m_first = false;
}

} // namespace gpalinfo
