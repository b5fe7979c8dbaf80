#include "threads/dump.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

#include "support/observed.h"

std::vector<Dump> Dump::parse(const std::string& text)
{
    std::vector<Dump> dumps;
    std::istringstream lines(text);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        const auto equals = line.find(" = ");
        const auto dash = line.find(" - ");
        if (line.find_first_not_of('*') == std::string::npos) {
            inside = !inside;
            if (inside) {
                dumps.emplace_back();
            }
        } else if (!inside) {
            ADD_FAILURE() << "a line outside of a dump: " << line;
        } else if (equals != std::string::npos) {
            std::string label = line.substr(0, equals);
            label.erase(label.find_last_not_of(' ') + 1);
            dumps.back().m_fields.emplace_back(label, line.substr(equals + 3));
        } else if (dash != std::string::npos) {
            dumps.back().m_waitingThreads.push_back(
                std::strtoul(line.c_str() + dash + 3, nullptr, 10));
        } else {
            ADD_FAILURE() << "an unknown line in a dump: " << line;
        }
    }
    return dumps;
}

std::string Dump::text(const std::string& label) const
{
    for (const auto& [name, value] : m_fields) {
        if (name == label) {
            return value;
        }
    }
    ADD_FAILURE() << "the dump has no line \"" << label << '"';
    return "";
}

long Dump::number(const std::string& label) const
{
    return std::strtol(text(label).c_str(), nullptr, 10);
}

unsigned long Dump::thread(const std::string& label) const
{
    return std::strtoul(text(label).c_str(), nullptr, 10);
}

std::string dumpTextOf(Semaphore& semaphore)
{
    const support::Captured output(1);
    semaphore.displayInfo();
    return output.text();
}

Dump dumpOf(Semaphore& semaphore)
{
    return Dump::parse(dumpTextOf(semaphore)).at(0);
}

std::string dumpTextOfAll()
{
    const support::Captured output(1);
    Semaphore::info(nullptr);
    return output.text();
}

std::vector<Dump> dumpOfAll()
{
    return Dump::parse(dumpTextOfAll());
}

void expectOnlyOneUnitAnywhere(int count)
{
    const std::vector<Dump> all = dumpOfAll();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].count(), count);
    EXPECT_EQ(all[0].number("max count"), 1);
    EXPECT_EQ(all[0].number("reentrant"), 0);
}

std::string addressText(const void* address)
{
    char text[32];
    std::snprintf(text, sizeof text, "%p", address);
    return text;
}

bool areQueued(Semaphore& semaphore, long count)
{
    return support::eventually([&] {
        const Dump dump = dumpOf(semaphore);
        return dump.waitingCount() == count &&
               dump.waitingThreads().size() == static_cast<std::size_t>(count);
    });
}
