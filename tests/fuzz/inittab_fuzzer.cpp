/// \file
/// Switches the serial console in a table of any content. The first byte is the mode.
///
/// The system's own table is never touched: both tables are files in memory, and no command is run.
#include <gpal/SerialPortConfiguration.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>

#include "check.h"
#include "memory_file.h"

namespace
{

using fuzz::check;

const std::string GETTY = "ttyS0::respawn:/sbin/getty 115200 ttyS0";
const std::string SHELL = "ttyS0::respawn:/bin/sh";

struct Tables {
    std::string path;    ///< of what stands in for the table
    std::string newPath; ///< and for the new one
    int renamed = 0;
};

Tables tables;

void replaceIfThere(std::string& line, const std::string& entry, bool active)
{
    if (line.find(entry) != std::string::npos) {
        line = active ? entry : "#" + entry;
    }
}

/// The table that the mode asks for; a text without line feed is one line.
std::string expected(const std::string& table, int mode)
{
    std::string result;
    std::size_t begin = 0;
    while (begin <= table.size()) {
        const std::size_t end = std::min(table.find('\n', begin), table.size());
        std::string line = table.substr(begin, end - begin);
        replaceIfThere(line, GETTY, mode == SerialPortConfiguration::INTERACTIVE_LOGIN);
        replaceIfThere(line, SHELL, mode == SerialPortConfiguration::INTERACTIVE_NO_LOGIN);
        result += line + "\n";
        begin = end + 1;
    }
    return result;
}

} // namespace

extern "C" int system(const char*)
{
    return 0;
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    check(std::strcmp(from, "/etc/inittab.new") == 0 && std::strcmp(to, "/etc/inittab") == 0);
    ++tables.renamed;
    return 0;
}

/// What streams open files by.
extern "C" FILE* fopen64(const char* path, const char* mode)
{
    static const auto inner =
        reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen64"));
    if (std::strcmp(path, "/etc/inittab") == 0) {
        check(mode[0] == 'r');
        return inner(tables.path.c_str(), mode);
    }
    return inner(std::strcmp(path, "/etc/inittab.new") == 0 ? tables.newPath.c_str() : path, mode);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzz::MemoryFile table;
    static const fuzz::MemoryFile newTable;
    if (size == 0) {
        return 0;
    }
    const int mode = *data % 4;
    const std::string content(reinterpret_cast<const char*>(data) + 1, size - 1);
    tables = {table.with(data + 1, size - 1), newTable.with(nullptr, 0), 0};
    SerialPortConfiguration().setSerialPortMode(
        static_cast<SerialPortConfiguration::SerialPortMode>(mode));
    check(tables.renamed == 1 && newTable.content() == expected(content, mode));
    return 0;
}
