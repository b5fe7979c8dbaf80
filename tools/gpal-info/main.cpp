/// \file
/// gpal-info: the state of the device, for a maintainer at its console.
#include <cstdio>

#include "capture_list.h"
#include "options.h"
#include "output.h"
#include "overview.h"
#include "thread_list.h"

namespace gpalinfo
{
namespace
{

bool show(const Options& options)
{
    if (options.help) {
        std::fputs(help().c_str(), stdout);
        return true;
    }
    if (options.version) {
        std::fputs(version().c_str(), stdout);
        return true;
    }
    if (options.capture) {
        return printCapture(*options.capture, options.json);
    }
    if (options.process) {
        return printThreads(*options.process, options.json);
    }
    options.json ? printOverviewAsJson(options.disk) : printOverview(options.disk);
    return true;
}

} // namespace
} // namespace gpalinfo

int main(int argc, char** argv)
{
    const gpalinfo::Options options = gpalinfo::readOptions(argc, argv);
    if (!options.complaint.empty()) {
        gpalinfo::complain(options.complaint);
        std::fputs(gpalinfo::usage().c_str(), stderr);
        return 2;
    }
    const bool shown = gpalinfo::show(options);
    return gpalinfo::outputIsWritten() && shown ? 0 : 1;
}
