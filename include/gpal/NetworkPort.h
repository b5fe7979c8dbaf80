/// \file
/// The device's own address.
#ifndef GPAL_NETWORKPORT_H
#define GPAL_NETWORKPORT_H

#include <gpal/export.h>

/// Looks up the IPv4 address that belongs to the host name.
class GPAL_API NetworkPort
{
public:
    NetworkPort() = default;
    virtual ~NetworkPort();

    /// The host's first IPv4 address as text, which is also printed on standard output. When the
    /// name can't be looked up: what the last successful call on this object returned, or "".
    ///
    /// The text belongs to the C library: the next call, in any thread and on any object,
    /// overwrites it. Not for two threads at once. A cancellation point; a look-up that has begun
    /// is finished first.
    const char* getIPAddress();

private:
    const char* m_address = "";
};

#endif
