/// \file
/// A view of the file system of the test's own, in which it may replace the system's files.
#ifndef GPAL_TESTS_SUPPORT_PRIVATE_MOUNTS_H
#define GPAL_TESTS_SUPPORT_PRIVATE_MOUNTS_H

#include <string>

namespace support
{

/// Takes the process (call it before any other thread is started) into mount and System V IPC
/// namespaces of its own, from which nothing reaches the machine. Returns false, with the reason
/// in \p reason, where the process may not.
bool enterPrivateNamespaces(std::string& reason);

/// Mounts a tmpfs of at most \p bytes on the directory \p path.
bool mountTmpfs(const std::string& path, unsigned long long bytes);

/// Shows the file or directory \p source at \p target, which must exist.
bool mountOver(const std::string& source, const std::string& target);

} // namespace support

/// Goes on in private namespaces, or skips the test and says why.
#define GPAL_IN_PRIVATE_NAMESPACES()                                                               \
    do {                                                                                           \
        std::string whyNot;                                                                        \
        if (!support::enterPrivateNamespaces(whyNot)) {                                            \
            GTEST_SKIP() << "no namespaces of its own for the test: " << whyNot;                   \
        }                                                                                          \
    } while (false)

#endif
