#include <gpal/Ulimit.h>

#include <cstdio>

namespace
{

const Ulimit::limits TABLE[] = {
    {"time(seconds)", RLIMIT_CPU, 1, 't'},
    {"file(blocks)", RLIMIT_FSIZE, 512, 'f'},
    {"data(kbytes)", RLIMIT_DATA, 1024, 'd'},
    {"stack(kbytes)", RLIMIT_STACK, 1024, 's'},
    {"coredump(blocks)", RLIMIT_CORE, 512, 'c'},
    {"memory(kbytes)", RLIMIT_RSS, 1024, 'm'},
    {"locked memory(kbytes)", RLIMIT_MEMLOCK, 1024, 'l'},
    {"process", RLIMIT_NPROC, 1, 'p'},
    {"nofiles", RLIMIT_NOFILE, 1, 'n'},
    {"vmemory(kbytes)", RLIMIT_AS, 1024, 'v'},
    {"locks", RLIMIT_LOCKS, 1, 'w'},
    {nullptr, 0, 1, '\0'},
};

} // namespace

Ulimit::~Ulimit() = default;

bool Ulimit::getulimit(char option, std::string& out)
{
    for (const limits* record = TABLE; record->label != nullptr; ++record) {
        rlimit limit{};
        getrlimit(static_cast<__rlimit_resource_t>(record->resource), &limit);
        if (record->option == option) {
            getlimit(&limit, record, out);
            return true;
        }
    }
    return false;
}

void Ulimit::getlimit(const rlimit* limit, const limits* record, std::string& out)
{
    if (limit == nullptr || record == nullptr) {
        return;
    }
    if (limit->rlim_cur == RLIM_INFINITY) {
        out = "unlimited";
    } else if (record->factor != 0) {
        const unsigned long long units =
            limit->rlim_cur / static_cast<unsigned int>(record->factor);
        char text[sizeof "18446744073709551615"];
        std::snprintf(text, sizeof text, "%llu", units);
        out = text;
    }
}
