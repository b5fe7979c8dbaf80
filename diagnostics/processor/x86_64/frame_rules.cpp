#include "diagnostics/processor/x86_64/frame_rules.h"

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
    RulesProgram(const UnwindEntry& entry, std::uintptr_t address)
        : m_entry(entry), m_location(entry.functionStart), m_address(address)
    {
    }

    bool run()
    {
        if (!run(m_entry.initialInstructions)) {
            return false;
        }
        m_initial = m_rules;
        return run(m_entry.instructions);
    }

    const FrameRules& rules() const { return m_rules; }

private:
    bool run(ByteReader reader);
    bool execute(std::uint8_t instruction, ByteReader& reader);
    bool executeBase(std::uint8_t instruction, ByteReader& reader);
    bool executeRegister(std::uint8_t instruction, ByteReader& reader);
    bool remember();
    bool restoreRemembered();

    void advance(std::uint64_t steps) { m_location += steps * m_entry.codeAlignment; }

    std::int64_t factored(std::uint64_t offset) const
    {
        return static_cast<std::int64_t>(offset) * m_entry.dataAlignment;
    }

    /// Registers that no walk needs (those of the floating point unit) are passed over.
    void set(std::uint64_t number, const RegisterRule& rule)
    {
        if (number < REGISTER_COUNT) {
            m_rules.registers[number] = rule;
        }
    }

    void restore(std::uint64_t number)
    {
        if (number < REGISTER_COUNT) {
            m_rules.registers[number] = m_initial.registers[number];
        }
    }

    static constexpr int DEPTH = 4;

    const UnwindEntry& m_entry;
    std::uintptr_t m_location;
    std::uintptr_t m_address;
    FrameRules m_rules;
    FrameRules m_initial;
    std::optional<FrameRules> m_remembered[DEPTH];
    int m_depth = 0;
};

const std::uint8_t* takeExpression(ByteReader& reader)
{
    const std::uint8_t* expression = reader.position();
    reader.skip(reader.readUnsigned());
    return expression;
}

bool RulesProgram::run(ByteReader reader)
{
    while (!reader.atEnd() && m_location <= m_address) {
        const auto instruction = reader.read<std::uint8_t>();
        const std::uint8_t operand = instruction & static_cast<std::uint8_t>(~OPERATION_BITS);
        switch (instruction & OPERATION_BITS) {
        case ADVANCE:
            advance(operand);
            break;
        case OFFSET:
            set(operand, {RegisterRule::SAVED_AT_OFFSET, factored(reader.readUnsigned()), nullptr});
            break;
        case RESTORE:
            restore(operand);
            break;
        default:
            if (!execute(instruction, reader)) {
                return false;
            }
        }
    }
    return true;
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
    default:
        return executeBase(instruction, reader) || executeRegister(instruction, reader);
    }
}

bool RulesProgram::remember()
{
    if (m_depth == DEPTH) {
        return false;
    }
    m_remembered[m_depth++] = m_rules;
    return true;
}

bool RulesProgram::restoreRemembered()
{
    if (m_depth == 0) {
        return false;
    }
    m_rules = *m_remembered[--m_depth];
    return true;
}

bool RulesProgram::executeBase(std::uint8_t instruction, ByteReader& reader)
{
    switch (instruction) {
    case BASE:
        m_rules.baseRegister = reader.readUnsigned();
        m_rules.baseOffset = static_cast<std::int64_t>(reader.readUnsigned());
        break;
    case BASE_SIGNED:
        m_rules.baseRegister = reader.readUnsigned();
        m_rules.baseOffset = reader.readSigned() * m_entry.dataAlignment;
        break;
    case BASE_REGISTER:
        m_rules.baseRegister = reader.readUnsigned();
        break;
    case BASE_OFFSET:
        m_rules.baseOffset = static_cast<std::int64_t>(reader.readUnsigned());
        break;
    case BASE_OFFSET_SIGNED:
        m_rules.baseOffset = reader.readSigned() * m_entry.dataAlignment;
        break;
    case BASE_EXPRESSION:
        m_rules.baseExpression = takeExpression(reader);
        return true;
    default:
        return false;
    }
    m_rules.baseExpression = nullptr;
    return true;
}

bool RulesProgram::executeRegister(std::uint8_t instruction, ByteReader& reader)
{
    const std::uint64_t number = reader.readUnsigned();
    switch (instruction) {
    case OFFSET_EXTENDED:
        set(number, {RegisterRule::SAVED_AT_OFFSET, factored(reader.readUnsigned()), nullptr});
        return true;
    case OFFSET_SIGNED:
        set(number,
            {RegisterRule::SAVED_AT_OFFSET, reader.readSigned() * m_entry.dataAlignment, nullptr});
        return true;
    case RESTORE_EXTENDED:
        restore(number);
        return true;
    case UNDEFINE:
        set(number, {RegisterRule::UNDEFINED, 0, nullptr});
        return true;
    case SAME_VALUE:
        set(number, {});
        return true;
    case IN_OTHER_REGISTER:
        set(number,
            {RegisterRule::IN_REGISTER, static_cast<std::int64_t>(reader.readUnsigned()), nullptr});
        return true;
    case AT_EXPRESSION:
        set(number, {RegisterRule::SAVED_AT_EXPRESSION, 0, takeExpression(reader)});
        return true;
    case VALUE_OFFSET:
        set(number, {RegisterRule::BASE_PLUS_OFFSET, factored(reader.readUnsigned()), nullptr});
        return true;
    case VALUE_OFFSET_SIGNED:
        set(number,
            {RegisterRule::BASE_PLUS_OFFSET, reader.readSigned() * m_entry.dataAlignment, nullptr});
        return true;
    case VALUE_EXPRESSION:
        set(number, {RegisterRule::EXPRESSION, 0, takeExpression(reader)});
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<FrameRules> frameRulesAt(const UnwindEntry& entry, std::uintptr_t address)
{
    RulesProgram program(entry, address);
    if (!program.run()) {
        return std::nullopt;
    }
    return program.rules();
}

} // namespace gpal::detail
