// Passwords set and deleted by scripts that do it for real.
#include <gpal/OSPasswdMgr.h>

#include <filesystem>
#include <string>
#include <syslog.h>

#include <gmock/gmock.h>

#include "device/booted.h"
#include "process/programs.h"
#include "support/command_output.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

using support::contentOf;
using support::eventually;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

const char* const ACCOUNTS = "/etc/passwd";
const std::string SCRIPTS = "/Mirta_Deploy";
const std::string SET = SCRIPTS + "/setPasswd.sh";
const std::string DELETE = SCRIPTS + "/deletePasswd.sh";

/// A deployment with scripts that use the device's own tools, and a user.
class Password : public devicetest::OnTheDevice
{
protected:
    void prepare() override
    {
        m_accounts = contentOf(ACCOUNTS);
        std::ofstream(ACCOUNTS, std::ios::app) << "guest::500:500:guest:/:/bin/sh\n";
        std::filesystem::create_directory(SCRIPTS);
        writeProgram(SET, "#!/bin/sh\necho \"$1:$2\" | chpasswd -m 2>/dev/null\n", 0700);
        writeProgram(DELETE, "#!/bin/sh\nsed -i \"s/^$1:[^:]*/$1:/\" /etc/passwd\n", 0700);
    }
    void restore() override
    {
        std::filesystem::remove_all(SCRIPTS);
        std::ofstream(ACCOUNTS) << m_accounts;
    }

    /// The second field of the user's line.
    static std::string stored()
    {
        const std::string accounts = contentOf(ACCOUNTS);
        const std::size_t start = accounts.find("guest:") + 6;
        return accounts.substr(start, accounts.find(':', start) - start);
    }

    /// Whether what is stored belongs to that password: "$1$salt$...".
    static bool isStored(const std::string& password)
    {
        const std::string salt = stored().substr(3, stored().find('$', 3) - 3);
        return support::outputOf("cryptpw -m md5 -S '" + salt + "' '" + password + "'") ==
               stored() + "\n";
    }

    OSPasswdMgr m_manager;

private:
    std::string m_accounts;
};

} // namespace

TEST_F(Password, isSetByTheDeploymentsScript)
{
    m_manager.setPasswd("guest", "first");
    ASSERT_THAT(stored(), StartsWith("$1$"));
    EXPECT_TRUE(isStored("first"));
    EXPECT_FALSE(isStored("second"));
    m_manager.setPasswd("guest", "second");
    EXPECT_TRUE(isStored("second"));
}

TEST_F(Password, reachesTheScriptAsOneArgumentWhateverIsInIt)
{
    const std::string password = "two words; $HOME `id` \"*\" \\n";
    m_manager.setPasswd("guest", password);
    EXPECT_TRUE(isStored(password)) << stored();
}

TEST_F(Password, isDeletedByTheDeploymentsScript)
{
    m_manager.setPasswd("guest", "secret");
    ASSERT_NE(stored(), "");
    m_manager.deletePasswd("guest");
    EXPECT_EQ(stored(), "");
}

TEST_F(Password, ofNobodyIsTheScriptsFailureOfWhichNothingIsSaid)
{
    const support::RecordedLog log;
    const std::string accounts = contentOf(ACCOUNTS);
    const support::Captured errors(2);
    m_manager.setPasswd("stranger", "secret");
    m_manager.deletePasswd("stranger");
    EXPECT_EQ(contentOf(ACCOUNTS), accounts);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(Password, withoutAScriptLeavesTwoLinesInTheDevicesLog)
{
    openlog("device_test", 0, LOG_USER); // not every C library knows the program's name by itself
    std::filesystem::remove(SET);
    m_manager.setPasswd("guest", "secret");
    const std::string error =
        "user.err device_test: Process ex GPAL Process missing application:" + SET + "\n";
    const std::string notice =
        "user.notice device_test: runScript:" + SET + ":GPAL Process missing application\n";
    EXPECT_TRUE(
        eventually([&] { return contentOf("/tmp/messages").find(notice) != std::string::npos; }));
    EXPECT_THAT(contentOf("/tmp/messages"), HasSubstr(error));
    EXPECT_EQ(stored(), "");
}
