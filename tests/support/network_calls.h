/// \file
/// The C functions of sockets and the resolver that a test may replace, for the programs that test
/// the network.
#ifndef GPAL_TESTS_SUPPORT_NETWORK_CALLS_H
#define GPAL_TESTS_SUPPORT_NETWORK_CALLS_H

#include <cerrno>
#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>

#include "support/replaceable.h"

namespace support
{

/// What a call that fails does.
inline int failing(int error)
{
    errno = error;
    return -1;
}

} // namespace support

namespace support::calls
{

extern Replaceable<int(const char*, const char*, const addrinfo*, addrinfo**)> getaddrinfo;
extern Replaceable<void(addrinfo*)> freeaddrinfo;
extern Replaceable<int(int, int, int)> socket;
extern Replaceable<int(int, int, long)> fcntl; ///< the last argument is 0 where there is none
extern Replaceable<int(int, const sockaddr*, socklen_t)> bind;
extern Replaceable<int(int)> close;
extern Replaceable<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select;
extern Replaceable<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> sendto;
extern Replaceable<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)> recvfrom;
extern Replaceable<int(int, int, int, const void*, socklen_t)> setsockopt;
extern Replaceable<int(int, const char*, void*)> inet_pton;
extern Replaceable<int(char*, size_t)> gethostname;
extern Replaceable<hostent*(const char*)> gethostbyname;

} // namespace support::calls

#endif
