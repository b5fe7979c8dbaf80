/// \file
/// gpal-info: the state of the device, for a maintainer at its console.
#include <cstdio>

#include "capture_list.h"
#include "options.h"
#include "overview.h"

int main(int argc, char** argv)
{
    const gpalinfo::Options options = gpalinfo::readOptions(argc, argv);
    if (!options.valid) {
        std::fputs(gpalinfo::usage().c_str(), stderr);
        return 2;
    }
    if (options.help) {
        std::fputs(gpalinfo::help().c_str(), stdout);
        return 0;
    }
    if (options.capture) {
        return gpalinfo::printCapture(*options.capture) ? 0 : 1;
    }
    gpalinfo::printOverview(options.disk, options.process);
    return 0;
}
