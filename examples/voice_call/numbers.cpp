#include "numbers.h"

#include <cstdlib>

namespace voicecall
{

bool readNumber(const std::string& text, int least, int most, int& number)
{
    constexpr std::size_t MOST_DIGITS = 9;
    if (text.empty() || text.size() > MOST_DIGITS ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const int read = std::atoi(text.c_str());
    if (read < least || read > most) {
        return false;
    }
    number = read;
    return true;
}

} // namespace voicecall
