// A program that writes files for other processors, or checks what they wrote:
//
//     exchange write|check capture|records|archives FOLDER
#include <cstdio>
#include <map>

#include "exchange.h"

namespace
{

int failures = 0;

} // namespace

namespace exchange
{

void expect(bool holds, const std::string& what)
{
    if (!holds) {
        std::printf("not so: %s\n", what.c_str());
        ++failures;
    }
}

std::string bytes(std::size_t count)
{
    std::string result(count, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        result[i] = static_cast<char>(i % 256);
    }
    return result;
}

} // namespace exchange

int main(int argc, char** argv)
{
    using Step = void (*)(const std::string&);
    const std::map<std::string, Step> steps{
        {"write capture", exchange::writeCapture},   {"check capture", exchange::checkCapture},
        {"write records", exchange::writeRecords},   {"check records", exchange::checkRecords},
        {"write archives", exchange::writeArchives}, {"check archives", exchange::checkArchives}};
    const auto step = argc == 4 ? steps.find(std::string(argv[1]) + " " + argv[2]) : steps.end();
    if (step == steps.end()) {
        std::puts("usage: exchange write|check capture|records|archives FOLDER");
        return 2;
    }
    step->second(argv[3]);
    return failures == 0 ? 0 : 1;
}
