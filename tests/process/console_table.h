/// \file
/// The files that the serial console is switched by, and an /etc of the tests' own for them.
#ifndef GPAL_TESTS_PROCESS_CONSOLE_TABLE_H
#define GPAL_TESTS_PROCESS_CONSOLE_TABLE_H

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>

#include "support/observed.h"
#include "support/private_mounts.h"

const std::string TABLE = "/etc/inittab";
const std::string NEW_TABLE = "/etc/inittab.new";

/// Has an empty /etc, and commands that are only noted.
class ConsoleTable : public testing::Test
{
protected:
    void SetUp() override
    {
        GPAL_IN_PRIVATE_NAMESPACES();
        m_mounted = support::mountTmpfs("/etc", 1 << 20);
        ASSERT_TRUE(m_mounted) << std::strerror(errno);
    }

    void TearDown() override
    {
        if (m_mounted) {
            umount2("/etc", MNT_DETACH);
        }
    }

    const support::RecordedCommands m_commands;

private:
    bool m_mounted = false;
};

#endif
