#include "supervisor_run.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

#include "support/command_output.h"

using support::outputOf;

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

testing::AssertionResult areCompleteRuns(const std::vector<std::string>& records, int runs)
{
    if (records.size() != static_cast<std::size_t>(runs) * 2) {
        return testing::AssertionFailure() << records.size() << " records of " << runs << " runs";
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        const std::string wanted =
            " run " + std::to_string(i / 2 + 1) + (i % 2 == 0 ? " started, " : " ended, ");
        if (records[i].find(wanted) == std::string::npos) {
            return testing::AssertionFailure() << "record " << i << ": " << records[i];
        }
    }
    return testing::AssertionSuccess();
}

SupervisorTest::SupervisorTest()
{
    setenv("MIRTA_VOLATILE_LOCATION", m_volatile.path().c_str(), 1);
    const std::string path = m_tools.path() + ":" + std::getenv("PATH");
    setenv("PATH", path.c_str(), 1);
}

bool SupervisorTest::provideTar() const
{
    const std::string found = outputOf("command -v bsdtar");
    if (!found.empty()) {
        std::filesystem::create_symlink(found.substr(0, found.find('\n')), m_tools.path("tar"));
    }
    const std::string list = m_tools.file("list", "list\n");
    const std::string probe = "tar -cz -T " + list + " -C " + m_tools.path() + "/ -f " +
                              m_tools.path("probe.tgz") + " >/dev/null 2>&1";
    return std::system(probe.c_str()) == 0;
}

void SupervisorTest::replaceTar(const std::string& script) const
{
    const std::string path = m_tools.file("tar", "#!/bin/sh\n" + script);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

std::string SupervisorTest::script(const std::string& text) const
{
    std::string path = m_tools.file("program", "#!/bin/sh\n" + text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

std::vector<std::string> SupervisorTest::archivedAndOtherRecords() const
{
    std::vector<std::string> archives;
    for (const auto& entry : std::filesystem::directory_iterator(m_volatile.path())) {
        if (entry.path().extension() == ".tgz") {
            archives.push_back(entry.path());
        }
    }
    std::sort(archives.begin(), archives.end());
    std::string text;
    for (const std::string& archive : archives) {
        text += outputOf("tar -xzOf " + archive + " supervisor.records");
    }
    return linesOf(text + support::contentOf(recordPath()));
}

std::string SupervisorTest::complaint(const std::vector<std::string>& arguments, int status)
{
    ProgramRun run(m_work, arguments);
    EXPECT_EQ(run.wait(), status);
    std::string errors = run.errors();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_THAT(errors, testing::EndsWith("\n"));
    return errors;
}
