#include "diagnostics/unwind_tables/frame_rules.h"

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
    SIGN_RETURN_ADDRESS = 0x2D, // or sign it no more
    ARGUMENTS_SIZE = 0x2E
};

constexpr std::uint8_t OPERATION_BITS = 0xC0;

/// Runs the instructions of an entry up to a place.
class RulesProgram
{
public:
    RulesProgram(const Factors& factors, const FrameRules& initial, FrameRules& rules)
        : m_factors(factors), m_initial(initial), m_rules(rules)
    {
    }

    bool run(ByteReader reader, std::uint64_t distance);

private:
    bool execute(std::uint8_t instruction, ByteReader& reader);
    bool executeBase(std::uint8_t instruction, ByteReader& reader);
    bool executeRegister(std::uint8_t instruction, ByteReader& reader);
    bool remember();
    bool restoreRemembered();

    void advance(std::uint64_t steps) { m_location += steps * m_factors.code; }

    std::uint64_t readFactored(ByteReader& reader) const
    {
        return reader.readUnsigned() * m_factors.data;
    }

    std::uint64_t readSignedFactored(ByteReader& reader) const
    {
        return static_cast<std::uint64_t>(reader.readSigned()) * m_factors.data;
    }

    /// Registers that no walk needs (those of the floating point unit) are passed over.
    void set(std::uint64_t number, RegisterRule::Kind kind, std::uint64_t operand)
    {
        if (number < REGISTER_COUNT) {
            m_rules.set(number, {kind, operand});
        }
    }

    void restore(std::uint64_t number)
    {
        if (number < REGISTER_COUNT) {
            m_rules.set(number, m_initial.ruleFor(number));
        }
    }

    static constexpr int DEPTH = 4;

    const Factors& m_factors;
    const FrameRules& m_initial;
    FrameRules& m_rules;
    std::uint64_t m_location = 0; ///< in the function
    FrameRules m_remembered[DEPTH];
    int m_depth = 0;
};

/// Passes over an expression; null when it is empty or cut short.
const std::uint8_t* takeExpression(ByteReader& reader)
{
    const std::uint8_t* expression = reader.position();
    const std::uint64_t length = reader.readUnsigned();
    if (length == 0 || length > static_cast<std::uint64_t>(reader.end() - reader.position())) {
        return nullptr;
    }
    reader.skip(length);
    return expression;
}

bool RulesProgram::run(ByteReader reader, std::uint64_t distance)
{
    bool known = true;
    while (known && !reader.atEnd() && m_location <= distance) {
        const auto instruction = reader.read<std::uint8_t>();
        const std::uint8_t operand = instruction & static_cast<std::uint8_t>(~OPERATION_BITS);
        switch (instruction & OPERATION_BITS) {
        case ADVANCE:
            advance(operand);
            break;
        case OFFSET:
            set(operand, RegisterRule::SAVED_AT_OFFSET, readFactored(reader));
            break;
        case RESTORE:
            restore(operand);
            break;
        default:
            known = execute(instruction, reader);
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
    case SIGN_RETURN_ADDRESS:
        return SIGNS_RETURN_ADDRESSES; // None is used as it is found, signed or not.
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
    m_remembered[m_depth++].copy(m_rules);
    return true;
}

bool RulesProgram::restoreRemembered()
{
    if (m_depth == 0) {
        return false;
    }
    m_rules.copy(m_remembered[--m_depth]);
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
        set(number, RegisterRule::SAVED_AT_OFFSET, readFactored(reader));
        break;
    case OFFSET_SIGNED:
        set(number, RegisterRule::SAVED_AT_OFFSET, readSignedFactored(reader));
        break;
    case RESTORE_EXTENDED:
        restore(number);
        break;
    case UNDEFINE:
        set(number, RegisterRule::UNDEFINED, 0);
        break;
    case SAME_VALUE:
        set(number, RegisterRule::UNCHANGED, 0);
        break;
    case IN_OTHER_REGISTER:
        set(number, RegisterRule::IN_REGISTER, reader.readUnsigned());
        break;
    case VALUE_OFFSET:
        set(number, RegisterRule::BASE_PLUS_OFFSET, readFactored(reader));
        break;
    case VALUE_OFFSET_SIGNED:
        set(number, RegisterRule::BASE_PLUS_OFFSET, readSignedFactored(reader));
        break;
    case AT_EXPRESSION:
    case VALUE_EXPRESSION:
        expression = takeExpression(reader);
        set(number,
            instruction == AT_EXPRESSION ? RegisterRule::SAVED_AT_EXPRESSION
                                         : RegisterRule::EXPRESSION,
            reinterpret_cast<std::uintptr_t>(expression));
        return expression != nullptr;
    default:
        return false;
    }
    return true;
}

} // namespace

bool applyInstructions(ByteReader instructions, const Factors& factors, std::uint64_t distance,
                       const FrameRules& initial, FrameRules& rules)
{
    return RulesProgram(factors, initial, rules).run(instructions, distance);
}

} // namespace gpal::detail
