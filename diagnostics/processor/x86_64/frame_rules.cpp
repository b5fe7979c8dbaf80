#include "diagnostics/processor/x86_64/frame_rules.h"

#include <algorithm>
#include <array>

namespace gpal::detail
{

namespace
{

/// The instructions of unwind tables, by their numbers in the file format. The first three carry
/// an operand in their lower six bits.
enum Instruction : std::uint8_t {
    ADVANCE = 0x40,
    OFFSET = 0x80,
    RESTORE = 0xC0,

    NOP = 0x00,
    ADVANCE_1 = 0x02,
    ADVANCE_2 = 0x03,
    ADVANCE_4 = 0x04,
    OFFSET_EXTENDED = 0x05,
    RESTORE_EXTENDED = 0x06,
    UNDEFINE = 0x07,
    SAME_VALUE = 0x08,
    IN_OTHER_REGISTER = 0x09,
    REMEMBER = 0x0A,
    RESTORE_REMEMBERED = 0x0B,
    BASE = 0x0C,
    BASE_REGISTER = 0x0D,
    BASE_OFFSET = 0x0E,
    BASE_EXPRESSION = 0x0F,
    AT_EXPRESSION = 0x10,
    OFFSET_SIGNED = 0x11,
    BASE_SIGNED = 0x12,
    BASE_OFFSET_SIGNED = 0x13,
    VALUE_OFFSET = 0x14,
    VALUE_OFFSET_SIGNED = 0x15,
    VALUE_EXPRESSION = 0x16,
    ARGUMENTS_SIZE = 0x2E
};

constexpr std::uint8_t OPERATION_BITS = 0xC0;

/// Runs the instructions of an entry up to an address.
class RulesProgram
{
public:
    RulesProgram(const UnwindEntry& entry, std::uintptr_t address, FrameRules& rules)
        : m_entry(entry), m_location(entry.functionStart), m_address(address), m_rules(rules)
    {
    }

    bool run();

private:
    bool execute(std::uint8_t instruction, ByteReader& reader);
    bool executeBase(std::uint8_t instruction, ByteReader& reader);
    bool executeRegister(std::uint8_t instruction, ByteReader& reader);
    bool remember();
    bool restoreRemembered();

    void advance(std::uint64_t steps) { m_location += steps * m_entry.common.codeAlignment; }

    std::uint64_t readFactored(ByteReader& reader) const
    {
        return reader.readUnsigned() * m_entry.common.dataAlignment;
    }

    std::uint64_t readSignedFactored(ByteReader& reader) const
    {
        return static_cast<std::uint64_t>(reader.readSigned()) * m_entry.common.dataAlignment;
    }

    /// Adds a rule; returns whether there was room. Registers that no walk needs (those of the
    /// floating point unit) are passed over.
    bool set(std::uint64_t number, RegisterRule::Kind kind, std::uint64_t operand)
    {
        if (number >= REGISTER_COUNT) {
            return true;
        }
        if (m_rules.count == FrameRules::ROOM && !forgetReplaced()) {
            return false;
        }
        m_rules.rules[m_rules.count++] = {kind, static_cast<std::uint8_t>(number), operand};
        return true;
    }

    bool forgetReplaced();

    bool restore(std::uint64_t number)
    {
        const RegisterRule initial =
            m_rules.ruleFor(static_cast<std::uint8_t>(number), m_initialCount);
        return set(number, initial.kind, initial.operand);
    }

    /// Going back to remembered rules is to forget those that were added since.
    struct Remembered {
        FrameBase base;
        int count;
    };

    static constexpr int DEPTH = 4;

    const UnwindEntry& m_entry;
    std::uintptr_t m_location;
    std::uintptr_t m_address;
    FrameRules& m_rules;
    int m_initialCount = 0;
    Remembered m_remembered[DEPTH];
    int m_depth = 0;
};

/// Makes room: takes away what a later rule replaces, as far as nothing will go back to it.
bool RulesProgram::forgetReplaced()
{
    const int kept = m_depth > 0 ? m_remembered[m_depth - 1].count : m_initialCount;
    unsigned int numbers = 0;
    const int before = m_rules.count;
    RegisterRule* const end = m_rules.rules + before;
    RegisterRule* first = end;
    for (int i = before - 1; i >= kept; --i) {
        const RegisterRule rule = m_rules.rules[i];
        if ((numbers >> rule.number & 1) == 0) {
            *--first = rule;
        }
        numbers |= 1U << rule.number;
    }
    m_rules.count = static_cast<int>(std::copy(first, end, m_rules.rules + kept) - m_rules.rules);
    return m_rules.count < before;
}

/// Passes over an expression; null when it is cut short.
const std::uint8_t* takeExpression(ByteReader& reader)
{
    const std::uint8_t* expression = reader.position();
    const std::uint64_t length = reader.readUnsigned();
    if (length > static_cast<std::uint64_t>(reader.end() - reader.position())) {
        return nullptr;
    }
    reader.skip(length);
    return expression;
}

bool RulesProgram::run()
{
    bool known = true;
    for (ByteReader reader : std::array{m_entry.common.instructions, m_entry.instructions}) {
        m_initialCount = m_rules.count;
        while (known && !reader.atEnd() && m_location <= m_address) {
            const auto instruction = reader.read<std::uint8_t>();
            const std::uint8_t operand = instruction & static_cast<std::uint8_t>(~OPERATION_BITS);
            switch (instruction & OPERATION_BITS) {
            case ADVANCE:
                advance(operand);
                break;
            case OFFSET:
                known = set(operand, RegisterRule::SAVED_AT_OFFSET, readFactored(reader));
                break;
            case RESTORE:
                known = restore(operand);
                break;
            default:
                known = execute(instruction, reader);
            }
        }
    }
    return known;
}

bool RulesProgram::execute(std::uint8_t instruction, ByteReader& reader)
{
    switch (instruction) {
    case NOP:
        return true;
    case ADVANCE_1:
        advance(reader.read<std::uint8_t>());
        return true;
    case ADVANCE_2:
        advance(reader.read<std::uint16_t>());
        return true;
    case ADVANCE_4:
        advance(reader.read<std::uint32_t>());
        return true;
    case REMEMBER:
        return remember();
    case RESTORE_REMEMBERED:
        return restoreRemembered();
    case ARGUMENTS_SIZE:
        reader.readUnsigned();
        return true;
    case BASE_OFFSET: // the most frequent one
        m_rules.base.offset = reader.readUnsigned();
        m_rules.base.expression = nullptr;
        return true;
    default:
        return executeBase(instruction, reader) || executeRegister(instruction, reader);
    }
}

bool RulesProgram::remember()
{
    if (m_depth == DEPTH) {
        return false;
    }
    m_remembered[m_depth].base = m_rules.base;
    m_remembered[m_depth].count = m_rules.count;
    ++m_depth;
    return true;
}

bool RulesProgram::restoreRemembered()
{
    if (m_depth == 0) {
        return false;
    }
    --m_depth;
    m_rules.base = m_remembered[m_depth].base;
    m_rules.count = m_remembered[m_depth].count;
    return true;
}

bool RulesProgram::executeBase(std::uint8_t instruction, ByteReader& reader)
{
    FrameBase& base = m_rules.base;
    switch (instruction) {
    case BASE:
        base.number = reader.readUnsigned();
        base.offset = reader.readUnsigned();
        break;
    case BASE_SIGNED:
        base.number = reader.readUnsigned();
        base.offset = readSignedFactored(reader);
        break;
    case BASE_REGISTER:
        base.number = reader.readUnsigned();
        break;
    case BASE_OFFSET_SIGNED:
        base.offset = readSignedFactored(reader);
        break;
    case BASE_EXPRESSION:
        base.expression = takeExpression(reader);
        return base.expression != nullptr;
    default:
        return false;
    }
    base.expression = nullptr;
    return true;
}

bool RulesProgram::executeRegister(std::uint8_t instruction, ByteReader& reader)
{
    const std::uint64_t number = reader.readUnsigned();
    const std::uint8_t* expression = nullptr;
    switch (instruction) {
    case OFFSET_EXTENDED:
        return set(number, RegisterRule::SAVED_AT_OFFSET, readFactored(reader));
    case OFFSET_SIGNED:
        return set(number, RegisterRule::SAVED_AT_OFFSET, readSignedFactored(reader));
    case RESTORE_EXTENDED:
        return restore(number);
    case UNDEFINE:
        return set(number, RegisterRule::UNDEFINED, 0);
    case SAME_VALUE:
        return set(number, RegisterRule::UNCHANGED, 0);
    case IN_OTHER_REGISTER:
        return set(number, RegisterRule::IN_REGISTER, reader.readUnsigned());
    case VALUE_OFFSET:
        return set(number, RegisterRule::BASE_PLUS_OFFSET, readFactored(reader));
    case VALUE_OFFSET_SIGNED:
        return set(number, RegisterRule::BASE_PLUS_OFFSET, readSignedFactored(reader));
    case AT_EXPRESSION:
    case VALUE_EXPRESSION:
        expression = takeExpression(reader);
        return expression != nullptr &&
               set(number,
                   instruction == AT_EXPRESSION ? RegisterRule::SAVED_AT_EXPRESSION
                                                : RegisterRule::EXPRESSION,
                   reinterpret_cast<std::uintptr_t>(expression));
    default:
        return false;
    }
}

} // namespace

bool findFrameRules(const UnwindEntry& entry, std::uintptr_t address, FrameRules& rules)
{
    rules.base = FrameBase{};
    rules.count = 0;
    return RulesProgram(entry, address, rules).run();
}

} // namespace gpal::detail
