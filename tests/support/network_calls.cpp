#include "support/network_calls.h"

#include <arpa/inet.h>
#include <cstdarg>
#include <fcntl.h>
#include <unistd.h>

namespace support::calls
{

Replaceable<int(const char*, const char*, const addrinfo*, addrinfo**)> getaddrinfo("getaddrinfo");
Replaceable<void(addrinfo*)> freeaddrinfo("freeaddrinfo");
Replaceable<int(int, int, int)> socket("socket");
Replaceable<int(int, int, long)> fcntl("fcntl");
Replaceable<int(int, const sockaddr*, socklen_t)> bind("bind");
Replaceable<int(int)> close("close");
Replaceable<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select("select");
Replaceable<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> sendto("sendto");
Replaceable<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)> recvfrom("recvfrom");
Replaceable<int(int, int, int, const void*, socklen_t)> setsockopt("setsockopt");
Replaceable<int(int, const char*, void*)> inet_pton("inet_pton");
Replaceable<int(char*, size_t)> gethostname("gethostname");
Replaceable<hostent*(const char*)> gethostbyname("gethostbyname");

} // namespace support::calls

namespace calls = support::calls;

namespace
{

int changeDescriptor(int descriptor, int command, va_list arguments)
{
    long argument = 0;
    if (command == F_SETFD || command == F_SETFL || command == F_DUPFD ||
        command == F_DUPFD_CLOEXEC) {
        argument = va_arg(arguments, int);
    } else if (command != F_GETFD && command != F_GETFL) {
        argument = va_arg(arguments, long);
    }
    return calls::fcntl(descriptor, command, argument);
}

} // namespace

extern "C" {

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** list)
{
    return calls::getaddrinfo(node, service, hints, list);
}

void freeaddrinfo(addrinfo* list) noexcept
{
    calls::freeaddrinfo(list);
}

int socket(int family, int type, int protocol) noexcept
{
    return calls::socket(family, type, protocol);
}

int fcntl(int descriptor, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    const int result = changeDescriptor(descriptor, command, arguments);
    va_end(arguments);
    return result;
}

int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept
{
    return calls::bind(descriptor, address, length);
}

int close(int descriptor)
{
    return calls::close(descriptor);
}

int select(int limit, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)
{
    return calls::select(limit, readable, writable, exceptional, timeout);
}

ssize_t sendto(int descriptor, const void* data, size_t length, int flags, const sockaddr* to,
               socklen_t toLength)
{
    return calls::sendto(descriptor, data, length, flags, to, toLength);
}

ssize_t recvfrom(int descriptor, void* data, size_t length, int flags, sockaddr* from,
                 socklen_t* fromLength)
{
    return calls::recvfrom(descriptor, data, length, flags, from, fromLength);
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t length) noexcept
{
    return calls::setsockopt(descriptor, level, option, value, length);
}

int inet_pton(int family, const char* text, void* address) noexcept
{
    return calls::inet_pton(family, text, address);
}

int gethostname(char* name, size_t length) noexcept
{
    return calls::gethostname(name, length);
}

hostent* gethostbyname(const char* name)
{
    return calls::gethostbyname(name);
}
}
