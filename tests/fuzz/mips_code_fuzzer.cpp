/// \file
/// Walks a stack through any machine code of the device's processor.
///
/// Before the code there are numbers, of one byte each: where program counter, return address and
/// stack pointer are, the program's landmarks, the loader's symbols, and the words of the stack.
#include <algorithm>
#include <array>

#include "check.h"
#include "diagnostics/processor/mips/mips_stack_walker.h"
#include "input.h"

namespace
{

using namespace gpal::detail;
using fuzz::check;

constexpr MipsAddress CODE = 0x400000;
constexpr MipsAddress STACK = 0x7FFF0000;
constexpr std::size_t STACK_WORDS = 32;
constexpr std::size_t SYMBOLS = 4;

class AnyProgram final : public MipsProgram
{
public:
    explicit AnyProgram(fuzz::Input& input)
    {
        m_landmarks = {inCode(input), inCode(input), inCode(input)};
        std::generate(m_symbols.begin(), m_symbols.end(), [&] { return inCode(input); });
        std::generate(m_stack.begin(), m_stack.end(), [&] { return inCode(input); });
        std::sort(m_symbols.begin(), m_symbols.end());
        m_code = input.rest();
    }

    /// An address that is given in words, in the code or somewhat behind it; 0 is none.
    static MipsAddress inCode(fuzz::Input& input)
    {
        const MipsAddress word = input.byte();
        return word == 0 ? 0 : CODE + (word - 1) * 4;
    }

    MipsLandmarks landmarks() const override { return m_landmarks; }

    MipsAddress symbolStart(MipsAddress address) const override
    {
        const auto* behind = std::upper_bound(m_symbols.begin(), m_symbols.end(), address);
        return behind == m_symbols.begin() ? 0 : *(behind - 1);
    }

    MipsWord instruction(MipsAddress address) const override
    {
        check(address % 4 == 0);
        const std::size_t at = address - CODE;
        if (address < CODE || at + 4 > m_code.size()) {
            return 0;
        }
        return MipsWord{m_code[at]} << 24 | MipsWord{m_code[at + 1]} << 16 |
               MipsWord{m_code[at + 2]} << 8 | m_code[at + 3];
    }

    std::optional<MipsWord> stackWord(MipsAddress address) const override
    {
        const std::size_t word = (address - STACK) / 4;
        if (address % 4 != 0 || address < STACK || word >= m_stack.size()) {
            return std::nullopt;
        }
        return m_stack[word];
    }

private:
    MipsLandmarks m_landmarks{};
    std::array<MipsAddress, SYMBOLS> m_symbols{};
    std::array<MipsWord, STACK_WORDS> m_stack{};
    std::vector<std::uint8_t> m_code;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const MipsAddress pc = AnyProgram::inCode(input);
    const MipsAddress ra = AnyProgram::inCode(input);
    const MipsAddress sp = STACK + MipsAddress{input.byte()};
    std::vector<void*> frames(input.byte() % 32);
    const AnyProgram program(input);
    const int count =
        walkMipsStack(program, pc, sp, ra, frames.data(), static_cast<int>(frames.size()));
    check(count >= 0 && count <= static_cast<int>(frames.size()));
    check((count == 0) == frames.empty());
    return 0;
}
