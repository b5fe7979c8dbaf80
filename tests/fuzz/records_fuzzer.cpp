/// \file
/// Retrieves records from a file of any content. The first three bytes say in which ways it is read
/// after that, and how much at a time.
#include <gpal/BinaryStorage.h>
#include <gpal/Storage.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "check.h"
#include "input.h"
#include "memory_file.h"

namespace
{

using fuzz::check;

constexpr std::size_t RECORD_SIZE = 1024; ///< with the terminator
constexpr auto READING = std::ios_base::in | std::ios_base::binary;
constexpr auto WRITING = std::ios_base::out | std::ios_base::app | std::ios_base::binary;

/// Every line is a record, up to the first that is too long for one; nul ends what is told of it.
void retrieveAll(const std::string& path, const std::string& content)
{
    Storage storage;
    storage.init(path.c_str(), READING, WRITING);
    std::vector<char> record(RECORD_SIZE);
    std::size_t begin = 0;
    while (begin < content.size()) {
        const std::size_t end = std::min(content.find('\n', begin), content.size());
        if (end - begin >= RECORD_SIZE - 1) {
            break;
        }
        const std::string line = content.substr(begin, end - begin).c_str();
        check(storage.retrieve("", record.data()) == static_cast<int>(line.size()));
        check(record.data() == line);
        begin = end + 1;
    }
    const bool isAtEnd = content.empty() || content.back() == '\n';
    check(begin < content.size() || !isAtEnd || storage.retrieve("", record.data()) == 0);
}

/// Reads of both kinds in any order: none gives more than there is room for.
void mix(const std::string& path, unsigned order, std::size_t size)
{
    Storage storage;
    storage.init(path.c_str(), READING, WRITING);
    BinaryStorage binary;
    std::string name = path;
    for (; order != 0; order >>= 2) {
        std::vector<char> buffer(size);
        std::vector<char> record(RECORD_SIZE);
        const auto length = static_cast<int>(size);
        int result = 0;
        switch (order & 3) {
        case 1:
            result = storage.retrieve("", record.data());
            check(std::strlen(record.data()) < RECORD_SIZE);
            check(result == 0 || record[static_cast<std::size_t>(result)] == '\0');
            break;
        case 2:
            result = storage.readBinary(buffer.data(), length);
            check(result == 0 || result == length);
            break;
        default:
            result = binary.retrieve(name.data(), buffer.data(), static_cast<unsigned>(size));
            check(result >= 0 && result <= length);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzz::MemoryFile file;
    fuzz::Input input(data, size);
    const auto order = input.byte();
    const auto length = input.number<std::uint16_t>();
    const std::vector<std::uint8_t> rest = input.rest();
    const std::string path = file.with(rest.data(), rest.size());
    retrieveAll(path, std::string(rest.begin(), rest.end()));
    mix(path, order, length % (2 * RECORD_SIZE));
    return 0;
}
