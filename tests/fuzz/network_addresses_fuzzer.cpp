/// \file
/// Takes any text for the address of a voice call's other end.
#include <dlfcn.h>
#include <netdb.h>
#include <stdexcept>

#include "check.h"
#include "network_address.h"

using fuzz::check;
using voicecall::NetworkAddress;

/// Asks nobody for names.
extern "C" int getaddrinfo(const char* host, const char* port, const addrinfo* hints,
                           addrinfo** list)
{
    static const auto inner =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    addrinfo numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    return inner(host, port, &numeric, list);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint16_t DEFAULT_PORT = 5004;
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    try {
        const NetworkAddress address = NetworkAddress::of(text, DEFAULT_PORT);
        check(address.family() == AF_INET || address.family() == AF_INET6);
        check(address.port() != 0);
        check(NetworkAddress::of(address.text(), 0).text() == address.text());
    } catch (const std::runtime_error& error) {
        check(*error.what() != '\0');
    }
    return 0;
}
