#include "mips_image.h"

#include <gtest/gtest.h>

namespace mips
{

Address Image::put(Address address, const std::vector<Word>& words)
{
    for (const Word word : words) {
        m_code[address] = word;
        address += 4;
    }
    return address;
}

Address Image::function(Address start, int frame)
{
    name(start, FUNCTION_SIZE);
    return put(start, {LUI_GP, OTHER, OTHER, addiuSp(-frame), swRa(frame - 4), OTHER, OTHER, OTHER,
                       OTHER, JALR_T9, OTHER, OTHER, OTHER, OTHER, JR_RA, addiuSp(frame)});
}

Frames Image::walk(Address pc, Address sp, Address ra, int max) const
{
    std::vector<void*> buffer(static_cast<std::size_t>(max) + 1);
    const int count = gpal::detail::walkMipsStack(*this, pc, sp, ra, buffer.data(), max);
    Frames frames;
    for (int i = 0; i < count; ++i) {
        frames.push_back(reinterpret_cast<unsigned long>(buffer[static_cast<std::size_t>(i)]));
    }
    EXPECT_EQ(nullptr, buffer[static_cast<std::size_t>(count)]) << "entry beyond the count";
    return frames;
}

Address Image::symbolStart(Address address) const
{
    ++m_lookUps;
    auto behind = m_symbols.upper_bound(address);
    if (behind == m_symbols.begin()) {
        return 0;
    }
    --behind;
    return address - behind->first < behind->second ? behind->first : 0;
}

Word Image::instruction(Address address) const
{
    EXPECT_EQ(0U, address % 4);
    const auto found = m_code.find(address);
    return found != m_code.end() ? found->second : Word{0};
}

std::optional<Word> Image::stackWord(Address address) const
{
    if (address % 4 != 0 || address < stackLow || address >= stackTop) {
        return std::nullopt;
    }
    const auto found = m_stack.find(address);
    return found != m_stack.end() ? found->second : Word{0};
}

} // namespace mips
