/// \file
/// A program for the device's processor, assembled by hand, and a thread's stack in it.
#ifndef GPAL_TESTS_DIAGNOSTICS_MIPS_IMAGE_H
#define GPAL_TESTS_DIAGNOSTICS_MIPS_IMAGE_H

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "diagnostics/processor/mips/mips_stack_walker.h"

namespace mips
{

using Address = gpal::detail::MipsAddress;
using Word = gpal::detail::MipsWord;

// Instructions.
constexpr Word OTHER = 0x24020001; ///< addiu v0, zero, 1: of no interest
constexpr Word LUI_GP = 0x3C1C0002;
constexpr Word JR_RA = 0x03E00008;
constexpr Word JALR_T9 = 0x0320F809;
constexpr Word SYSCALL = 0x0000000C;

constexpr Word lowHalf(int immediate)
{
    return static_cast<Word>(immediate) & 0xFFFF;
}
constexpr Word addiuSp(int immediate)
{
    return 0x27BD0000 | lowHalf(immediate);
}
constexpr Word swRa(int offset)
{
    return 0xAFBF0000 | lowHalf(offset);
}
constexpr Word branch(int words)
{
    return 0x10000000 | lowHalf(words);
}

// Where the programs of the tests lie: `main`, which is called from nowhere, the function that a
// test is about, and the end of its stack in use.
constexpr Address MAIN = 0x400100;
constexpr Address TOP = 0x401000;
constexpr Address SP = 0x7FFF0100;

// Where the call in `main` returns to; a frame is recorded two instructions before.
constexpr Address RETURN_TO_MAIN = MAIN + 44;
constexpr Address IN_MAIN = RETURN_TO_MAIN - 8;

/// The program. Where nothing was put on there is nothing to be read. The stack has the words from
/// `stackLow` up to `stackTop`.
class Image final : public gpal::detail::MipsProgram
{
public:
    static constexpr Address PAGE = 4096;

    gpal::detail::MipsLandmarks marks{0x410000, 0, 0};
    Address stackLow = 0x7FFF0000;
    Address stackTop = 0x7FFF1000;

    /// Puts \p words at \p address on; the address behind them.
    Address put(Address address, const std::vector<Word>& words);

    /// Lets the loader know a symbol that covers \p bytes from \p start on.
    void name(Address start, Address bytes) { m_symbols[start] = bytes; }

    /// A function of 16 words that the loader knows: prologue with a frame of \p frame bytes, whose
    /// last word holds the return address, other work, and the return. `IN_BODY` is an instruction
    /// in it with the prologue done.
    Address function(Address start, int frame = 32);
    static constexpr Address FUNCTION_SIZE = 64;
    static constexpr Address IN_BODY = 32;

    void push(Address address, Word value) { m_stack[address] = value; }

    /// What a walk records, as numbers.
    std::vector<unsigned long> walk(Address pc, Address sp, Address ra, int max = 16) const;

    gpal::detail::MipsLandmarks landmarks() const override { return marks; }
    Address symbolStart(Address address) const override;
    Word instruction(Address address) const override;
    std::optional<Word> stackWord(Address address) const override;

    /// How often the loader was asked for a symbol.
    int lookUps() const { return m_lookUps; }

private:
    std::map<Address, Word> m_code;
    std::map<Address, Address> m_symbols;
    std::map<Address, Word> m_stack;
    mutable int m_lookUps = 0;
};

using Frames = std::vector<unsigned long>;

} // namespace mips

#endif
