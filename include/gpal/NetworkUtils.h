/// \file
/// Elements of URLs, and IP addresses as text.
#ifndef GPAL_NETWORKUTILS_H
#define GPAL_NETWORKUTILS_H

#include <string>
#include <sys/socket.h>

#include <gpal/export.h>

/// Static helpers; all but `getIPAddr` may be called from any thread. None promises anything about
/// `errno`.
///
/// The URL functions cut a URL (RFC 3986) down to one element, in place. They look for the first
/// occurrence of each delimiter and check nothing else; scheme, user, port, path and query may be
/// absent.
class GPAL_API NetworkUtils
{
public:
    /// What the `getURL...` functions leave in the string when the element is absent: "-1".
    static const std::string URL_ELEM_NOT_FOUND;
    /// The port of HTTPS, "443", for callers that want a default; no function here applies it.
    static const std::string HTTPS_DEFAULT_PORT;

    /// Drops everything up to and including the first "//".
    static void removeURLProtocol(std::string& url);
    /// Drops everything up to and including the first "@".
    static void removeURLUserAndPass(std::string& url);
    /// Drops the first "?" and everything after it.
    static void removeURLQueryString(std::string& url);
    /// Drops the first "/" and everything after it; remove the protocol first.
    static void removeURLPath(std::string& url);

    /// Leaves the path with its leading "/". A path of only "/" counts as absent.
    static void getURLPath(std::string& url);
    /// Leaves the host; an IPv6 address, which must stand in brackets, without them.
    static void getURLHost(std::string& url);
    /// Leaves the port's text. A URL without a port has none, whatever its scheme.
    static void getURLPort(std::string& url);

    /// The IPv4 address that \p address spells (`inet_aton`'s forms), in network order; 0 when it
    /// is none, as for "0.0.0.0".
    static unsigned int stringIPAddressToInt(const std::string& address);

    /// Whether \p address is an IPv6 address (RFC 4291) that a peer can have: one whose first 96
    /// bits are all zero, the loopback and IPv4-compatible addresses, is none. Prints what it
    /// tested and the result on standard output. A cancellation point where that is written.
    static bool validateIPv6Address(const std::string& address);

    /// The device's own IPv4 address (see `NetworkPort`), "" when it can't be looked up. Not for
    /// two threads at once. A cancellation point.
    static std::string getIPAddr();

    /// Takes an IPv4 or IPv6 socket address apart.
    ///
    /// \param ip     its address as text
    /// \param port   its port as it stands in the socket address: in network order
    /// \param family its family
    /// \return false, with a line on standard error and in the system log, for a null address and
    ///         any other family; \p ip is then "" and \p port 0. A cancellation point then,
    ///         where logging is one.
    static bool sockaddrToString(const sockaddr* address, std::string& ip, unsigned int& port,
                                 unsigned int& family);
};

#endif
