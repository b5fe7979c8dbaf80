#include "diagnostics/processor/x86_64/unwinder.h"

#include <sys/auxv.h>

#include "diagnostics/processor/x86_64/expression.h"

namespace gpal::detail
{

Registers registersIn(const ucontext_t& context)
{
    constexpr int PLACES[REGISTER_COUNT] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                            REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                            REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    Registers registers{};
    for (int number = 0; number < REGISTER_COUNT; ++number) {
        registers.value[number] =
            static_cast<std::uint64_t>(context.uc_mcontext.gregs[PLACES[number]]);
    }
    return registers;
}

Unwinder::Unwinder(const Registers& start)
    : m_registers(start), m_stack(stackInUse(start.value[RSP]))
{
    lookUp();
}

/// Finds out about the place where the registers stand.
void Unwinder::lookUp()
{
    const std::uintptr_t address = lookUpAddress();
    if (address == m_place) {
        return; // a function that calls itself
    }
    m_place = address;
    if (!m_object.holds(address)) {
        m_object = loadedObjectAt(address);
    }
    m_described = findUnwindEntry(m_object, address, m_entry);
    m_hasRules = m_described && findFrameRules(m_entry, address, m_rules);
}

std::uintptr_t Unwinder::place() const
{
    // No call leads into a trampoline: the kernel let the signal handler return to its start.
    const bool called = !m_interrupted && !isTrampoline();
    return m_registers.value[PC] - (called ? 1 : 0);
}

bool Unwinder::stepFromFirstInstruction()
{
    const std::uint64_t sp = m_registers.value[RSP];
    if (!m_stack.read(sp, m_registers.value[PC])) {
        return false;
    }
    m_registers.value[RSP] = sp + sizeof(std::uint64_t);
    m_interrupted = false;
    lookUp();
    return true;
}

bool Unwinder::compute(const std::uint8_t* expression, const Registers& registers,
                       std::optional<std::uint64_t> pushed, std::uint64_t& result)
{
    const auto computed = evaluate(expression, registers, m_stack, pushed);
    result = computed.value_or(0);
    return computed.has_value();
}

bool Unwinder::findBase(const FrameBase& rule, std::uint64_t& base)
{
    if (rule.expression != nullptr) {
        return compute(rule.expression, m_registers, std::nullopt, base);
    }
    if (rule.number >= REGISTER_COUNT) {
        return false;
    }
    base = m_registers.value[rule.number] + rule.offset;
    return true;
}

bool Unwinder::findCallersValue(const RegisterRule& rule, std::uint64_t base,
                                const Registers& callee, std::uint64_t& value)
{
    const auto* expression = reinterpret_cast<const std::uint8_t*>(rule.operand);
    std::uint64_t address = 0;
    switch (rule.kind) {
    case RegisterRule::SAVED_AT_OFFSET:
        return m_stack.read(base + rule.operand, value);
    case RegisterRule::BASE_PLUS_OFFSET:
        value = base + rule.operand;
        return true;
    case RegisterRule::SAVED_AT_EXPRESSION:
        return compute(expression, callee, base, address) && m_stack.read(address, value);
    case RegisterRule::EXPRESSION:
        return compute(expression, callee, base, value);
    case RegisterRule::IN_REGISTER:
        if (rule.operand < REGISTER_COUNT) {
            value = callee.value[rule.operand];
            return true;
        }
        return false;
    default: // Nothing is known better than what there was.
        value = callee.value[rule.number];
        return true;
    }
}

Unwinder::Step Unwinder::step()
{
    if (!m_hasRules) {
        return Step::LOST;
    }
    const RegisterRule::Kind ofReturnAddress = m_rules.ruleFor(PC, m_rules.count).kind;
    if (ofReturnAddress == RegisterRule::UNDEFINED) {
        const bool inEntry = m_entry.functionStart == getauxval(AT_ENTRY);
        return inEntry ? Step::PROGRAM_ENTRY : Step::OUTERMOST;
    }
    const bool stepped = ofReturnAddress != RegisterRule::UNCHANGED && stepByRules();
    return stepped ? Step::CALLER : Step::LOST;
}

bool Unwinder::stepByRules()
{
    const bool toInterrupted = isTrampoline();
    std::uint64_t base = 0;
    // A caller's frame lies above; anything else would lead a walk in circles. Only what a signal
    // interrupted may be on another stack.
    if (!findBase(m_rules.base, base) || (base <= m_registers.value[RSP] && !toInterrupted)) {
        return false;
    }
    const Registers callee = m_registers;
    m_registers.value[RSP] = base;
    unsigned int found = 0; // the bits of registers whose last rule was applied
    for (int i = m_rules.count - 1; i >= 0; --i) {
        const RegisterRule& rule = m_rules.rules[i];
        const bool first = (found >> rule.number & 1) == 0;
        if (first && !findCallersValue(rule, base, callee, m_registers.value[rule.number])) {
            return false;
        }
        found |= 1U << rule.number;
    }
    m_interrupted = toInterrupted;
    if (toInterrupted) {
        m_stack = stackInUse(m_registers.value[RSP]);
    }
    lookUp();
    return true;
}

} // namespace gpal::detail
