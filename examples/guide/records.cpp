#include <cstdio>
#include <cstring>
#include <ios>
#include <string>

#include <gpal/gpal.h>

int main()
{
    // $MIRTA_VOLATILE_LOCATION directly followed by "calls", or "./calls" without the variable
    const std::string file = Storage::prependWithVolatileStorageLocation("calls");

    Storage records;
    records.init(file.c_str(), std::ios::in, std::ios::out | std::ios::app);
    for (const char* record : {"alice 12:01", "bob 12:05"}) {
        records.store("", const_cast<char*>(record), static_cast<int>(std::strlen(record)));
    }
    char record[1024];
    while (records.retrieve("", record) > 0) { // turning to reading starts at the first record
        std::printf("Record: %s\n", record);
    }
    records.shutdown();

    const std::string archive = file + ".tgz";
    if (!Storage::packRelativeFiles(archive, {file})) {
        std::puts("The installed tar refuses the order of options; see below.");
        return 1;
    }
    Storage::makeDir("unpacked/");
    std::puts("In the archive:");
    std::fflush(stdout);
    Storage::unpackandunzip(archive, "unpacked/");
}
