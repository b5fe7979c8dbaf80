/// \file
/// Functions that call each other, exported by the test program, without frame pointers where the
/// processor can do without.
#ifndef GPAL_TESTS_DIAGNOSTICS_CHAIN_H
#define GPAL_TESTS_DIAGNOSTICS_CHAIN_H

extern "C" {

/// Calls \p work with \p argument through chainSecond and chainThird.
int chainFirst(int (*work)(void*), void* argument);
int chainSecond(int (*work)(void*), void* argument);
int chainThird(int (*work)(void*), void* argument);

/// The same with a frame of a few kilobytes.
int chainLarge(int (*work)(void*), void* argument);

/// The same in a library of its own.
int chainThroughLibrary(int (*work)(void*), void* argument);

/// Writes to the address \p argument; calls nothing.
int chainLeaf(void* argument);

/// The same with a frame.
int chainLargeLeaf(void* argument);

/// Calls a function through a pointer that is null.
int chainNullCall(void* argument);

/// Calls itself \p argument (an int) times, then records the stack in `chainRecorded`.
int chainDeep(void* argument);

extern void* chainRecorded[64];
}

#endif
