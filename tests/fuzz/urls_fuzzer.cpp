/// \file
/// Takes any text for a URL, and for an address.
#include <gpal/NetworkUtils.h>

#include <cstdint>
#include <cstdio>

#include "check.h"

namespace
{

using fuzz::check;

template <typename Cut>
std::string cut(Cut function, std::string url)
{
    function(url);
    return url;
}

/// Whether \p part is one piece of \p url, or tells that there is none.
bool isPieceOf(const std::string& url, const std::string& part)
{
    return part == NetworkUtils::URL_ELEM_NOT_FOUND ||
           (!part.empty() && url.find(part) != std::string::npos);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string url(reinterpret_cast<const char*>(data), size);
    check(url.find(cut(NetworkUtils::removeURLProtocol, url)) != std::string::npos);
    check(url.find(cut(NetworkUtils::removeURLUserAndPass, url)) != std::string::npos);
    check(url.find(cut(NetworkUtils::removeURLQueryString, url)) == 0);
    check(url.find(cut(NetworkUtils::removeURLPath, url)) == 0);
    const std::string path = cut(NetworkUtils::getURLPath, url);
    check(isPieceOf(url, path) && (path == "-1" || path.front() == '/'));
    check(isPieceOf(url, cut(NetworkUtils::getURLHost, url)));
    check(isPieceOf(url, cut(NetworkUtils::getURLPort, url)));
    NetworkUtils::stringIPAddressToInt(url);
    NetworkUtils::validateIPv6Address(url);
    return 0;
}
