/// \file
/// Two hosts, made of network namespaces, with a link between them.
#ifndef GPAL_TESTS_SUPPORT_TWO_HOSTS_H
#define GPAL_TESTS_SUPPORT_TWO_HOSTS_H

#include <cstdlib>
#include <sched.h>
#include <string>

#include "support/private_mounts.h"

namespace support
{

constexpr auto NEAR_HOST = "10.9.0.1";
constexpr auto FAR_HOST = "10.9.0.2";

/// Runs shell commands, silently, up to the first that fails; returns whether none has.
inline bool runCommands(const std::string& commands)
{
    return std::system(("set -e; exec >/dev/null 2>&1; " + commands).c_str()) == 0;
}

/// Makes this process the near one of two hosts; the far one is the namespace "far". Over IPv6 they
/// are fd09::1 and fd09::2. Returns why that is not possible here, or "".
inline std::string makeTwoHosts()
{
    std::string reason;
    if (!enterPrivateNamespaces(reason)) {
        return reason;
    }
    if (unshare(CLONE_NEWNET) != 0) {
        return "no network namespace";
    }
    if (!mountTmpfs("/run", 1 << 20) || !runCommands("ip link set lo up; ip netns add far")) {
        return "no second network namespace";
    }
    if (!runCommands("ip link add near type veth peer name far netns far;"
                     "ip addr add 10.9.0.1/24 dev near; ip link set near up;"
                     "ip -n far addr add 10.9.0.2/24 dev far; ip -n far link set far up;"
                     "ip -n far link set lo up")) {
        return "no pair of virtual links";
    }
    runCommands(
        "ip addr add fd09::1/64 dev near nodad; ip -n far addr add fd09::2/64 dev far nodad");
    return "";
}

} // namespace support

#endif
