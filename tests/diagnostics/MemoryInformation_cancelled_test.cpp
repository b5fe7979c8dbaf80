// What is left of a request for a report when its thread is cancelled, or a call fails. Reports of
// all processes redirect the output of the process that asks, so that is done in a child.
#include <gpal/MemoryInformation.h>
#include <gpal/Watchdog.h>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <string>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include "forked.h"
#include "support/c_library.h"
#include "support/descriptors.h"
#include "support/file_calls.h"
#include "support/full_pipe.h"
#include "support/plain_thread.h"
#include "support/temporary_directory.h"

namespace
{

namespace calls = support::calls;
using support::PlainThread;
using support::Replacement;

/// Asks for the report of all processes on a thread of its own, which \p cancel may cancel; returns
/// how the thread ended, and whether a descriptor is left.
std::string askOnThread(const std::string& file, const std::function<void(PlainThread&)>& cancel)
{
    openlog(nullptr, LOG_NDELAY, LOG_USER); // which the C library would open for the first line
    PlainThread([] {}).join(); // with the first thread some threads libraries open a pipe
    const int free = support::lowestFreeDescriptor();
    PlainThread thread([&file] {
        MemoryInformation().getAllMemoryInfo(file);
        pthread_testcancel();
    });
    cancel(thread);
    thread.join();
    const bool closed = support::lowestFreeDescriptor() == free;
    return std::string(thread.wasCancelled() ? "cancelled" : "ended") +
           (closed ? ""
                   : ", left open: " +
                         std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(free))
                             .string());
}

} // namespace

TEST(CancelledMemoryReport, leavesNoDescriptorWhileOutputIsBlocked)
{
    GPAL_SKIP_BECAUSE(support::whyStreamsAreLost());
    const support::TemporaryDirectory directory;
    EXPECT_EQ(inForkedChild([&directory](std::ostream& notes) {
                  // Where that goes what is still to be printed in the end.
                  dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
                  const support::FullInPlace nobodyReads(STDOUT_FILENO);
                  std::fputs("does not fit in any more", stdout);
                  notes << askOnThread(directory.path("report"),
                                       [](PlainThread& thread) { thread.cancelOnceItBlocks(); });
                  notes << (support::exists(directory.path("report")) ? ", made" : "");
              }),
              "cancelled");
}

TEST(CancelledMemoryReport, leavesNoDescriptorWhereverItIsCancelled)
{
    const support::TemporaryDirectory directory;
    for (const bool atOnce : {true, false}) {
        EXPECT_EQ(inForkedChild([&](std::ostream& notes) {
                      // The destructor of a child process takes two seconds.
                      const Replacement noDelay(calls::sleep, [](unsigned int) { return 0U; });
                      const Replacement cancelling(calls::fflush, [atOnce](std::FILE*) {
                          pthread_cancel(pthread_self());
                          if (atOnce) {
                              pthread_testcancel();
                          }
                          return 0;
                      });
                      notes << askOnThread(directory.path("report"), [](PlainThread&) {});
                  }),
                  "cancelled");
    }
}

TEST(CancelledMemoryReport, isNoneWhenTheOutputCannotBeRedirected)
{
    const support::TemporaryDirectory directory;
    EXPECT_EQ(inForkedChild([&directory](std::ostream& notes) {
                  const std::string file = directory.path("report");
                  MemoryInformation memory;
                  memory.getTotalMemory(); // a sanitizer may need descriptors the first time
                  // Descriptor 0 is the only one that there may be from now on.
                  rlimit before{};
                  getrlimit(RLIMIT_NOFILE, &before);
                  const rlimit one{1, before.rlim_max};
                  close(STDIN_FILENO);
                  setrlimit(RLIMIT_NOFILE, &one);
                  const bool reported = memory.getAllMemoryInfo(file);
                  setrlimit(RLIMIT_NOFILE, &before);
                  notes << (reported ? "reported" : "failed")
                        << (support::lowestFreeDescriptor() == 0 ? "" : ", a descriptor is left");
              }),
              "failed");
}

TEST(CancelledThread, finishesReadingAndClosing)
{
    PlainThread([] {}).join(); // with the first thread some threads libraries open a pipe
    // Both the C++ library's streams and the layer's own are closed by destructors.
    const Replacement cancelling(calls::fclose, [](std::FILE* stream) {
        pthread_cancel(pthread_self());
        return calls::fclose.original(stream);
    });
    const std::function<void()> functions[] = {
        [] { MemoryInformation().getTotalMemory(); },
        [] { MemoryInformation().getFreeMemory(); },
        [] {
            std::string text;
            MemoryInformation().getGenericMemoryInfo(text);
        },
        [] { Watchdog().getPIdByName("/no such program"); },
    };
    for (const auto& function : functions) {
        for (const bool cancelledBefore : {true, false}) {
            const int free = support::lowestFreeDescriptor();
            PlainThread thread([&] {
                if (cancelledBefore) {
                    pthread_cancel(pthread_self());
                }
                function();
            });
            EXPECT_TRUE(thread.wasCancelledOnlyAtItsEnd());
            EXPECT_EQ(support::lowestFreeDescriptor(), free);
        }
    }
}
