#include "diagnostics/unwind_tables/expression.h"

#include "diagnostics/unwind_tables/byte_reader.h"

namespace gpal::detail
{

namespace
{

/// Operations by their numbers in the file format; the last two stand for 32 each.
enum Operation : std::uint8_t {
    DEREFERENCE = 0x06,
    CONSTANT_1 = 0x08,
    CONSTANT_1_SIGNED = 0x09,
    CONSTANT = 0x10,
    CONSTANT_SIGNED = 0x11,
    AND = 0x1A,
    MINUS = 0x1C,
    PLUS = 0x22,
    PLUS_CONSTANT = 0x23,
    SHIFT_LEFT = 0x24,
    GREATER_OR_EQUAL = 0x2A,
    LITERAL = 0x30,
    REGISTER = 0x70
};

constexpr std::uint8_t GROUP = 32;

class Evaluation
{
public:
    Evaluation(const Registers& registers, MemoryRange& stack)
        : m_registers(registers), m_stack(stack)
    {
    }

    bool push(std::uint64_t value)
    {
        if (m_depth == DEPTH) {
            return false;
        }
        m_values[m_depth++] = value;
        return true;
    }

    bool execute(std::uint8_t operation, ByteReader& reader);

    std::optional<std::uint64_t> pop()
    {
        if (m_depth == 0) {
            return std::nullopt;
        }
        return m_values[--m_depth];
    }

private:
    bool pushRegister(int number, std::int64_t offset);
    bool pushWordAt(std::optional<std::uint64_t> address);
    bool combine(std::uint8_t operation);

    static constexpr int DEPTH = 8;

    const Registers& m_registers;
    MemoryRange& m_stack;
    std::uint64_t m_values[DEPTH] = {};
    int m_depth = 0;
};

bool Evaluation::pushRegister(int number, std::int64_t offset)
{
    return number < REGISTER_COUNT &&
           push(m_registers.value[number] + static_cast<std::uint64_t>(offset));
}

bool Evaluation::pushWordAt(std::optional<std::uint64_t> address)
{
    std::uint64_t word = 0;
    return address && m_stack.read(*address, word) && push(word);
}

bool Evaluation::combine(std::uint8_t operation)
{
    const auto right = pop();
    const auto left = pop();
    if (!left) { // nor, perhaps, the right one
        return false;
    }
    switch (operation) {
    case AND:
        return push(*left & *right);
    case MINUS:
        return push(*left - *right);
    case PLUS:
        return push(*left + *right);
    case SHIFT_LEFT:
        return *right < 64 && push(*left << *right);
    case GREATER_OR_EQUAL:
        return push(static_cast<std::int64_t>(*left) >= static_cast<std::int64_t>(*right) ? 1 : 0);
    default:
        return false;
    }
}

bool Evaluation::execute(std::uint8_t operation, ByteReader& reader)
{
    if (operation >= LITERAL && operation < LITERAL + GROUP) {
        return push(static_cast<std::uint64_t>(operation - LITERAL));
    }
    if (operation >= REGISTER && operation < REGISTER + GROUP) {
        return pushRegister(operation - REGISTER, reader.readSigned());
    }
    switch (operation) {
    case DEREFERENCE:
        return pushWordAt(pop());
    case CONSTANT_1:
        return push(reader.read<std::uint8_t>());
    case CONSTANT_1_SIGNED:
        return push(static_cast<std::uint64_t>(std::int64_t{reader.read<std::int8_t>()}));
    case CONSTANT:
        return push(reader.readUnsigned());
    case CONSTANT_SIGNED:
        return push(static_cast<std::uint64_t>(reader.readSigned()));
    case PLUS_CONSTANT:
        return push(reader.readUnsigned()) && combine(PLUS);
    default:
        return combine(operation);
    }
}

} // namespace

std::optional<std::uint64_t> evaluate(const std::uint8_t* expression, const Registers& registers,
                                      MemoryRange& stack, std::optional<std::uint64_t> pushed)
{
    constexpr int LENGTH_BYTES = 10;
    ByteReader lengthReader(expression, expression + LENGTH_BYTES);
    const std::uint64_t length = lengthReader.readUnsigned();
    ByteReader reader(lengthReader.position(), lengthReader.position() + length);

    Evaluation evaluation(registers, stack);
    if (pushed) {
        evaluation.push(*pushed);
    }
    while (!reader.atEnd()) {
        if (!evaluation.execute(reader.read<std::uint8_t>(), reader)) {
            return std::nullopt;
        }
    }
    return evaluation.pop();
}

} // namespace gpal::detail
