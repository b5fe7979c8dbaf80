/// \file
/// Memory that runs out, for the programs that define `operator new` by this.
#ifndef GPAL_TESTS_SUPPORT_FAILING_ALLOCATIONS_H
#define GPAL_TESTS_SUPPORT_FAILING_ALLOCATIONS_H

namespace support
{

/// While it lives, `operator new` succeeds a number of times more and fails from then on. One at a
/// time.
class FailingAllocations
{
public:
    enum Whose { OF_THIS_THREAD, OF_ALL_THREADS };

    explicit FailingAllocations(int successes = 0, Whose whose = OF_THIS_THREAD);
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
