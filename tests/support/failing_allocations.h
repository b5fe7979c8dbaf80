/// \file
/// Memory that runs out, for the programs that define `operator new` by this.
#ifndef GPAL_TESTS_SUPPORT_FAILING_ALLOCATIONS_H
#define GPAL_TESTS_SUPPORT_FAILING_ALLOCATIONS_H

#include <cstddef>

namespace support
{

/// While it lives, `operator new` succeeds a number of times more and fails from then on; smaller
/// blocks than \p smallest are to be had all the same. One at a time.
class FailingAllocations
{
public:
    enum Whose { OF_THIS_THREAD, OF_ALL_THREADS };

    explicit FailingAllocations(int successes = 0, Whose whose = OF_THIS_THREAD,
                                std::size_t smallest = 0);
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
    ~FailingAllocations();

    /// Whether one has failed since the last of these was made.
    static bool struck();
};

/// How many blocks of `operator new` are in use.
long blocksInUse();

} // namespace support

#endif
