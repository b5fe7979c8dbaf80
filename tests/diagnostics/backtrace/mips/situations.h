/// \file
/// What a program and a library need to stand where stacks are walked from. Both are built from the
/// same files; `PLACE`, program or library, is what the names of their functions begin with.
#ifndef GPAL_TESTS_DIAGNOSTICS_MIPS_SITUATIONS_H
#define GPAL_TESTS_DIAGNOSTICS_MIPS_SITUATIONS_H

#define GPAL_JOIN_EXPANDED(first, second) first##_##second
#define GPAL_JOIN(first, second) GPAL_JOIN_EXPANDED(first, second)

/// The name of a function of this place.
#define HERE(name) GPAL_JOIN(PLACE, name)

#ifndef __ASSEMBLER__

extern "C" {

// Exported by the program.

/// How many addresses there is room for in `recorded`.
extern int room;
extern void* recorded[64];

/// Shows the first \p count addresses in `recorded`.
void show(int count);

// Written in assembly: without frame, without `gp`.

/// Writes to address 0.
int HERE(leaf)();

/// Writes to address 0 in the delay slot of its return.
int HERE(delaySlot)();

/// Calls `unnamedLeaf`, which is `leaf`, but not exported.
int HERE(callsUnnamedLeaf)(void*);

/// `recvfrom` as small C libraries have it.
int HERE(receive)(int, void*, unsigned int, int, void*, void*);

/// Gives each register that a program may a value of its own, then writes to address 0.
int HERE(planted)(void*);

// The situations; each is called with an argument of no meaning.

int HERE(call)(void*);
int HERE(callAt)(void*);
int HERE(throughUnnamed)(void*);
int HERE(throughLargestFrame)(void*);
int HERE(throughTooLargeFrame)(void*);
int HERE(framed)(void*);
int HERE(busError)(void*);
int HERE(nullCall)(void*);
int HERE(callsLeaf)(void*);
int HERE(callsDelaySlot)(void*);
int HERE(busy)(void*);
int HERE(inRead)(void*);
int HERE(inSleep)(void*);
int HERE(inPause)(void*);
int HERE(inReceive)(void*);
int HERE(inSmallWrapper)(void*);
int HERE(inKill)(void*);
int HERE(inMemset)(void*);
}

#endif

#endif
