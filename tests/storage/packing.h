/// \file
/// What packing an archive does with its list of members and with the shell.
#ifndef GPAL_TESTS_STORAGE_PACKING_H
#define GPAL_TESTS_STORAGE_PACKING_H

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/observed.h"
#include "support/temporary_directory.h"

/// Notes the name of the list file, which is to be left neither on the disk nor open.
class ListFile
{
public:
    const std::string& pattern() const { return m_pattern; }
    const std::string& name() const { return m_name; }
    int descriptor() const { return m_descriptor; }
    bool isLeft() const { return support::exists(m_name); }

private:
    std::string m_pattern = "no list file was made";
    std::string m_name = "no list file was made";
    int m_descriptor = -1;
    support::Replacement<int(char*)> m_mkstemp{support::calls::mkstemp, [this](char* name) {
                                                   m_pattern = name;
                                                   m_descriptor =
                                                       support::calls::mkstemp.original(name);
                                                   m_name = name;
                                                   return m_descriptor;
                                               }};
};

/// Stands in for the shell, and looks at the list when it is called.
class Packing : public testing::Test
{
protected:
    ~Packing() override { EXPECT_EQ(support::openDescriptors(), m_descriptors); }

    /// How the list file's failing in \p call is logged.
    support::LogLine failing(const std::string& call, int reason) const
    {
        return {LOG_ERR,
                "packInternal: " + call + ": \"" + m_list.name() + "\": " + std::strerror(reason)};
    }

    static support::LogLine failedWith(int status)
    {
        return {LOG_ERR, "packInternal: system: Failed with exit code: " + std::to_string(status)};
    }

    const std::set<std::string> m_descriptors = support::openDescriptors();
    support::TemporaryDirectory m_directory;
    ListFile m_list;
    support::RecordedLog m_log;
    int m_status = 0; ///< with which the shell ends
    std::vector<std::string> m_commands;
    std::string m_members = "the list was not looked at";

private:
    support::Replacement<int(const char*)> m_system{
        support::calls::system, [this](const char* command) {
            m_commands.emplace_back(command);
            m_members = support::contentOf(m_list.name());
            return m_status;
        }};
};

#endif
