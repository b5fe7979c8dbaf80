#include "diagnostics/processor/x86_64/unwinder.h"

#include <cstddef>
#include <sys/auxv.h>

#include "diagnostics/processor/x86_64/expression.h"
#include "diagnostics/processor/x86_64/rule_cache.h"
#include "diagnostics/processor/x86_64/stack_word.h"

namespace gpal::detail
{

namespace
{

RuleCache rememberedRules;

/// The registers in their own order, as places in a signal's context.
constexpr int PLACES[REGISTER_COUNT] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                        REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                        REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};

} // namespace

Registers registersIn(const ucontext_t& context)
{
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
    if (!m_object.holds(address)) {
        m_object = loadedObjectAt(address);
        m_identity = identityOf(m_object);
    }
    const std::uint64_t key = address ^ m_identity;
    m_simple = rememberedRules.find(key);
    if (!m_simple) {
        lookUpEntry(key);
    }
}

void Unwinder::lookUpEntry(std::uint64_t key)
{
    m_entry = findUnwindEntry(m_object, lookUpAddress());
    if (!m_entry || m_entry->isSignalTrampoline) {
        return;
    }
    const auto rules = frameRulesAt(*m_entry, lookUpAddress());
    if (rules) {
        m_simple = SimpleRule::of(*rules, m_entry->functionStart == getauxval(AT_ENTRY));
    }
    if (m_simple) {
        rememberedRules.store(key, *m_simple);
    }
}

std::uintptr_t Unwinder::place() const
{
    // No call leads into a trampoline: the kernel let the signal handler return to its start.
    const bool inTrampoline = !m_simple && m_entry && m_entry->isSignalTrampoline;
    const bool called = !m_interrupted && !inTrampoline;
    return m_registers.value[PC] - (called ? 1 : 0);
}

bool Unwinder::stepFromFirstInstruction()
{
    const std::uint64_t sp = m_registers.value[RSP];
    const auto returnAddress = stackWord(m_stack, sp);
    if (!returnAddress) {
        return false;
    }
    m_registers.value[PC] = *returnAddress;
    m_registers.value[RSP] = sp + sizeof(std::uint64_t);
    m_interrupted = false;
    lookUp();
    return true;
}

/// In a trampoline the stack pointer points to the context of the signal.
bool Unwinder::stepOutOfSignal()
{
    constexpr std::size_t GENERAL = offsetof(ucontext_t, uc_mcontext) + offsetof(mcontext_t, gregs);
    const std::uint64_t general = m_registers.value[RSP] + GENERAL;
    Registers interrupted{};
    for (int number = 0; number < REGISTER_COUNT; ++number) {
        const auto place = static_cast<std::uint64_t>(PLACES[number]);
        const auto value = stackWord(m_stack, general + place * sizeof(greg_t));
        if (!value) {
            return false;
        }
        interrupted.value[number] = *value;
    }
    m_registers = interrupted;
    m_stack = stackInUse(interrupted.value[RSP]);
    m_interrupted = true;
    lookUp();
    return true;
}

std::optional<std::uint64_t> Unwinder::baseBy(const FrameRules& rules) const
{
    if (rules.baseExpression != nullptr) {
        return evaluate(rules.baseExpression, m_registers, m_stack, std::nullopt);
    }
    if (rules.baseRegister >= REGISTER_COUNT) {
        return std::nullopt;
    }
    return m_registers.value[rules.baseRegister] + static_cast<std::uint64_t>(rules.baseOffset);
}

std::optional<std::uint64_t> Unwinder::callersValue(const RegisterRule& rule, int number,
                                                    std::uint64_t base) const
{
    const auto operand = static_cast<std::uint64_t>(rule.operand);
    std::optional<std::uint64_t> address;
    switch (rule.kind) {
    case RegisterRule::UNCHANGED:
        return m_registers.value[number];
    case RegisterRule::SAVED_AT_OFFSET:
        return stackWord(m_stack, base + operand);
    case RegisterRule::BASE_PLUS_OFFSET:
        return base + operand;
    case RegisterRule::SAVED_AT_EXPRESSION:
        address = evaluate(rule.expression, m_registers, m_stack, base);
        return address ? stackWord(m_stack, *address) : std::nullopt;
    case RegisterRule::EXPRESSION:
        return evaluate(rule.expression, m_registers, m_stack, base);
    case RegisterRule::IN_REGISTER:
        if (operand < REGISTER_COUNT) {
            return m_registers.value[operand];
        }
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

Unwinder::Step Unwinder::step()
{
    if (m_simple) {
        return stepBy(*m_simple);
    }
    if (!m_entry) {
        return Step::LOST;
    }
    if (m_entry->isSignalTrampoline) {
        return stepOutOfSignal() ? Step::CALLER : Step::LOST;
    }
    const auto rules = frameRulesAt(*m_entry, lookUpAddress());
    return rules ? stepBy(*rules) : Step::LOST;
}

Unwinder::Step Unwinder::stepBy(SimpleRule rule)
{
    if (rule.kind() != SimpleRule::FRAME) {
        return rule.kind() == SimpleRule::OUTERMOST ? Step::OUTERMOST : Step::PROGRAM_ENTRY;
    }
    constexpr std::uint64_t WORD = sizeof(std::uint64_t);
    const std::uint64_t base = m_registers.value[rule.baseRegister()] + rule.baseOffset();
    const auto returnAddress = stackWord(m_stack, base - WORD);
    if (base <= m_registers.value[RSP] || !returnAddress) {
        return Step::LOST;
    }
    for (int index = 0; index < KEPT_COUNT; ++index) {
        const std::uint64_t below = rule.wordsBelowBase(index);
        if (below != 0) {
            const auto saved = stackWord(m_stack, base - below * WORD);
            if (!saved) {
                return Step::LOST;
            }
            m_registers.value[KEPT[index]] = *saved;
        }
    }
    m_registers.value[RSP] = base;
    m_registers.value[PC] = *returnAddress;
    m_interrupted = false;
    lookUp();
    return Step::CALLER;
}

Unwinder::Step Unwinder::stepBy(const FrameRules& rules)
{
    const auto base = baseBy(rules);
    // A caller's frame lies above; anything else would lead a walk in circles.
    if (!base || *base <= m_registers.value[RSP] ||
        rules.registers[PC].kind == RegisterRule::UNCHANGED) {
        return Step::LOST;
    }
    Registers caller = m_registers;
    caller.value[RSP] = *base;
    for (int number = 0; number < REGISTER_COUNT; ++number) {
        const RegisterRule& rule = rules.registers[number];
        if (rule.kind == RegisterRule::UNCHANGED || rule.kind == RegisterRule::UNDEFINED) {
            continue;
        }
        const auto value = callersValue(rule, number, *base);
        if (!value) {
            return Step::LOST;
        }
        caller.value[number] = *value;
    }
    m_registers = caller;
    m_interrupted = false;
    lookUp();
    return Step::CALLER;
}

} // namespace gpal::detail
