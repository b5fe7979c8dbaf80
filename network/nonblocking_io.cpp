#include <cerrno>
#include <climits>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <gpal/UDPSocket.h>

#include "cancelled.h"
#include "network/reports.h"

using gpal::detail::cancellably;

namespace
{

constexpr int WAIT_S = 5;
constexpr int LONGEST_WAIT_S = 30;

/// Whether a descriptor may be put into a set; writing beyond the set would damage the stack.
bool fitsIntoSet(int fd)
{
    if (fd < 0 || fd >= FD_SETSIZE) {
        pthread_testcancel(); // as the wait would do: who tries for ever can be cancelled
        errno = EBADF;
        return false;
    }
    return true;
}

} // namespace

int sendto_overNonBlocking(int fd, const void* buf, unsigned int len, int flags, const sockaddr* to,
                           unsigned int toLen)
{
    if (!fitsIntoSet(fd)) {
        return -1;
    }
    if (len > INT_MAX) { // no result could say that so much was sent
        errno = EMSGSIZE;
        return -1;
    }
    // Set and time-out are deliberately made once: after a first quiet wait the kernel leaves both
    // empty, so that the other five pass at once and a caller loses five seconds, not thirty.
    fd_set writable;
    FD_ZERO(&writable);
    FD_SET(fd, &writable);
    timeval timeout{WAIT_S, 0};
    unsigned int written = 0;
    int waited = 0;
    while (written < len && waited < LONGEST_WAIT_S) {
        const int ready =
            cancellably([&] { return select(fd + 1, nullptr, &writable, nullptr, &timeout); });
        if (ready == -1) {
            return -1;
        }
        if (ready == 0) {
            waited += WAIT_S;
            gpal::detail::reportError("Timeout %i:%i writing into UDP socket %d\n", waited,
                                      LONGEST_WAIT_S, fd);
            continue;
        }
        // A datagram goes in one piece: always all of it, never a remainder.
        const auto sent = static_cast<int>(sendto(fd, buf, len, flags, to, toLen));
        if (sent <= 0) {
            return sent;
        }
        written += static_cast<unsigned int>(sent);
    }
    const auto bytes = static_cast<int>(written);
    if (written == len) {
        return bytes;
    }
    gpal::detail::reportError("Error writing into UDP socket %d, %i of %i bytes written\n", fd,
                              bytes, static_cast<int>(len));
    if (written == 0) {
        errno = ETIMEDOUT;
        return -1;
    }
    return bytes;
}

int recvfrom_overNonBlocking(int fd, void* buf, unsigned int len, int flags, sockaddr* from,
                             unsigned int* fromLen)
{
    if (!fitsIntoSet(fd)) {
        return -1;
    }
    if ((from != nullptr && fromLen == nullptr) || (buf == nullptr && len > 0)) {
        errno = EFAULT; // the kernel would say so once the datagram is lost
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    if (cancellably([&] { return select(fd + 1, &readable, nullptr, nullptr, nullptr); }) == -1) {
        return -1;
    }
    return static_cast<int>(recvfrom(fd, buf, len, flags, from, fromLen));
}
