/// \file
/// What the walked program shows, in the words of tests.
#ifndef GPAL_TESTS_DIAGNOSTICS_MIPS_WALK_OF_H
#define GPAL_TESTS_DIAGNOSTICS_MIPS_WALK_OF_H

#include <cstdint>
#include <string>
#include <vector>

using Names = std::vector<std::string>;

struct Frame {
    std::string function; ///< "?" for one without name
    unsigned long offset;
    std::uint32_t word; ///< the instruction
    unsigned long address;
};

struct Walk {
    int count = -1;
    std::vector<Frame> frames;

    // In a signal's handler.
    int signal = 0;
    std::uint64_t pcBefore = 0; ///< in the context, before the walk and after it
    std::uint64_t pcAfter = 0;
    unsigned long ra = 0;
    std::string registers; ///< as the layer describes them

    std::string output;

    Names names() const;
};

/// Runs the program: what it shows of itself in \p situation, on \p thread.
Walk walkOf(const std::string& situation, const std::string& thread = "main", int room = 64);

/// The same of the program that does not export `_gp`.
Walk walkOfHiddenGp(const std::string& situation);

/// Where situations are: in the program and in a library.
extern const Names PLACES;

/// The stack below \p names up to \p outermost: every situation is called back from a library.
Names onTheWay(Names names, const Names& outermost = {"main"});

/// Expects that all frames from \p first on stand at the instruction that called the one before.
void expectCalls(const Walk& walk, std::size_t first);

#endif
