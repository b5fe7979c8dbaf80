/// \file
/// Asks for limits by any letter, and shows any limit: letter, limit (8 bytes) and factor (4).
#include <gpal/Ulimit.h>

#include <cstring>

#include "check.h"
#include "input.h"

using fuzz::check;

namespace
{

const std::string UNTOUCHED = "untouched";

bool isLimit(const std::string& text)
{
    return text == "unlimited" ||
           (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const auto letter = static_cast<char>(input.byte());
    std::string text = UNTOUCHED;
    const bool found = Ulimit().getulimit(letter, text);
    check(found == (letter != '\0' && std::strchr("tfdscmlpnvw", letter) != nullptr));
    check(found ? isLimit(text) : text == UNTOUCHED);

    const rlimit limit{input.number<rlim_t>(), RLIM_INFINITY};
    const Ulimit::limits record{"any", 0, input.number<int>(), letter};
    text = UNTOUCHED;
    Ulimit().getlimit(&limit, &record, text);
    const bool isShown = limit.rlim_cur == RLIM_INFINITY || record.factor != 0;
    check(isShown ? isLimit(text) : text == UNTOUCHED);
    return 0;
}
